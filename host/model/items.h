// What the text of a document, a flow, a paragraph or a range consists of.
#pragma once

#include "host/model/text.h"

namespace velt::host
{

namespace text_item
{
enum : IntT {
#define V_TEXT_ITEM(bit, name, type, meaning) name = type,
#include "velt/tables/text_items.def"
};
} // namespace text_item

// An item: its type, its offset in characters, and its text, a view of the paragraph's, or value.
struct TextItem {
    IntT offset;
    IntT type;
    std::string_view text;
    IntT value;
};

namespace texts
{

// The selector says which items there are, by the bits of text_items.def.
std::vector<TextItem> items_of_object(const Objects &objects, UIntT doc, UIntT id, UIntT selector);
std::vector<TextItem> items_of_range(const Objects &objects, const Span &span, UIntT selector);

} // namespace texts
} // namespace velt::host
