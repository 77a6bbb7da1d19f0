// Tables of code points.

#pragma once

#include "vdelib/encconv/output.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/unicode.h"

namespace velt
{

using CodePoint = uint16_t; // VdeNoCodePoint for a code without a character
using CodePoints = std::array<CodePoint, 256>;

inline constexpr IntT most_utf8 = 3;

// A character in UTF-8; bytes beyond the size are unspecified. The size is 0 without a code point.
struct Utf8 {
    UCharT bytes[most_utf8];
    UCharT size;

    // Writes the whole structure, of which only the first `size` bytes count.
    void put(UCharT *&out) const
    {
        std::memcpy(out, this, sizeof *this);
        out += size;
    }
};

// The code points of the codes that begin with the same byte, by their last byte.
using Utf8Row = std::array<Utf8, 256>;

constexpr Utf8 in_utf8(CodePoint code)
{
    const auto low_bits = [code](int shift) {
        return static_cast<UCharT>(0x80 | (code >> shift & 0x3F));
    };
    if (code == VdeNoCodePoint)
        return {};
    if (code < 0x80)
        return {{static_cast<UCharT>(code)}, 1};
    if (code < 0x800)
        return {{static_cast<UCharT>(0xC0 | code >> 6), low_bits(0)}, 2};
    return {{static_cast<UCharT>(0xE0 | code >> 12), low_bits(6), low_bits(0)}, 3};
}

constexpr CodePoint code_point(const Utf8 &utf8)
{
    const auto bits = [&utf8](int byte, unsigned mask) { return utf8.bytes[byte] & mask; };
    switch (utf8.size) {
    case 0:
        return VdeNoCodePoint;
    case 1:
        return utf8.bytes[0];
    case 2:
        return static_cast<CodePoint>(bits(0, 0x1F) << 6 | bits(1, 0x3F));
    default:
        return static_cast<CodePoint>(bits(0, 0x0F) << 12 | bits(1, 0x3F) << 6 | bits(2, 0x3F));
    }
}

// The table of an East Asian encoding: a row for the bytes that are single, and one for each first
// byte of two-byte characters, null for other bytes. The rows follow the table in its block; bytes
// that the file has no row for share one without characters.
struct EastAsianTable {
    AsciiRun run;
    const Utf8Row *single;
    const Utf8Row *pairs[256];

    // The entry of a last byte that cannot end a pair: the first byte is then a single character.
    static constexpr Utf8 no_pair{{}, 0xFF};
};

// Reads the file named after the font encoding, whose tests tell the first and second bytes of
// two-byte characters. Returns a new table, for V_Free; null when the file is missing or damaged,
// and when memory runs out.
EastAsianTable *load_table(const VdeFontEncT &font, const char *dir);

} // namespace velt
