// Book files: a book and the session around it, as a small JSON file in UTF-8.
#pragma once

#include <string>
#include <string_view>

#include "host/files/known_file.h"
#include "host/model/model.h"

namespace velt::host
{

// The name of the property that holds a component's file.
inline constexpr const char *file_property = "File";

// Reads a book file's text into a new model: creates the book, sets the session's language and
// encoding, makes the book the active one, and returns its id. A language other than 0 replaces the
// book's own as the session's. Throws Error with a line for each mistake, which begins with the
// path, and with line and column if the mistake has a place in the text.
UIntT read_book(std::string_view text, const std::string &path, Model &model, IntT language = 0);

// What is selected is part of a book file, but no change of the book.
enum class Selection { written, left_out };
std::string write_book(const Model &model, UIntT book, Selection selection = Selection::written);

// Returns a JSON Schema of what a book file may hold.
std::string book_schema();

class BookFile
{
public:
    explicit BookFile(std::string path) : file_(std::move(path)) {}
    const std::string &path() const { return file_.path(); }
    bool is(const std::string &path) const { return file_.is(path); }

    // Throws Error.
    UIntT load(Model &model, IntT language = 0);
    // Saves to this file or another, as KnownFile::write does.
    void save(const std::string &path, const Model &model, UIntT book, bool force = false,
              mode_t mode = 0666, KeptFiles *kept = nullptr);
    // Returns whether the book has changed since this file was last read or written.
    bool differs_from(const Model &model, UIntT book) const;
    // Returns the other file that holds the book as it is; empty when there is none.
    std::string copy_of(const Model &model, UIntT book) const;

private:
    KnownFile file_;
    std::string known_; // the book as this host would have written it then
    SavedCopy copy_;
};

} // namespace velt::host
