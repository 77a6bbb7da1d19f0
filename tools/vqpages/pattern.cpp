#include "tools/vqpages/pattern.h"

#include <stdexcept>

namespace velt::calls
{

Pattern::Pattern(const char *expression)
{
    if (regcomp(&compiled_, expression, REG_EXTENDED) != 0)
        throw std::logic_error(expression);
}

std::optional<Pattern::Match> Pattern::search(const std::string &text, std::size_t from) const
{
    std::vector<regmatch_t> places(compiled_.re_nsub + 1);
    const char *const rest = text.c_str() + from;
    if (regexec(&compiled_, rest, places.size(), places.data(), from > 0 ? REG_NOTBOL : 0) != 0)
        return std::nullopt;
    Match match{from + static_cast<std::size_t>(places[0].rm_so),
                from + static_cast<std::size_t>(places[0].rm_eo),
                {}};
    for (const regmatch_t &place : places)
        match.groups.push_back(
            place.rm_so < 0 ? "" : std::string(rest + place.rm_so, rest + place.rm_eo));
    return match;
}

std::string Pattern::replace(const std::string &text, const std::string &with) const
{
    const std::size_t group = with.find("\\1");
    std::string replaced;
    std::size_t from = 0;
    while (const auto match = search(text, from)) {
        replaced += text.substr(from, match->begin - from);
        replaced += with.substr(0, group);
        if (group != with.npos)
            replaced += match->groups[1] + with.substr(group + 2);
        from = match->end;
    }
    return replaced + text.substr(from);
}

} // namespace velt::calls
