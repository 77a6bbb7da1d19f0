// The words of a command line.
#pragma once

#include <charconv>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "common/error.h"

namespace velt
{

// Splits a line into words at white space; double quotes hold a word together, and in them a
// backslash keeps the next character. Throws Error for a quote that is not closed.
std::vector<std::string> split_words(std::string_view line);
// Splits a text at commas in the same way; white space around an entry does not count.
std::vector<std::string> split_list(std::string_view text);

// Removes the first word and the blanks after it from the rest, and returns the word.
std::string take_word(std::string_view &rest);

// Removes the first word and the blanks after it from the rest, and returns them as they stand
// there.
std::string_view take_raw_word(std::string_view &rest);
// Returns whether a word, as it stands in a line, is an option: it begins with two hyphens.
bool is_option(std::string_view raw_word);

inline constexpr std::string_view blanks = " \t\r\n";

// Returns the text without the blanks around it.
std::string_view trimmed(std::string_view text);

// Returns the rest of a line as one text, without quotes around it.
std::string whole(std::string_view rest);

// Returns the text as a word that split_words reads, in quotes if it needs them.
std::string as_word(const std::string &text);
// Returns the text as the rest of a line that `whole` reads, in quotes if it needs them.
std::string as_rest(const std::string &text);

// Returns the position of the entry that has the name, or else of the one that the name counts,
// from 1.
std::optional<std::size_t> find_by_name_or_number(const std::vector<std::string> &names,
                                                  std::string_view name);

// Returns the names as a list that split_list reads, or "none" when there are none.
std::string joined(const std::vector<std::string> &names);

// Returns whether the text consists of digits, with or without a sign before them.
bool is_whole_number(std::string_view text);

template <class T>
T number(std::string_view text)
{
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        misuse("\"" + std::string(text) + "\" is not a number" +
               (std::is_floating_point_v<T>
                    ? ""
                    : " from " + std::to_string(std::numeric_limits<T>::min()) + " to " +
                          std::to_string(std::numeric_limits<T>::max())));
    return value;
}

// Arguments by position; `at` returns a default for a missing one.
struct Words {
    std::vector<std::string> words;

    Words(std::string_view rest, std::size_t least, std::size_t most, std::string_view usage)
        : words(split_words(rest))
    {
        if (words.size() < least || words.size() > most)
            misuse("usage: " + std::string(usage));
    }
    std::string at(std::size_t i, const char *otherwise = "0") const
    {
        return i < words.size() ? words[i] : otherwise;
    }
};

} // namespace velt
