// What strings cost, beside the C library's functions.
#pragma once

namespace velt::bench
{

void register_strings();

} // namespace velt::bench
