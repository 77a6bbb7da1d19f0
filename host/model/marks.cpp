#include "host/model/marks.h"

#include "host/model/text.h"

namespace velt::host::marks
{
namespace
{

int ends_of(IntT value_kind)
{
    return value_kind == kind::text_range ? 2 : value_kind == kind::text_location ? 1 : 0;
}

V_TextLocT &place(V_TypedValT &value, int end)
{
    if (value.valType == kind::text_location)
        return value.u.textLocVal;
    return end == 0 ? value.u.textRangeVal.beg : value.u.textRangeVal.end;
}

auto take(Objects &objects, Property &property, int end) noexcept
{
    V_TypedValT value = property.second.get();
    const UIntT paragraph = place(value, end).objId;
    std::set<TextMark>::node_type node;
    if (objects.contains(paragraph)) {
        auto &marks = objects.at(paragraph).marks;
        const auto found = marks.find({&property, end});
        if (found != marks.end())
            node = marks.extract(found);
    }
    return node;
}

} // namespace

void assign(Objects &objects, Object &owner, Property &property, Value value)
{
    const int ends = ends_of(value.kind());
    V_TypedValT places = value.get();
    const UIntT doc = owner.type == object_type::document ? owner.id : owner.document;
    bool exist = true;
    for (int end = 0; end < ends; end++)
        exist = exist && texts::byte_of(objects, doc, place(places, end));

    // Either both ends have marks from before or none has, so that nothing has been taken when
    // memory runs out.
    std::set<TextMark>::node_type nodes[2];
    if (ends_of(property.second.kind()) == ends)
        for (int end = 0; end < ends; end++)
            nodes[end] = take(objects, property, end);
    for (int end = 0; exist && end < ends; end++)
        if (!nodes[end]) {
            std::set<TextMark> fresh{{&property, end, owner.id}};
            nodes[end] = fresh.extract(fresh.begin());
        }
    property.second = std::move(value);
    for (int end = 0; exist && end < ends; end++)
        objects.at(place(places, end).objId).marks.insert(std::move(nodes[end]));
}

void assign(Objects &objects, Object &owner, Properties &to, const Properties &added)
{
    for (const auto &[key, value] : added)
        assign(objects, owner, *to.try_emplace(key).first, value);
}

void unlink(Objects &objects, Property &property) noexcept
{
    for (int end = 0; end < ends_of(property.second.kind()); end++)
        take(objects, property, end);
}

void set_owner(Objects &objects, Object &owner) noexcept
{
    for (Property &property : owner.properties)
        for (int end = 0; end < ends_of(property.second.kind()); end++)
            if (auto mark = take(objects, property, end)) {
                mark.value().owner = owner.id;
                objects.at(place(mark.value()).objId).marks.insert(std::move(mark));
            }
}

void turn_ranges(Objects &objects, Object &moved) noexcept
{
    // An end that has become the other one stands before `each` still.
    for (auto each = moved.marks.begin(); each != moved.marks.end();) {
        const auto [property, end, owner] = *each++;
        V_TypedValT value = property->second.get();
        if (value.valType != kind::text_range)
            continue;
        auto &[beg, last] = value.u.textRangeVal;
        if (beg.objId == last.objId || !texts::is_before(objects, last.objId, beg.objId))
            continue;
        auto here = take(objects, *property, end), there = take(objects, *property, 1 - end);
        Object &other = objects.at(place(value, 1 - end).objId);
        here.value().end = 1 - end;
        there.value().end = end;
        moved.marks.insert(std::move(here));
        other.marks.insert(std::move(there));
        std::swap(beg, last);
        property->second = Value(value);
    }
}

V_TextLocT place(const TextMark &mark)
{
    V_TypedValT value = mark.property->second.get();
    return place(value, mark.end);
}

void move(Objects &objects, Object &from, std::set<TextMark>::iterator mark,
          const V_TextLocT &to) noexcept
{
    V_TypedValT value = mark->property->second.get();
    place(value, mark->end) = to;
    mark->property->second = Value(value);
    if (to.objId != from.id)
        objects.at(to.objId).marks.insert(from.marks.extract(mark));
}

} // namespace velt::host::marks
