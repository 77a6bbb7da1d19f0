// The table of commands: what each is called, takes and does. Help, options and completion follow
// from it.
#pragma once

#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velt::host
{

class Commands;

// How a command or an expectation is written. In the arguments a word in capitals stands for what
// the person gives, brackets hold what may be left out, " | " stands between forms, '|' between
// alternatives for a word; what begins with two hyphens is an option, which may stand anywhere.
struct Syntax {
    std::string_view name, arguments;

    std::string usage() const;
    std::vector<std::string_view> forms() const;
    // Returns the options in one of the forms, or in any argument text.
    static std::vector<std::string_view> options(std::string_view form);
};

// The options that were given.
using GivenOptions = std::set<std::string, std::less<>>;

struct CommandTable {
    std::string_view name, arguments, summary;
    void (*run)(Commands &, std::string_view rest, const GivenOptions &);

    Syntax syntax() const { return {name, arguments}; }
    static std::span<const CommandTable> rows();
    // Returns the command of the name; null, or throws Error, when there is none.
    static const CommandTable *find(std::string_view name);
    static const CommandTable &of(std::string_view name);
};

// Return the usage of a command, or the form of it that has the option.
std::string usage_of(std::string_view name);
std::string usage_of(std::string_view name, std::string_view option);
[[noreturn]] void misuse_of(std::string_view name);

} // namespace velt::host
