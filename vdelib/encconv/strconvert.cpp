// The conversion of strings from one text encoding to another.

#include "vdelib/encconv/bytemaps.h"
#include "vdelib/encconv/output.h"
#include "velt/vde/chinese.h"
#include "velt/vde/encodings.h"
#include "velt/vde/japanese.h"
#include "velt/vde/quire.h"
#include "velt/vde/strings.h"
#include "velt/vde/unicode.h"

#include <iterator>

namespace
{

using namespace velt;

// Through a table of bytes.
template <const auto &map>
IntT bytes_through(VdeClT *cl, const char *src, IntT srcLen)
{
    const UCharT *const table = &map[0];
    return convert<1>(cl, src, srcLen, [table](Source &source, UCharT *&out) {
        out = std::transform(source.at, source.stop, out,
                             [table](UCharT byte) { return table[byte]; });
        source.at = source.stop;
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

// 0, or nonzero when there is no conversion or it failed.
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
    VdeClSetSize(&cl, failed ? 0 : cl.len);
    return reinterpret_cast<StringT>(cl.buf);
}
