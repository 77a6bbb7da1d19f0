// The options of a program's command line.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace velt
{

// An option with its letter (0 for none) and its name (null for none).
struct Option {
    char letter;
    const char *name;
    enum { no_value, value, maybe_value, value_or_empty } takes;
    std::function<void(const std::string &)> take;
    bool repeats = false;                 // whether it may be given again with another value
    std::vector<std::string> values = {}; // that it may have, for a shell; empty for any
    bool takes_list = false;              // of these, with commas

    static Option into(char letter, const char *name, std::string &where,
                       std::vector<std::string> values = {})
    {
        return {letter, name,
                value,  [&where](const std::string &text) { where = text; },
                false,  std::move(values)};
    }
    static Option flag(char letter, const char *name, bool &where)
    {
        return {letter, name, no_value, [&where](const std::string &) { where = true; }};
    }
};

// Returns the option as it is typed.
std::string shown(const Option &option);

// Where options may stand: anywhere, or before the first other word, behind which all belong to
// another program.
enum class OptionsStand { anywhere, in_front };

// Processes the options in their order and returns the other words. Throws Error.
std::vector<std::string> parse_options(int argc, char **argv, const std::vector<Option> &options,
                                       OptionsStand where = OptionsStand::anywhere);

} // namespace velt
