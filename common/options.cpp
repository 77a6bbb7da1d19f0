#include "common/options.h"

#include <getopt.h>

#include <algorithm>
#include <set>

#include "common/error.h"
#include "common/nearest.h"
#include "common/printable.h"

namespace velt
{
namespace
{

// The value that getopt returns for the option: its letter, or a number above all letters.
int code_of(const std::vector<Option> &options, std::size_t i)
{
    return options[i].letter ? options[i].letter : 256 + static_cast<int>(i);
}

} // namespace

std::string shown(const Option &option)
{
    return option.name ? std::string("--") + option.name : std::string("-") + option.letter;
}

namespace
{

[[noreturn]] void refuse_unknown(const std::string &word, const std::vector<Option> &options)
{
    const std::string given = word.substr(0, word.find('='));
    std::string hint;
    // All letters are near to each other.
    if (given.starts_with("--")) {
        std::vector<std::string> names;
        for (const Option &each : options)
            if (each.name)
                names.emplace_back(each.name);
        const std::string name = given.substr(2);
        Nearest nearest(name);
        for (const std::string &each : names)
            nearest.consider(each);
        const auto begun = std::ranges::find_if(
            names, [&](const std::string &each) { return each.starts_with(name); });
        const std::string meant = begun != names.end() ? *begun : nearest.name();
        hint = meant.empty() ? "" : "; do you mean " + in_quotes("--" + meant) + "?";
    }
    misuse(word + ": unknown option" + hint);
}

// Returns the word of the long option that getopt has just found.
std::string word_of_option(char **argv)
{
    const bool has_word_as_value = optarg && optarg == argv[optind - 1];
    return argv[optind - (has_word_as_value ? 2 : 1)];
}

} // namespace

std::vector<std::string> parse_options(int argc, char **argv, const std::vector<Option> &options,
                                       OptionsStand where)
{
    std::string letters = where == OptionsStand::in_front ? "+:" : ":";
    std::vector<option> names;
    for (std::size_t i = 0; i < options.size(); ++i) {
        const Option &each = options[i];
        const int takes = each.takes == Option::no_value      ? no_argument
                          : each.takes == Option::maybe_value ? optional_argument
                                                              : required_argument;
        if (each.letter)
            letters += each.letter +
                       std::string(static_cast<std::size_t>(takes == no_argument ? 0 : 1), ':');
        if (each.name)
            names.push_back({each.name, takes, nullptr, code_of(options, i)});
    }
    names.push_back({});

    const auto by_code = [&](int code) -> const Option * {
        for (std::size_t i = 0; i < options.size(); ++i)
            if (code_of(options, i) == code)
                return &options[i];
        return nullptr;
    };
    std::set<const Option *> given;
    opterr = 0;
    optind = 1;
    for (int found, at = -1;
         (found = getopt_long(argc, argv, letters.c_str(), names.data(), &at)) != -1; at = -1) {
        const Option *option = by_code(found == ':' || found == '?' ? optopt : found);
        if (found == ':')
            misuse(shown(*option) + ": its value is missing");
        // The letter is named by optopt, because its word may contain others.
        if (found == '?' && option)
            misuse(shown(*option) + " takes no value");
        if (found == '?')
            refuse_unknown(optopt ? std::string("-") + static_cast<char>(optopt)
                                  : std::string(argv[optind - 1]),
                           options);
        // The beginning of a name is none: it would come to mean something else with a new option.
        if (at >= 0)
            if (const std::string word = word_of_option(argv);
                word.substr(2, word.find('=') - 2) != names[static_cast<std::size_t>(at)].name)
                refuse_unknown(word, options);
        // An empty value is rejected: it usually comes from a script's unset variable.
        if (option->takes != Option::value_or_empty && optarg && *optarg == '\0')
            misuse(shown(*option) + ": its value is empty");
        // The last value would silently take the place of the others.
        if (!given.insert(option).second && !option->repeats)
            misuse(shown(*option) + " is given twice" +
                   (option->takes == Option::no_value ? "" : "; it takes one value"));
        try {
            option->take(optarg ? optarg : "");
        } catch (const Error &error) {
            const std::string text = error.what(), name = shown(*option);
            if (text.find(name) != text.npos)
                throw;
            throw Error(error.code, name + ": " + text);
        }
    }
    return {argv + optind, argv + argc};
}

} // namespace velt
