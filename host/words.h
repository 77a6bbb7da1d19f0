// The words of a command line.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace velt::host
{

// Exit codes of the program.
enum ExitCode { done = 0, failed = 1, misused = 2, no_mapper = 3 };

class CommandError : public std::runtime_error
{
public:
    CommandError(ExitCode exit_code, const std::string &text)
        : std::runtime_error(text), code(exit_code)
    {
    }
    ExitCode code;
};

// Words are separated by white space; double quotes hold a word together, and in them a backslash
// keeps the next character. Throws CommandError for a quote that is not closed.
std::vector<std::string> split_words(std::string_view line);
// The same with commas as separators; white space around an entry does not count.
std::vector<std::string> split_list(std::string_view text);

inline constexpr std::string_view blanks = " \t\r\n";

// Without the blanks around it.
std::string_view trimmed(std::string_view text);

// The rest of a line as one text, of which quotes around it are no part.
std::string whole(std::string_view rest);

} // namespace velt::host
