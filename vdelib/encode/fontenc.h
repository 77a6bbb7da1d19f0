// What the string routines know of the font encodings beside their tables.
#pragma once

#include <cstddef>

#include "velt/scalars.h"
#include "velt/vde/fontenc.h"

namespace velt
{

struct ByteRange {
    UCharT low = 0, size = 0;

    constexpr bool has(unsigned byte) const { return byte - low < size; }
};

// The bytes of an encoding's tables once more, for vectors: what can begin a two-byte character is
// in a range once some of its bits are changed; what can end one is in another, but not in a gap.
struct ByteClasses {
    UCharT flipped = 0; // those bits
    ByteRange first, second, gap;
};

// An id above the highest reads as the first.
inline UIntT known_encoding(UIntT enc)
{
    return enc <= vdeLastEncodingId ? enc : vdeVeltRomanEncodingId;
}

// By the encodings' ids.
[[gnu::visibility("hidden")]] extern ByteClasses byte_classes[];

inline const ByteClasses &byte_classes_of(UIntT enc)
{
    return byte_classes[known_encoding(enc)];
}

// Fills the structures; does not change the dialogs' encoding or the locale.
void set_up_font_encodings();

} // namespace velt
