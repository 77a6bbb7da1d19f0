// The conversion of strings from one text encoding to another.

#include <iterator>

#include "vdelib/encconv/bytemaps.h"
#include "vdelib/encconv/output.h"
#include "velt/vde/chinese.h"
#include "velt/vde/encodings.h"
#include "velt/vde/japanese.h"
#include "velt/vde/quire.h"
#include "velt/vde/strings.h"
#include "velt/vde/unicode.h"

namespace
{

using namespace velt;

// A run of no bytes at all.
constexpr AsciiRun no_run{1, 0};

// Converts through a table of bytes, a word at a time outside runs.
template <const auto &map>
IntT bytes_through(VdeClT *cl, const char *src, IntT srcLen)
{
    const UCharT *const table = &map[0];
    // For a short text, finding out which bytes the table leaves alone takes longer than mapping
    // all bytes.
    constexpr IntT short_text = 128;
    const AsciiRun identical = srcLen < short_text ? no_run : identical_ascii(table);
    return convert<1>(cl, src, srcLen, [table, identical](Source &source, UCharT *&out) {
        identical.copy(source, out);
        const UCharT *at = source.at;
        UCharT *to = out;
        constexpr int word_size = 8;
        while (source.stop - at >= word_size && !identical.has(*at)) {
            uint64_t word;
            uint64_t mapped = 0;
            std::memcpy(&word, at, sizeof word);
            for (int shift = 0; shift < 64; shift += 8)
                mapped |= uint64_t{table[word >> shift & 0xFF]} << shift;
            std::memcpy(to, &mapped, sizeof mapped);
            at += word_size;
            to += word_size;
        }
        while (at < source.stop && !identical.has(*at))
            *to++ = table[*at++];
        source.at = at;
        out = to;
        return true;
    });
}

template <UIntT from>
IntT utf8_from(VdeClT *cl, const char *src, IntT srcLen)
{
    return vdeTranslateToUnicode(cl, src, srcLen, from);
}

struct Conversion {
    UIntT from, to;
    Converter converter;

    constexpr bool joins(UIntT one, UIntT other) const { return from == one && to == other; }
};

constexpr Conversion conversions[] = {
#define CONVERSION(from, to, converter) {from, to, converter},
#include "vdelib/encconv/conversions.def"
#undef CONVERSION
};

static_assert(std::ranges::all_of(conversions, [](const Conversion &row) {
    return row.from <= VdeEncLast && row.to <= VdeEncLast &&
           std::ranges::count_if(conversions, [&](const Conversion &other) {
               return other.joins(row.from, row.to);
           }) == 1;
}));

// From this size on the result keeps its unused room, which costs less than moving the text.
constexpr IntT large = 65536;

// Returns 0, or nonzero when there is no conversion or it failed.
IntT dispatch(VdeClT *cl, const char *src, IntT srcLen, UIntT from, UIntT to)
{
    if (from == to) {
        VdeClAddNChars(cl, src, srcLen);
        return 0;
    }
    const auto *row = std::ranges::find_if(
        conversions, [=](const Conversion &each) { return each.joins(from, to); });
    if (row != std::end(conversions))
        return row->converter(cl, src, srcLen);
    // Quire text converts to everything but the fonts' encodings.
    if (from > VdeEncLast || from == VdeEncQuire)
        VdeFail();
    return -1;
}

} // namespace

StringT V_StrConvertEnc(const char *text, UIntT fromEnc, UIntT toEnc)
{
    VdeClT cl;
    VdeClInit(&cl, 256);
    const bool failed = dispatch(&cl, text, V_StrLen(text), fromEnc, toEnc) != 0;
    if (failed)
        VdeClSetSize(&cl, 0);
    else if (cl.len < large)
        VdeClSetSize(&cl, cl.len);
    return reinterpret_cast<StringT>(cl.buf);
}
