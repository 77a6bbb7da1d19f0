// The structures of the tables by their names, with their fields, for programs that tell of them.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velt
{

struct FieldRow {
    // A named field that is always sent; sent when the field `key` is 0; a structure or null; a
    // union whose member the field `key` selects. Of a union: the member for the tag, and that for
    // all others.
    enum Kind { plain, if_zero, optional, by_tag, for_tag, otherwise };

    Kind kind;
    std::string_view type, name;
    std::string_view key = {}; // the field, or the tag as the tables name it
    long tag = 0;
};

struct StructureRow {
    std::string_view name;
    std::vector<FieldRow> fields; // in wire order
};

struct ListRow {
    std::string_view name, element, plural;
};

std::span<const StructureRow> structure_types();
std::span<const ListRow> list_types();
// Return null for what is none.
const StructureRow *find_structure(std::string_view type);
const ListRow *find_list(std::string_view type);

} // namespace velt
