// Conversion to Unicode.

#include "vdelib/encconv/unicode.h"

#include "velt/vde/encodings.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/strings.h"

#include <iterator>
#include <string_view>

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

// Writes a code point as UTF-8.
constexpr void put_utf8(UCharT *&out, CodePoint code)
{
    const auto low_bits = [code](int shift) {
        return static_cast<UCharT>(0x80 | (code >> shift & 0x3F));
    };
    if (code < 0x80) {
        *out++ = static_cast<UCharT>(code);
    } else if (code < 0x800) {
        *out++ = static_cast<UCharT>(0xC0 | code >> 6);
        *out++ = low_bits(0);
    } else {
        *out++ = static_cast<UCharT>(0xE0 | code >> 12);
        *out++ = low_bits(6);
        *out++ = low_bits(0);
    }
}

constexpr IntT most_utf8 = 3;

// What a byte becomes; the bytes behind the size are of no account.
struct Utf8 {
    UCharT bytes[most_utf8];
    UCharT size;
};

consteval std::array<Utf8, 256> in_utf8(const CodePoints &codes)
{
    std::array<Utf8, 256> all{};
    for (size_t byte = 0; byte < all.size(); ++byte) {
        UCharT *end = all[byte].bytes;
        if (is_code_point(codes[byte]))
            put_utf8(end, codes[byte]);
        all[byte].size = static_cast<UCharT>(end - all[byte].bytes);
    }
    return all;
}

struct SingleByteTable {
    UIntT enc;
    const CodePoints &codes;
    std::array<Utf8, 256> utf8;
    AsciiRun run;
};

consteval SingleByteTable single_byte(UIntT enc, const CodePoints &codes)
{
    return {enc, codes, in_utf8(codes), identical_ascii(codes.data())};
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

// Takes characters of single-byte text.
struct SingleBytes {
    const CodePoints &codes;

    CodePoint next(const UCharT *&at, const UCharT *) const { return codes[*at++]; }
};

// Takes characters of East Asian text.
struct EastAsian {
    const EastAsianTable &table;
    const VdeFontEncT &font;

    CodePoint next(const UCharT *&at, const UCharT *end) const
    {
        const UCharT first = *at++;
        if (font.firstByte[first] == 0 || at == end || font.secondByte[*at] == 0)
            return (*table.rows[0])[first];
        return (*table.rows[first])[*at++];
    }
};

// Calls the one for the encoding with what takes its characters; false when there is no table.
bool with_table(UIntT enc, auto single, auto east_asian)
{
    for (const SingleByteTable &table : single_byte_tables) {
        if (table.enc == enc) {
            single(table);
            return true;
        }
    }
    for (const Slot &slot : AsianToUnicodeTable) {
        if (slot.enc == enc && slot.table != nullptr) {
            east_asian(EastAsian{*slot.table, *vdeFontEncs[V_TextEncToFontEnc(enc)]});
            return true;
        }
    }
    return false;
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
    if (AsianToUnicodeTable[0].table != nullptr)
        return;
    if (V_FontEncName(vdeVeltRomanEncodingId) == nullptr)
        V_FdeInitFontEncs(nullptr);
    for (Slot &slot : AsianToUnicodeTable) {
        // The files are named as the font encodings are.
        EastAsianTable *table = load_table(V_FontEncName(V_TextEncToFontEnc(slot.enc)), dir);
        if (table == nullptr)
            continue;
        V_Free(slot.table);
        slot.table = table;
    }
}

UIntT *VdeTextEncStringToLString(const char *text, UIntT enc)
{
    const IntT length = V_StrLen(text);
    // More than a block may hold is refused rather than fatal.
    if (length == 0 || length >= V_MaxBlockSize / IntT{sizeof(UIntT)} - 1)
        return nullptr;
    UIntT *lstring = nullptr;
    const auto collect = [&](const auto &characters) {
        lstring = static_cast<UIntT *>(
            V_Alloc((static_cast<UIntT>(length) + 1) * UIntT{sizeof(UIntT)}, 0));
        if (lstring == nullptr)
            return;
        UIntT *out = lstring;
        const auto *at = reinterpret_cast<const UCharT *>(text);
        for (const UCharT *const end = at + length; at < end;) {
            const CodePoint code = characters.next(at, end);
            if (is_code_point(code))
                *out++ = code;
        }
        *out = 0;
    };
    with_table(
        enc, [&](const SingleByteTable &table) { collect(SingleBytes{table.codes}); }, collect);
    return lstring;
}

IntT vdeTranslateToUnicode(VdeClT *cl, const char *src, IntT srcLen, UIntT enc)
{
    const auto single = [=](const SingleByteTable &table) {
        convert<most_utf8>(cl, src, srcLen, [&table](Source &source, UCharT *&out) {
            table.run.copy(source, out);
            while (source.at < source.stop && !table.run.has(*source.at)) {
                const Utf8 &utf8 = table.utf8[*source.at++];
                std::memcpy(out, &utf8, sizeof utf8);
                out += utf8.size;
            }
            return true;
        });
    };
    const auto east_asian = [=](const EastAsian &characters) {
        convert<most_utf8>(cl, src, srcLen, [&characters](Source &source, UCharT *&out) {
            characters.table.run.copy(source, out);
            while (source.at < source.stop && !characters.table.run.has(*source.at)) {
                const CodePoint code = characters.next(source.at, source.end);
                if (is_code_point(code))
                    put_utf8(out, code);
            }
            return true;
        });
    };
    with_table(enc, single, east_asian);
    return 0;
}
