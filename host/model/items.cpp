#include "host/model/items.h"

#include <algorithm>

#include "host/model/chains.h"

namespace velt::host::texts
{
namespace
{

constexpr struct {
    IntT type;
    UIntT bit;
} bits[] = {
#define V_TEXT_ITEM(bit, name, type, meaning) {type, bit},
#include "velt/tables/text_items.def"
};

class Collector
{
public:
    Collector(const Objects &objects, UIntT selector) : objects_(objects)
    {
        for (const auto &each : bits)
            wanted_[each.type] = (selector & each.bit) != 0;
    }

    void flow(const Object &flow)
    {
        add(text_item::flow_begin, static_cast<IntT>(flow.id));
        for (UIntT each = flow.first; each != 0; each = objects_.at(each).next)
            paragraph(objects_.at(each));
        add(text_item::flow_end, static_cast<IntT>(flow.id));
    }
    void paragraph(const Object &paragraph) { part(paragraph, {paragraph.id, 0, 0}, nullptr); }
    // Adds the paragraph's items from the place up to the end, or of all the rest.
    void part(const Object &paragraph, const Place &from, const Place *to);

    std::vector<TextItem> items;

private:
    // An item inside a paragraph, where its text may be divided.
    struct Inner {
        std::size_t byte;
        IntT type, value;
    };

    void add(IntT type, IntT value)
    {
        if (wanted_[type])
            items.push_back({offset_, type, {}, value});
    }
    void add_text(std::string_view text)
    {
        if (wanted_[text_item::string] && !text.empty())
            items.push_back({offset_, text_item::string, text, 0});
        offset_ += objects_.characters.count(text);
    }
    std::vector<Inner> inner_items(const Object &paragraph, const Place &from, IntT end) const;

    const Objects &objects_;
    bool wanted_[std::size(bits) + 1] = {};
    IntT offset_ = 0;
};

std::vector<Collector::Inner> Collector::inner_items(const Object &paragraph, const Place &from,
                                                     IntT end) const
{
    std::vector<Inner> found;
    const std::string_view text = paragraph.text;
    if (wanted_[text_item::properties_change]) {
        if (const auto first =
                from.byte < text.size() ? runs::at(paragraph.runs, from.byte) : nullptr)
            found.push_back(
                {from.byte, text_item::properties_change, static_cast<IntT>(first->size())});
        for (const TextRun &run : paragraph.runs)
            if (run.begin > from.byte)
                found.push_back({run.begin, text_item::properties_change,
                                 run.properties ? static_cast<IntT>(run.properties->size()) : 0});
    }
    if (wanted_[text_item::anchor]) {
        std::size_t byte = from.byte;
        IntT offset = from.offset;
        for (const Anchor &each : anchors(paragraph, from.offset, end)) {
            const std::string_view rest = text.substr(byte);
            byte += objects_.characters.byte_of(rest, each.offset - offset).value_or(rest.size());
            offset = each.offset;
            found.push_back({byte, text_item::anchor, static_cast<IntT>(each.object)});
        }
        std::ranges::stable_sort(found, {}, &Inner::byte);
    }
    return found;
}

void Collector::part(const Object &paragraph, const Place &from, const Place *to)
{
    if (from.byte == 0)
        add(text_item::paragraph_begin, static_cast<IntT>(paragraph.id));
    const std::size_t end = to ? to->byte : paragraph.text.size();
    const std::string_view text = std::string_view(paragraph.text).substr(0, end);
    std::size_t byte = from.byte;
    for (const Inner &each : inner_items(paragraph, from, to ? to->offset : no_end)) {
        if (each.byte >= end && to)
            break;
        add_text(text.substr(byte, each.byte - byte));
        byte = each.byte;
        add(each.type, each.value);
    }
    add_text(text.substr(byte));
    if (to)
        return;
    add(text_item::paragraph_end, static_cast<IntT>(paragraph.id));
    offset_++;
}

} // namespace

std::vector<TextItem> items_of_object(const Objects &objects, UIntT doc, UIntT id, UIntT selector)
{
    objects.check_is_document(doc);
    const Object &object = objects.addressed(doc, id);
    Collector collector(objects, selector);
    if (object.type == object_type::paragraph)
        collector.paragraph(object);
    else if (object.type == object_type::flow)
        collector.flow(object);
    else
        check(id == doc, wrong_kind);
    if (id == doc)
        for (UIntT each = object.first; each != 0; each = objects.at(each).next)
            collector.flow(objects.at(each));
    return std::move(collector.items);
}

std::vector<TextItem> items_of_range(const Objects &objects, const Span &span, UIntT selector)
{
    Collector collector(objects, selector);
    Place from = span.beg;
    while (from.paragraph != span.end.paragraph) {
        const Object &paragraph = objects.at(from.paragraph);
        collector.part(paragraph, from, nullptr);
        from = {paragraph.next, 0, 0};
    }
    collector.part(objects.at(from.paragraph), from, &span.end);
    return std::move(collector.items);
}

} // namespace velt::host::texts
