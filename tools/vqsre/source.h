// Sources of string resource files: UTF-8 text, one string a line.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "common/charset.h"

struct String {
    int line = 0;                     // in the source
    std::string bytes;                // the string as the client gets it
    std::set<std::string> references; // to arguments, such as "%0", and to the language, "%u"
    bool sound = false;               // no error was found in the string
};

struct Source {
    std::string path;
    int lines = 0;
    std::map<int, String> strings;
};

// Prints errors, each as one line on standard error.
class Errors
{
public:
    void add(const std::string &path, int line, const std::string &reason);
    bool any() const { return any_; }

private:
    bool any_ = false;
};

// Reads and checks one source. Throws std::system_error when it cannot be read.
Source read_source(const std::string &path, const velt::Charset &charset, Errors &errors);

// Checks that a translation has the strings of the first source, with the same references.
void compare_sources(const Source &first, const Source &translation, Errors &errors);

// Writes a string in the form that read_source reads.
std::string source_text(std::string_view bytes, const velt::Charset &charset);
