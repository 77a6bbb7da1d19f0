#include "common/completion.h"

#include <algorithm>

namespace velt
{
namespace
{

bool wants_word(const Option &option)
{
    return option.takes == Option::value || option.takes == Option::value_or_empty;
}

} // namespace

NextWords first_word(std::vector<std::string> names)
{
    return [names = std::move(names)](const std::vector<std::string> &before) {
        return before.empty() ? names : std::vector<std::string>();
    };
}

std::vector<std::string> completions(const std::vector<std::string> &words,
                                     const std::vector<Option> &options, const NextWords &next)
{
    const auto find = [&](const std::string &word) {
        return std::ranges::find_if(options, [&](const Option &each) {
            return word == shown(each) || (each.letter && word == std::string("-") + each.letter);
        });
    };
    std::vector<std::string> found, before;
    if (words.empty())
        return found;
    const std::string &typed = words.back();
    auto waiting = options.end(); // the option whose value comes next
    bool only_words = false;
    for (std::size_t i = 0; i + 1 < words.size(); i++) {
        const auto option = only_words || waiting != options.end() ? options.end() : find(words[i]);
        if (waiting == options.end() && words[i] == "--")
            only_words = true;
        else if (waiting == options.end() && (only_words || !words[i].starts_with('-')))
            before.push_back(words[i]);
        waiting = option != options.end() && wants_word(*option) ? option : options.end();
    }

    const auto equals = typed.find('=');
    // Offers the values of an option behind what is typed of it already, up to there.
    const auto offer = [&](const Option &option, std::size_t from) {
        const auto comma = option.takes_list ? typed.rfind(',') : typed.npos;
        const std::size_t begin = comma != typed.npos && comma >= from ? comma + 1 : from;
        for (const std::string &each : option.values)
            found.push_back(typed.substr(0, begin) + each);
    };
    if (waiting != options.end()) {
        offer(*waiting, 0);
    } else if (!only_words && typed.starts_with("--") && equals != typed.npos) {
        if (const auto option = find(typed.substr(0, equals)); option != options.end())
            offer(*option, equals + 1);
    } else if (!only_words && typed.starts_with('-')) {
        for (const Option &each : options) {
            found.push_back(shown(each));
            if (each.takes == Option::maybe_value)
                found.push_back(shown(each) + "=");
        }
    } else {
        found = next(before);
    }
    std::erase_if(found, [&](const std::string &each) { return !each.starts_with(typed); });
    return found;
}

std::string shell_lines(const std::vector<std::string> &words)
{
    std::string lines;
    for (const std::string &each : words)
        lines += each + '\n';
    return lines;
}

} // namespace velt
