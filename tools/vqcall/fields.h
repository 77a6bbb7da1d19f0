// The fields of messages as they are given on a command line, PATH=VALUE, and told of.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velt::call
{

// A field of a structure. The members of a union stand in its place.
struct Field {
    std::string name, type;
    std::string when = {}; // what has to be so for it to be there; empty when it always is
};

// Returns the fields in wire order; none for a type that is no structure.
std::vector<Field> fields_of(std::string_view type);
// Returns what the type is, such as "list of IntT"; empty for one that its name tells all of.
std::string kind_of(std::string_view type);

// Returns an example of a value of the type in JSON.
std::string example(std::string_view type);
// Returns examples of words that give an argument of the type, for a shell.
std::vector<std::string> example_words(std::string_view type);

// Returns the words as JSON of the argument, of which anything may be left out: PATH=VALUE for each
// field that is given; for a type that is no structure one word, its value. Texts are as they
// stand, what is no number or text is JSON. Throws Error.
std::string json_of(std::string_view type, const std::vector<std::string> &words);

// Returns the path of each field that has a value, with an = behind it.
std::vector<std::string> field_paths(std::string_view type);

} // namespace velt::call
