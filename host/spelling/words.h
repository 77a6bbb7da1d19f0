// The words of a text, and the list of those that are spelt right.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/spelling/letters.h"

namespace velt::host
{

struct Word {
    IntT begin = 0, end = 0; // in characters of the text
    std::string spelling = {};
    bool has_digits = false;
};

// Reads the words of a text.
class WordReader
{
public:
    // Borrows the text. A word also ends at each character of `separators`. Reads from the word on
    // that the character `from` is in, if it is in one.
    WordReader(const Letters &letters, std::string_view text, std::string_view separators,
               IntT from = 0);
    // Returns the next word, or nothing at the end.
    std::optional<Word> next();

private:
    Letters::Character first() const;

    const Letters &letters_;
    std::string_view rest_;
    IntT offset_ = 0;
    // Those that could belong to a word; others end one anyway.
    std::set<std::string, std::less<>> separators_;
};

class WordList
{
public:
    WordList() = default; // has no words
    WordList(const WordList &) = delete;
    WordList &operator=(const WordList &) = delete;

    // Reads a file in UTF-8 with a word a line, as in /usr/share/dict; or, when its first line is a
    // number, one of hunspell, without what stands behind a word. Leaves out words that the
    // encoding lacks. Throws Error, with the line, when the file is neither or cannot be read. To
    // be called once.
    void read(const std::string &path, const Letters &letters);

    bool contains(std::string_view word) const;
    // Returns the characters of the words in lower case, each once.
    const std::set<std::string, std::less<>> &alphabet() const { return alphabet_; }

private:
    void add(std::string_view line, const Letters &letters);

    std::string text_;                    // of all words, one after the other
    std::vector<std::string_view> words_; // in it; sorted
    std::set<std::string, std::less<>> alphabet_;
};

} // namespace velt::host
