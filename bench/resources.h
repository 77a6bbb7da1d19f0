// String resources beside reading and formatting with the C library.
#pragma once

namespace velt::bench
{

void register_resources();

} // namespace velt::bench
