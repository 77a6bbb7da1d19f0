// The book on which a client is checked, kept in memory, so that no session changes what another
// gets, nor a person's files.
#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace velt::host
{

// Files by their names in one folder, the book's first.
using Sample = std::vector<std::pair<std::string, std::string>>;

// Returns a small book of three documents.
Sample small_book();
// Reads a book and the documents of its components. Throws Error.
Sample read_sample(const std::string &book);

// Writes the files into a new folder within another, and returns the path of the book.
std::string lay_out(const Sample &sample, const std::filesystem::path &within);

} // namespace velt::host
