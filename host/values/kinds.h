// The kinds of values as book files name them.
#pragma once

#include <algorithm>
#include <iterator>
#include <string_view>

#include "velt/scalars.h"

namespace velt::host
{

struct KindName {
    IntT kind;
    const char *name;
};
inline constexpr KindName kind_names[] = {
#define V_KIND(code, name) {code, #name},
#include "velt/tables/kinds.def"
};

// Returns the kind of the name, or 0.
inline IntT kind_of(std::string_view name)
{
    const auto *found = std::ranges::find(kind_names, name, &KindName::name);
    return found == std::end(kind_names) ? 0 : found->kind;
}

inline const char *name_of_kind(IntT kind)
{
    return std::ranges::find(kind_names, kind, &KindName::kind)->name;
}

inline constexpr const char *dialog_encodings[] = {
#define VELT_FONT_ENCODING(id, name, first, second) name,
#include "vdelib/encode/fontencs.def"
#undef VELT_FONT_ENCODING
};

} // namespace velt::host
