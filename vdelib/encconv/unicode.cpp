// Conversion to Unicode.

#include "vdelib/encconv/unicode.h"

#include <iterator>
#include <string_view>

#include "vdelib/encode/fontenc.h"
#include "velt/vde/encodings.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/strings.h"

namespace
{

using namespace velt;

struct Row {
    std::string_view table;
    UCharT first;
    CodePoint codes[16];
};

constexpr Row unicode_rows[] = {
#define UNICODE_ROW(name, first, ...) {#name, first, {__VA_ARGS__}},
#include "vdelib/encconv/unicode_maps.def"
};

consteval CodePoints identity(unsigned first, unsigned last)
{
    CodePoints codes{};
    codes.fill(VdeNoCodePoint);
    for (unsigned code = first; code <= last; ++code)
        codes[code] = static_cast<CodePoint>(code);
    return codes;
}

consteval CodePoints with_rows(CodePoints codes, std::string_view table, unsigned end = 0x100)
{
    for (const Row &row : unicode_rows) {
        if (row.table == table && row.first < end)
            std::copy_n(row.codes, std::size(row.codes), codes.begin() + row.first);
    }
    return codes;
}

constexpr CodePoints printable_ascii = identity(0x20, 0x7E);

constexpr CodePoints latin1 = [] {
    CodePoints codes = identity(0x00, 0xFF);
    codes[0x7F] = VdeNoCodePoint;
    return codes;
}();

constexpr CodePoints none = identity(1, 0);
constexpr CodePoints controls = with_rows(none, "VdeVeltRoman", 0x20);

#define UNICODE_TABLE(name, base) constexpr CodePoints name##_codes = with_rows(base, #name);
#include "vdelib/encconv/unicode_maps.def"

constexpr bool is_code_point(CodePoint code)
{
    return code != VdeNoCodePoint;
}

consteval Utf8Row all_in_utf8(const CodePoints &codes)
{
    Utf8Row all{};
    std::ranges::transform(codes, all.begin(), in_utf8);
    return all;
}

struct SingleByteTable {
    UIntT enc;
    const CodePoints &codes;
    Utf8Row utf8;
    AsciiRun run;
};

consteval SingleByteTable single_byte(UIntT enc, const CodePoints &codes)
{
    return {enc, codes, all_in_utf8(codes), identical_ascii(codes.data())};
}

constexpr SingleByteTable single_byte_tables[] = {
    single_byte(VdeEncQuire, VdeVeltRoman_codes),
    single_byte(VdeEncIsoLatin1, VdeISOLatin1_codes),
    single_byte(VdeEncSymbol, VdeSymbol_codes),
    single_byte(VdeEncZapfDingbats, VdeZapfDingbats_codes),
    single_byte(VdeEncWingdings, VdeWingdings_codes),
};

struct Slot {
    UIntT enc;
    EastAsianTable *table;
};

Slot AsianToUnicodeTable[] = {
    {VdeEncShiftJis, nullptr},
    {VdeEncKscEuc, nullptr},
    {VdeEncBig5, nullptr},
    {VdeEncGbEuc, nullptr},
};

// Read the characters of text one by one. They hold the run by value: if it were a reference, the
// compiler would reload it after every byte that is written, which might alias it.

struct SingleBytes {
    const SingleByteTable &table;
    AsciiRun run = table.run;

    const Utf8 &next(const UCharT *&at, const UCharT *) const { return table.utf8[*at++]; }
};

struct EastAsian {
    const EastAsianTable &table;
    AsciiRun run = table.run;

    const Utf8 &next(const UCharT *&at, const UCharT *end) const
    {
        const UCharT first = *at++;
        const Utf8Row *const pairs = table.pairs[first];
        if (pairs && at < end) {
            const Utf8 &character = (*pairs)[*at];
            if (character.size != EastAsianTable::no_pair.size) {
                ++at;
                return character;
            }
        }
        return (*table.single)[first];
    }
};

// Calls `use` with the reader of the encoding's characters, unless the encoding has no table.
void with_table(UIntT enc, auto use)
{
    for (const SingleByteTable &table : single_byte_tables) {
        if (table.enc == enc)
            return use(SingleBytes{table});
    }
    for (const Slot &slot : AsianToUnicodeTable) {
        if (slot.enc == enc && slot.table)
            return use(EastAsian{*slot.table});
    }
}

} // namespace

#define SIXTEEN(t, i)                                                                              \
    t[i], t[i + 1], t[i + 2], t[i + 3], t[i + 4], t[i + 5], t[i + 6], t[i + 7], t[i + 8],          \
        t[i + 9], t[i + 10], t[i + 11], t[i + 12], t[i + 13], t[i + 14], t[i + 15]
#define UNICODE_TABLE(name, base)                                                                  \
    constexpr uint16_t name##ToUnicodeConversionTable[] = {                                        \
        SIXTEEN(name##_codes, 0x00), SIXTEEN(name##_codes, 0x10), SIXTEEN(name##_codes, 0x20),     \
        SIXTEEN(name##_codes, 0x30), SIXTEEN(name##_codes, 0x40), SIXTEEN(name##_codes, 0x50),     \
        SIXTEEN(name##_codes, 0x60), SIXTEEN(name##_codes, 0x70), SIXTEEN(name##_codes, 0x80),     \
        SIXTEEN(name##_codes, 0x90), SIXTEEN(name##_codes, 0xA0), SIXTEEN(name##_codes, 0xB0),     \
        SIXTEEN(name##_codes, 0xC0), SIXTEEN(name##_codes, 0xD0), SIXTEEN(name##_codes, 0xE0),     \
        SIXTEEN(name##_codes, 0xF0)};
#include "vdelib/encconv/unicode_maps.def"

void V_FdeInitUnicode(const char *dir)
{
    if (AsianToUnicodeTable[0].table)
        return;
    if (!V_FontEncName(vdeVeltRomanEncodingId))
        set_up_font_encodings();
    for (Slot &slot : AsianToUnicodeTable) {
        EastAsianTable *table = load_table(*vdeFontEncs[V_TextEncToFontEnc(slot.enc)], dir);
        if (!table)
            continue;
        V_Free(slot.table);
        slot.table = table;
    }
}

UIntT *VdeTextEncStringToLString(const char *text, UIntT enc)
{
    const IntT length = V_StrLen(text);
    // Text that needs more than the largest block gives null; V_Alloc would end the process.
    if (length == 0 || length >= V_MaxBlockSize / IntT{sizeof(UIntT)} - 1)
        return nullptr;
    UIntT *lstring = nullptr;
    with_table(enc, [&](const auto &characters) {
        lstring = static_cast<UIntT *>(
            V_Alloc((static_cast<UIntT>(length) + 1) * UIntT{sizeof(UIntT)}, 0));
        if (!lstring)
            return;
        UIntT *out = lstring;
        const auto *at = reinterpret_cast<const UCharT *>(text);
        for (const UCharT *const end = at + length; at < end;) {
            const CodePoint code = code_point(characters.next(at, end));
            if (is_code_point(code))
                *out++ = code;
        }
        *out = 0;
    });
    return lstring;
}

IntT vdeTranslateToUnicode(VdeClT *cl, const char *src, IntT srcLen, UIntT enc)
{
    with_table(enc, [=](const auto &characters) {
        convert<most_utf8>(cl, src, srcLen, [characters](Source &source, UCharT *&out) {
            characters.run.copy(source, out);
            const UCharT *at = source.at;
            UCharT *to = out;
            // Converts single characters after a run, up to the second byte of another run: text
            // may have single spaces between words.
            UCharT size = 0;
            while (at < source.stop && (size != 1 || !characters.run.has(*at))) {
                const Utf8 &character = characters.next(at, source.end);
                size = character.size;
                character.put(to);
            }
            source.at = at;
            out = to;
            return true;
        });
    });
    return 0;
}
