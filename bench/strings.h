// The cost of string operations, compared with the C library's functions.
#pragma once

namespace velt::bench
{

void register_strings();

} // namespace velt::bench
