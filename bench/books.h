// The cost of reading and writing a large book.
#pragma once

#include <string>

namespace velt::bench
{

// Returns a book file with so many components.
std::string book_text(int components);

void register_books();

} // namespace velt::bench
