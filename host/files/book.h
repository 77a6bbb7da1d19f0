// Book files: a book and the session around it, as a small JSON file in UTF-8.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "host/model/model.h"

namespace velt::host
{

// The property, by name, that holds a component's file.
inline constexpr const char *file_property = "File";

// Puts a book into a new model, sets the session's language and encoding, and makes the book the
// active one. Returns its id. Throws Error with a line for each thing that is wrong, which begins
// with the path, and with line and column where they are to blame; a language other than 0 is the
// session's in place of the book's.
UIntT read_book(std::string_view text, const std::string &path, Model &model, IntT language = 0);

std::string write_book(const Model &model, UIntT book);

// What a book file may hold, as a JSON Schema.
std::string book_schema();

// The file of a book, which is not replaced when somebody else has changed it.
class BookFile
{
public:
    explicit BookFile(std::string path) : path_(std::move(path)) {}
    const std::string &path() const { return path_; }

    // Throws Error, as all below.
    UIntT load(Model &model, IntT language = 0);
    // Replaces the file when the new one is complete; the old one stays when it cannot be.
    void save(const Model &model, UIntT book, bool force = false);
    // In another file, or in this one under another name; whether it is this one.
    bool save_as(const std::string &path, const Model &model, UIntT book, bool force = false);

    // As last read or written.
    std::string text() const;

private:
    // Where a path led when it was read or written last; else where it leads now.
    std::filesystem::path place(const std::string &path) const;
    void remember(const std::string &path, std::string text);
    void check_unchanged(const std::string &path) const;

    std::string path_;
    // What this file holds, and others in which the book has been saved, unless somebody else has
    // changed them.
    std::map<std::filesystem::path, std::string> known_;
    std::map<std::string, std::filesystem::path> places_;
};

} // namespace velt::host
