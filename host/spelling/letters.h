// The characters of words in the encoding of a session's language.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "common/charset.h"

namespace velt::host
{

class Letters
{
public:
    explicit Letters(IntT language);

    enum Kind {
        other,
        letter,
        digit,
        apostrophe, // belongs to a word between two letters
        hidden,     // belongs to a word, but not to its spelling: a hyphenation mark
    };
    struct Character {
        std::string_view bytes;
        Kind kind;
    };
    // Returns the first character of nonempty text. Two-byte characters are letters in Korean
    // alone, since the other scripts of such characters do not part their words by spaces.
    Character first(std::string_view text) const;
    // Returns whether all characters have one byte.
    bool single() const { return quire_; }
    // Returns the number of characters.
    IntT count(std::string_view text) const;

    // Returns the UTF-8 text in the encoding, or nothing if that lacks a character. Throws
    // std::runtime_error when it is no UTF-8.
    std::optional<std::string> from_utf8(std::string_view text) const;
    std::string to_utf8(std::string_view bytes) const;

    // Returns the word without hidden characters, and with plain apostrophes.
    std::string spelt(std::string_view word) const;
    // Only single-byte characters have case.
    std::string lower(std::string_view word) const;
    std::string upper(std::string_view word) const;
    // Returns the word with its first character in upper case.
    std::string capitalised(std::string_view word) const;

private:
    bool has_case(char byte) const;
    // Maps the case of at most so many characters at the beginning.
    std::string mapped(std::string_view word, const UCharT *map, std::size_t most) const;

    bool quire_;
    Charset charset_;
};

} // namespace velt::host
