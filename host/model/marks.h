// The places in text that properties hold, and which every edit keeps right: the selection, the
// anchors of objects, and whatever clients write. Each paragraph knows those that are in it.
//
// A property is kept right when it belongs to the document or an object in it, and all its places
// exist when it is written. Any other holds its value as it is.
#pragma once

#include "host/model/objects.h"

namespace velt::host::marks
{

// Writes the property of the owner, or leaves it as it is when memory runs out.
void assign(Objects &objects, Object &owner, Property &property, Value value);
// Adds the properties, which are to be the owner's, to those that it has none of.
void assign(Objects &objects, Object &owner, Properties &to, const Properties &added);
// Forgets the places of a property that is about to go.
void unlink(Objects &objects, Property &property) noexcept;

// Has the marks of the owner's properties, which were another's, lead to it.
void set_owner(Objects &objects, Object &owner) noexcept;

// Turns the ranges round that end before they begin since the paragraph was moved.
void turn_ranges(Objects &objects, Object &moved) noexcept;

V_TextLocT place(const TextMark &mark);
void move(Objects &objects, Object &from, std::set<TextMark>::iterator mark,
          const V_TextLocT &to) noexcept;

// Moves all marks of the paragraph; the function takes the offset and returns the new place.
template <class Where>
void move_all(Objects &objects, Object &from, Where where) noexcept
{
    for (auto each = from.marks.begin(); each != from.marks.end();) {
        const auto mark = each++;
        move(objects, from, mark, where(place(*mark).offset));
    }
}

} // namespace velt::host::marks
