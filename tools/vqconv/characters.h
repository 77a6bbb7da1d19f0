// The characters of a text to be converted: where each ends, and whether the library converts it.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "velt/scalars.h"

struct Character {
    enum Kind {
        good,
        shift,     // an escape sequence, or other bytes that only change the state
        lost,      // has no equivalent
        malformed, // bytes that are no character of the encoding
        cut        // the text ends inside the character
    };
    std::size_t size;
    Kind kind;
};

// The escape sequences around two-byte characters; empty strings in an encoding that has none.
struct Escapes {
    std::string_view open, close;
};
Escapes escapes_of(UIntT encoding);

class Characters
{
public:
    Characters(UIntT from, UIntT to);

    // Finds the first character of nonempty text, in the state that the characters before it left.
    Character next(std::string_view text);

    // Measures the beginning of the text that consists of characters known to convert: its size,
    // and where its last character begins. A single byte for which is_apart is true ends it.
    struct Known {
        std::size_t size = 0, last = 0;
    };
    Known known(std::string_view text, const auto &is_apart) const
    {
        // The state decides whether a byte may be a single character or begin a pair.
        const bool singles = !two_byte_;
        const bool pairs = two_byte_ || !stateful_;
        Known known;
        for (std::size_t at = 0; at < text.size(); at = known.size) {
            const auto byte = static_cast<UCharT>(text[at]);
            if (singles && verdicts_[byte] == yes && !is_apart(text[at]))
                known.size += 1;
            else if (pairs && at + 1 < text.size() &&
                     verdicts_[pair_index(byte, static_cast<UCharT>(text[at + 1]))] == yes)
                known.size += 2;
            else
                break;
            known.last = at;
        }
        return known;
    }

    // The escape sequence to put before text in the present state when it is converted separately.
    std::string_view state() const;
    // Starts another text.
    void reset() { two_byte_ = false; }

    // Returns whether the library has an equivalent for a character, less escape sequences.
    bool converts(std::string_view code);
    // Converts text without zero bytes, all of whose characters must have equivalents.
    std::string convert(std::string_view state, std::string_view text) const;
    // Returns whether `reverse` converts the character's equivalent back to the character.
    bool comes_back(std::string_view code, const Characters &reverse) const;

    // Calls `visit` for each code of the encoding except the zero byte and those that change the
    // state.
    void for_each_code(const std::function<void(const std::string &)> &visit);

private:
    Character split(std::string_view text);
    Character split_seven_bit(std::string_view text);
    Character split_jis(std::string_view text);
    Character split_hz(std::string_view text);
    bool try_code(std::string_view code) const;

    static std::size_t pair_index(UCharT first, UCharT second)
    {
        return 0x10000u + first * 0x100u + second;
    }

    UIntT from_, to_;
    bool stateful_;
    bool two_byte_ = false; // in the two-byte part of JIS or HZ text
    std::array<UCharT, 256> leads_{}, trails_{};

    enum Verdict : UCharT { untried, yes, no };
    std::vector<Verdict>
        verdicts_; // the results of codes that were tried, indexed by length and last two bytes
};
