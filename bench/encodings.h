// The cost of converting text, compared with the C library's iconv and with ICU.
#pragma once

namespace velt::bench
{

void register_encodings();

} // namespace velt::bench
