#include "tools/layout/layout.h"

#include <algorithm>

#include "velt/api/facts.h"

namespace velt
{
namespace
{

template <class Rows>
auto find(const Rows &rows, std::string_view name) -> decltype(&*rows.begin())
{
    const auto found =
        std::ranges::find(rows, name, [](const auto &each) { return std::string_view(each.name); });
    return found == rows.end() ? nullptr : &*found;
}

} // namespace

std::span<const StructureRow> structure_types()
{
    using enum FieldRow::Kind;
    static const std::vector<StructureRow> rows = {
#define V_KEEP_MACROS
#define V_RECORD(name, fields) {#name, {fields}},
#define V_FIELD(type, name) {plain, #type, #name},
#define V_FIELD_IF_ZERO(key, type, name) {if_zero, #type, #name, #key},
#define V_OPTIONAL(type, name) {optional, #type, #name},
#define V_SWITCH(type, name, tag) {by_tag, #type, #name, #tag},
#define V_UNION(name, cases) {#name, {cases}},
#define V_CASE(tag, type, member) {for_tag, #type, #member, #tag, tag},
#define V_CASE_OPTIONAL(tag, type, member) {for_tag, #type " *", #member, #tag, tag},
#define V_SAME_CASE(tag, type, member)
#define V_OTHER_CASES(type, member) {otherwise, #type, #member},
#include "velt/tables/callbacks.def"
#include "velt/tables/records.def"
#include "velt/tables/values.def"
#undef V_KEEP_MACROS
#include "velt/tables/undefine.h"
    };
    return rows;
}

std::span<const ListRow> list_types()
{
    static constexpr ListRow rows[] = {
#define V_LIST(name, element, plural) {#name, #element, #plural},
#include "velt/tables/values.def"
    };
    return rows;
}

const StructureRow *find_structure(std::string_view type)
{
    return find(structure_types(), type);
}

const ListRow *find_list(std::string_view type)
{
    return find(list_types(), type);
}

} // namespace velt
