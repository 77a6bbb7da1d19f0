// What it costs to convert text, beside the C library's iconv and beside ICU.
#pragma once

namespace velt::bench
{

void register_encodings();

} // namespace velt::bench
