// Extended regular expressions of POSIX, which may have \w, \b and \s as well. The header <regex>
// would cost several times as much to compile as all else here.
#pragma once

#include <regex.h>

#include <optional>
#include <string>
#include <vector>

namespace velt::calls
{

class Pattern
{
public:
    struct Match {
        std::size_t begin, end;
        std::vector<std::string> groups; // the whole match first; empty where a group has none
    };

    explicit Pattern(const char *expression);
    Pattern(const Pattern &) = delete;
    Pattern &operator=(const Pattern &) = delete;
    ~Pattern() { regfree(&compiled_); }

    std::optional<Match> search(const std::string &text, std::size_t from = 0) const;
    // Replaces every match; "\1" in the new text is the first group.
    std::string replace(const std::string &text, const std::string &with) const;

private:
    regex_t compiled_;
};

} // namespace velt::calls
