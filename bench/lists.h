// The cost of encoding and decoding each list type.
#pragma once

namespace velt::bench
{

void register_lists();

} // namespace velt::bench
