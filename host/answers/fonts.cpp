#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

#include "host/answers/answers.h"
#include "host/values/kinds.h"
#include "host/values/owned.h"
#include "velt/vde/encodings.h"

namespace velt::host
{
namespace
{

struct Family {
    UIntT number;
    const char *encoding;
};
constexpr Family families[] = {
#define V_FONT_FAMILY(number, name, encoding) {number, encoding},
#include "velt/tables/fonts.def"
};
constexpr V_FontT fonts[] = {
#define V_FONT(family, variation, weight, angle) {family, variation, weight, angle},
#include "velt/tables/fonts.def"
};
constexpr Family combined_families[] = {
#define V_COMBINED_FAMILY(number, name) {number, ""},
#include "velt/tables/fonts.def"
};
constexpr V_CombinedFontT combined_fonts[] = {
#define V_COMBINED_FONT(family, variation, weight, angle) {family, variation, weight, angle},
#include "velt/tables/fonts.def"
};
constexpr struct {
    UIntT id;
    const char *name;
} nameless_encodings[] = {
#define V_NAMELESS_ENCODING(id, name) {id, name},
#include "velt/tables/fonts.def"
};

template <class Font>
constexpr bool equal(const Font &a, const Font &b)
{
    return a.family == b.family && a.variation == b.variation && a.weight == b.weight &&
           a.angle == b.angle;
}

// Returns whether each family and each font stands once, each family has a font, and each font a
// family.
template <class Families, class Fonts>
constexpr bool complete(const Families &of, const Fonts &all)
{
    for (const Family &family : of)
        if (std::ranges::count(of, family.number, &Family::number) != 1 ||
            std::ranges::none_of(all,
                                 [&](const auto &font) { return font.family == family.number; }))
            return false;
    for (const auto &font : all)
        if (std::ranges::count(of, font.family, &Family::number) != 1 ||
            std::ranges::count_if(all, [&](const auto &other) { return equal(font, other); }) != 1)
            return false;
    return true;
}
static_assert(complete(families, fonts) && complete(combined_families, combined_fonts));

template <class List, class Fonts>
List fonts_of(UIntT family, const Fonts &all)
{
    const auto belongs = [&](const auto &font) { return font.family == family; };
    const auto count = std::ranges::count_if(all, belongs);
    check(count != 0, not_found);
    const List list = owned_list<List>(static_cast<std::size_t>(count));
    std::ranges::copy_if(all, list.val, belongs);
    return list;
}

StringT encoding_of(UIntT family)
{
    const auto *found = std::ranges::find(families, family, &Family::number);
    check(found != std::end(families), not_found);
    return owned_string(found->encoding);
}

// Returns the names of the text encodings in the order of their ids.
std::vector<const char *> text_encodings()
{
    std::vector<const char *> names;
    for (UIntT id = 0; id <= VdeEncLast; id++)
        names.push_back(VdeTextEncValueToName(id));
    for (const auto &each : nameless_encodings)
        names[each.id] = each.name;
    return names;
}

} // namespace

void Answer<api_vq_family_fonts_1>::answer(Context &, const IntT &family, ApiVqFamilyFontsRetT &r)
{
    r.status = status_of([&] { r.fonts = fonts_of<V_FontsT>(static_cast<UIntT>(family), fonts); });
}

void Answer<api_vq_combined_family_fonts_1>::answer(Context &,
                                                    const ApiVqCombinedFamilyFontsArgT &a,
                                                    ApiVqCombinedFamilyFontsRetT &r)
{
    r.status = status_of([&] { r.fonts = fonts_of<V_CombinedFontsT>(a.id1, combined_fonts); });
}

// An encoding is supported by every name of it, and so are those of fonts.
void Answer<api_vq_is_encoding_supported_1>::answer(Context &, const StringT &name, IntT &r)
{
    const auto is_it = [&](const char *each) { return V_StrANICmp(name, each) == 0; };
    r = VdeTextEncNameToValue(name) != VdeEncQuire ||
        std::ranges::any_of(text_encodings(), is_it) ||
        std::ranges::any_of(dialog_encodings, is_it);
}

void Answer<api_vq_get_supported_encodings_1>::answer(Context &, ApiVqGetStringsRetT &r)
{
    r.status = status_of([&] {
        const auto names = text_encodings();
        r.strings = owned_list<V_StringsT>(names.size());
        for (UIntT i = 0; i < r.strings.len; i++)
            r.strings.val[i] = owned_string(names[i]);
    });
}

void Answer<api_vq_get_encoding_for_family_1>::answer(Context &, const IntT &family,
                                                      ApiVqGetStringRetT &r)
{
    r.status = status_of([&] { r.result = encoding_of(static_cast<UIntT>(family)); });
}

void Answer<api_vq_get_encoding_for_font_1>::answer(Context &, const ApiVqGetEncodingForFontArgT &a,
                                                    ApiVqGetStringRetT &r)
{
    r.status = status_of([&] {
        const bool known =
            std::ranges::any_of(fonts, [&](const V_FontT &font) { return equal(font, a.font); });
        check(known, not_found);
        r.result = encoding_of(a.font.family);
    });
}

} // namespace velt::host
