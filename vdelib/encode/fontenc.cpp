// The font encodings, and the locale.

#include "velt/vde/fontenc.h"

#include <locale.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <iterator>

#include "vdelib/encode/fontenc.h"
#include "velt/vde/strings.h"

using velt::byte_classes, velt::ByteClasses, velt::ByteRange;

// Empty until the encodings are set up.
ByteClasses velt::byte_classes[std::size(vdeFontEncs)];

namespace
{

struct Range {
    UCharT low = 0, high = 0; // {0, 0} is no range
};
using Ranges = std::array<Range, 2>;

struct Encoding {
    const char *name;
    Ranges first, second;
};

constexpr Ranges ranges(std::initializer_list<Range> list)
{
    Ranges all{};
    std::ranges::copy(list, all.begin());
    return all;
}

constexpr Encoding encodings[] = {
#define BYTES(...) ranges({__VA_ARGS__})
#define VELT_FONT_ENCODING(id, name, first, second) {name, first, second},
#include "vdelib/encode/fontencs.def"
#undef VELT_FONT_ENCODING
#undef BYTES
};

enum Index : UIntT {
#define VELT_FONT_ENCODING(id, name, first, second) id,
#include "vdelib/encode/fontencs.def"
#undef VELT_FONT_ENCODING
};

// The string routines rely on it that no two-byte character contains a terminator.
constexpr bool well_formed(const Ranges &all)
{
    return std::ranges::all_of(all, [](Range r) {
        return (r.low == 0 && r.high == 0) || (r.low != 0 && r.low <= r.high);
    });
}
static_assert(std::ranges::all_of(encodings, [](const Encoding &e) {
    return well_formed(e.first) && well_formed(e.second);
}));
static_assert(std::size(encodings) == std::size(decltype(vdeFontEncs){}));

constexpr bool contains(const Ranges &all, unsigned byte)
{
    return byte != 0 &&
           std::ranges::any_of(all, [byte](Range r) { return r.low <= byte && byte <= r.high; });
}

// The smallest range that has all of those bytes, with those bits changed, in it.
constexpr ByteRange hull_of(auto is_meant, unsigned flipped = 0)
{
    unsigned low = 256, end = 256;
    for (unsigned byte = 0; byte < 256; ++byte) {
        if (!is_meant(byte ^ flipped))
            continue;
        low = std::min(low, byte);
        end = byte + 1;
    }
    return {static_cast<UCharT>(low), static_cast<UCharT>(end - low)};
}

constexpr ByteClasses classes_of(const Encoding &e)
{
    const auto is_first = [&](unsigned byte) { return contains(e.first, byte); };
    const auto is_second = [&](unsigned byte) { return contains(e.second, byte); };
    // The two ranges of Shift-JIS are one without this bit.
    const UCharT bit = e.first[1].low != 0 ? 0x20 : 0;
    const ByteRange second = hull_of(is_second);
    const auto is_in_gap = [&](unsigned byte) { return second.has(byte) && !is_second(byte); };
    return {bit, hull_of(is_first, bit), second, hull_of(is_in_gap)};
}

constexpr ByteClasses all_classes[] = {
#define VELT_FONT_ENCODING(id, name, first, second) classes_of(encodings[id]),
#include "vdelib/encode/fontencs.def"
#undef VELT_FONT_ENCODING
};

// The string routines rely on it that both say the same, that a byte that can begin a two-byte
// character is not ASCII and can end one, too, and that all letters can end one or none.
static_assert(std::ranges::equal(encodings, all_classes, [](const Encoding &e, ByteClasses c) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        const bool is_first = contains(e.first, byte), is_second = contains(e.second, byte);
        const bool is_letter = ByteRange{'a', 26}.has(byte | 0x20);
        if (c.first.has(byte ^ c.flipped) != is_first ||
            (c.second.has(byte) && !c.gap.has(byte)) != is_second ||
            (is_first && (byte < 0x80 || !is_second)) ||
            (is_letter && is_second != contains(e.second, 'a')))
            return false;
    }
    return true;
}));

VdeFontEncT font_encodings[std::size(encodings)];

IntT set_up(VdeFontEncT *result, Index index)
{
    if (!result)
        return -1;
    const Encoding &encoding = encodings[index];
    for (unsigned byte = 0; byte < 256; ++byte) {
        result->firstByte[byte] = contains(encoding.first, byte);
        result->secondByte[byte] = contains(encoding.second, byte);
    }
    result->name = const_cast<StringT>(encoding.name);
    const auto *const own = std::ranges::find(font_encodings, result, [](auto &e) { return &e; });
    if (own != std::end(font_encodings))
        byte_classes[own - font_encodings] = all_classes[index];
    return 0;
}

void detect_locale()
{
    if (vdeLocaleIsEUC >= 0 || vdeLocaleIsCNS >= 0)
        return;
    vdeLocaleIsEUC = vdeLocaleIsJIS = vdeLocaleIsCNS = 0;

    // The first row whose name is a prefix of the locale's name applies.
    static constexpr struct {
        const char *prefix;
        IntT *flag;
    } locales[] = {
        {"japanese", &vdeLocaleIsEUC},  {"ja_JP.EUC", &vdeLocaleIsEUC},
        {"ja_JP.JIS", &vdeLocaleIsJIS}, {"ja_JP.SJIS", nullptr}, // the internal form itself
        {"ja", &vdeLocaleIsEUC},        {"zh_TW", &vdeLocaleIsCNS},
    };
    const char *name = setlocale(LC_CTYPE, "");
    const auto *row = std::ranges::find_if(
        locales, [name](const auto &locale) { return V_StrPrefix(name, locale.prefix) != 0; });
    if (row != std::end(locales) && row->flag)
        *row->flag = 1;
}

} // namespace

VdeFontEncT *vdeFontEncs[] = {
#define VELT_FONT_ENCODING(id, name, first, second) &font_encodings[id],
#include "vdelib/encode/fontencs.def"
#undef VELT_FONT_ENCODING
};

#define VELT_FONT_ENCODING(id, name, first, second)                                                \
    UIntT vde##id##EncodingId = id;                                                                \
    IntT VdeInit##id##Encoding(VdeFontEncT *result)                                                \
    {                                                                                              \
        return set_up(result, id);                                                                 \
    }
#include "vdelib/encode/fontencs.def"
#undef VELT_FONT_ENCODING

UIntT vdeLastEncodingId = std::size(encodings) - 1;
UIntT vdeDialogEncodingId = 0;

IntT vdeLocaleIsEUC = -1;
IntT vdeLocaleIsJIS = -1;
IntT vdeLocaleIsCNS = -1;

void velt::set_up_font_encodings()
{
#define VELT_FONT_ENCODING(id, name, first, second) VdeInit##id##Encoding(vdeFontEncs[id]);
#include "vdelib/encode/fontencs.def"
#undef VELT_FONT_ENCODING
}

IntT V_FdeInitFontEncs(const char *dialogEncodingName)
{
    velt::set_up_font_encodings();
    // An unknown name has the id 0 as well, so the name of that encoding is compared once more.
    const UIntT id = V_FontEncId(dialogEncodingName);
    if (V_StrIEqual(V_FontEncName(id), dialogEncodingName))
        vdeDialogEncodingId = id;
    detect_locale();
    return static_cast<IntT>(vdeDialogEncodingId);
}

const char *V_FontEncName(UIntT id)
{
    return id <= vdeLastEncodingId ? vdeFontEncs[id]->name : nullptr;
}

UIntT V_FontEncId(const char *name)
{
    for (UIntT id = 0; id <= vdeLastEncodingId; ++id)
        if (V_StrIEqual(vdeFontEncs[id]->name, name))
            return id;
    return 0;
}
