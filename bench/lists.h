// What it costs to encode and decode each list type.
#pragma once

namespace velt::bench
{

void register_lists();

} // namespace velt::bench
