// Completes command lines for shells.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "common/options.h"

namespace velt
{

// The first word with which a shell has a program complete the words that follow, of which the last
// is being typed: the program prints what may stand in its place, one a line. A shell offers files
// where the program prints nothing.
inline constexpr const char *complete_option = "--complete";

// Returns what may follow such words, which are no options.
using NextWords = std::function<std::vector<std::string>(const std::vector<std::string> &before)>;
inline const NextWords no_words = [](const auto &) { return std::vector<std::string>(); };
// Returns these names for the first word, and nothing for others.
NextWords first_word(std::vector<std::string> names);

// Returns what may stand in place of the last of the words: options, values of options, and what
// `next` returns.
std::vector<std::string> completions(const std::vector<std::string> &words,
                                     const std::vector<Option> &options,
                                     const NextWords &next = no_words);

// Returns the words as they are printed for a shell.
std::string shell_lines(const std::vector<std::string> &words);

} // namespace velt
