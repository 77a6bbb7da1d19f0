// Tables of code points.

#pragma once

#include "vdelib/encconv/output.h"
#include "velt/vde/unicode.h"

namespace velt
{

using CodePoint = uint16_t; // VdeNoCodePoint where there is no character
using CodePoints = std::array<CodePoint, 256>;

// The printable ASCII that stands for itself: from the space on, but for one character, up to the
// second that does not.
constexpr AsciiRun identical_ascii(const CodePoint *codes)
{
    UCharT others[] = {0x7F, 0x7F};
    unsigned found = 0;
    for (UCharT byte = 0x20; byte < 0x7F && found < 2; ++byte) {
        if (codes[byte] != byte)
            others[found++] = byte;
    }
    return {0x20, static_cast<UCharT>(others[1] - 1), others[0]};
}

// The table of an East Asian encoding: a row for the bytes that are single, and one for each first
// byte of two-byte characters. The rows stand behind it in its block; those that the file lacks are
// one row, without characters.
struct EastAsianTable {
    AsciiRun run;
    const CodePoints *rows[256]; // by first byte; single bytes have row 0
};

// New table of a file; V_Free it. Null when the file is missing or damaged, and when memory runs
// out.
EastAsianTable *load_table(const char *base_name, const char *dir);

} // namespace velt
