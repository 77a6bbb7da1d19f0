// The cost of reading and writing a large book.
#pragma once

namespace velt::bench
{

void register_books();

} // namespace velt::bench
