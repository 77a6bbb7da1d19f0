// What the readers and the writers of book and document files share.
#pragma once

#include "host/model/model.h"

namespace velt::host
{

inline constexpr IntT document_format = 1;

// Returns whether the property of objects of the type follows from where the object stands, or is
// the host's own, so that it is none of the "properties" in a file. Text, the type 0, has none
// such.
constexpr bool told_otherwise(IntT type, IntT number)
{
#define V_PROPERTY(property, kind, object, name, rule, meaning)                                    \
    if (type == object_type::object && number == (property))                                       \
        return true;
#define V_ANY_PROPERTY(property, kind, name, meaning)                                              \
    if (type != 0 && number == (property))                                                         \
        return true;
#include "velt/tables/properties.def"
    return false;
}

// Visits the ids that the value holds, which can be replaced if its lists are the caller's too.
template <class Visit>
void each_id(V_TypedValT &value, Visit visit)
{
    switch (value.valType) {
    case kind::id: {
        auto id = static_cast<UIntT>(value.u.intVal);
        visit(id);
        value.u.intVal = static_cast<IntT>(id);
        break;
    }
    case kind::text_location:
        visit(value.u.textLocVal.objId);
        break;
    case kind::text_range:
        visit(value.u.textRangeVal.beg.objId);
        visit(value.u.textRangeVal.end.objId);
        break;
    case kind::element_catalog:
        for (UIntT i = 0; i < value.u.catalogVal.len; i++)
            visit(value.u.catalogVal.val[i].defId);
        break;
    case kind::element_range:
        if (V_ElementRangeT *range = value.u.elemRangeVal)
            for (V_ElementLocT *place : {&range->beg, &range->end}) {
                visit(place->parentId);
                visit(place->childId);
            }
        break;
    }
}

} // namespace velt::host
