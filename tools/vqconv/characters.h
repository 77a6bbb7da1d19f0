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
        shift,     // an escape sequence, or what else only changes the state
        lost,      // has no equivalent
        malformed, // is no character of the encoding
        cut        // the text ends inside of it
    };
    std::size_t size;
    Kind kind;
};

// What stands around two-byte characters; empty strings in an encoding without.
struct Escapes {
    std::string_view open, close;
};
Escapes escapes_of(UIntT encoding);

class Characters
{
public:
    Characters(UIntT from, UIntT to);

    // The character that nonempty text begins with, in the state that those before left.
    Character next(std::string_view text);

    // How much of the text, from its beginning on, is of characters that were met before and
    // convert, and where the last of them begins; a single byte that is apart ends it.
    struct Known {
        std::size_t size = 0, last = 0;
    };
    Known known(std::string_view text, const auto &is_apart) const
    {
        // In each state, a byte begins either single characters or pairs.
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

    // What has to stand before text in this state when it is converted by itself.
    std::string_view state() const;
    // Begins another text.
    void reset() { two_byte_ = false; }

    // Whether the library has an equivalent for a character, less escape sequences.
    bool converts(std::string_view code);
    // Text converted that has no zero bytes; none of it may be lost.
    std::string convert(std::string_view state, std::string_view text) const;
    // Whether a character that converts is itself again when the other converts it.
    bool comes_back(std::string_view code, const Characters &reverse) const;

    // Calls for each code of the encoding but the zero byte and what changes the state.
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
    std::vector<Verdict> verdicts_; // of the codes tried, by length and last two bytes
};
