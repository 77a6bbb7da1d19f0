// How texts in the session's encoding split into characters of one or two bytes.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "velt/scalars.h"
#include "velt/vde/encodings.h"
#include "velt/vde/fontenc.h"

namespace velt::host
{

class Characters
{
public:
    explicit Characters(UIntT encoding = VdeEncQuire);

    // Returns the number of bytes of the character that begins at the byte, which must exist.
    std::size_t size_at(std::string_view text, std::size_t byte) const
    {
        return !single_ && encoding_->firstByte[at(text, byte)] != 0 && byte + 1 < text.size() &&
                       encoding_->secondByte[at(text, byte + 1)] != 0
                   ? 2
                   : 1;
    }
    // Returns the number of characters.
    IntT count(std::string_view text) const;
    // Returns the byte at which the character of the number begins, or the end of the text; nothing
    // when there is no such place.
    std::optional<std::size_t> byte_of(std::string_view text, IntT offset) const;
    // Returns whether every byte that can begin a character of two bytes does: the characters of
    // such texts stay the same when the texts are put together.
    bool whole(std::string_view text) const;
    // Returns the text in lower case, of the same length and characters. Only single-byte
    // characters have case: ASCII, and in Quire all letters.
    std::string folded(std::string_view text) const;
    // Returns the byte in lower case, as if it were a character.
    char folded(char byte) const;
    // Returns whether the character that begins at the byte is one of words, which all are that
    // are neither ASCII nor Quire.
    bool is_of_word(std::string_view text, std::size_t byte) const;
    // Returns whether all characters have one byte.
    bool single() const { return single_; }

private:
    static UCharT at(std::string_view text, std::size_t byte)
    {
        return static_cast<UCharT>(text[byte]);
    }

    const VdeFontEncT *encoding_;
    bool single_;
    bool quire_;
};

} // namespace velt::host
