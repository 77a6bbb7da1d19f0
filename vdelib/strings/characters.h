// The characters of a font encoding.
#pragma once

#include "vdelib/encode/fontenc.h"
#include "velt/vde/fontenc.h"

namespace velt
{

inline const VdeFontEncT &font_encoding(UIntT enc)
{
    return *vdeFontEncs[known_encoding(enc)];
}

// Bytes of the character that s begins with; 0 at the end of the string.
inline IntT char_size(const char *s, const VdeFontEncT &enc)
{
    // NOLINTNEXTLINE(clang-analyzer-core.*): the terminator ends each scan
    if (*s == '\0')
        return 0;
    const bool pair = enc.firstByte[static_cast<UCharT>(s[0])] != 0 &&
                      enc.secondByte[static_cast<UCharT>(s[1])] != 0;
    return pair ? 2 : 1;
}

} // namespace velt
