// Classes of Unicode characters.

#include <array>

#include "velt/vde/unicode.h"

namespace
{

struct Range {
    uint16_t first, last;
};

// A bit set over code points.
using CharSet = std::array<UCharT, 0x10000 / 8>;

constexpr void insert(CharSet &set, std::initializer_list<Range> ranges)
{
    for (const Range range : ranges) {
        for (unsigned ch = range.first; ch <= range.last; ++ch)
            set[ch / 8] = static_cast<UCharT>(set[ch / 8] | 1U << ch % 8);
    }
}

consteval CharSet name_characters(bool only_first)
{
    CharSet set{};
#define NAME_CLASS(first, ...)                                                                     \
    if (first || !only_first)                                                                      \
        insert(set, {__VA_ARGS__});
#include "vdelib/encconv/name_classes.def"
#undef NAME_CLASS
    return set;
}

constexpr CharSet name_set = name_characters(false);
constexpr CharSet first_set = name_characters(true);

} // namespace

IntT V_LCharIsSafeForAscii(UIntT ch)
{
    return ch >= 0x20 && ch <= 0x7D && ch != '\\';
}

IntT V_LCharIsSafeForName(UIntT ch, IntT first)
{
    const CharSet &set = first != 0 ? first_set : name_set;
    return ch < 0x10000 ? set[ch / 8] >> ch % 8 & 1 : 0;
}
