// Book files: a book and the session around it, as a small JSON file in UTF-8.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "host/model.h"

namespace velt::host
{

// The text begins with the file's name, and the line where one is to blame.
class BookError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// The property, by name, that holds a component's file.
inline constexpr const char *file_property = "File";

// Puts the book of the file into a new model, sets the session's language and encoding, and makes
// the book the active one. Returns its id.
UIntT load_book(const std::string &path, Model &model);
// The same from the text of a file; `path` is for messages.
UIntT read_book(std::string_view text, const std::string &path, Model &model);

std::string write_book(const Model &model, UIntT book);
// Replaces the file when the new one is complete; the old one stays when it cannot be.
void save_book(const std::string &path, const Model &model, UIntT book);

} // namespace velt::host
