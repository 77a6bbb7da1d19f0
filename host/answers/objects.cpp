#include "host/answers/answers.h"

namespace velt::host
{

void Answer<api_vq_get_named_object_1>::answer(Context &c, const ApiVqGetNamedObjArgT &a,
                                               ApiVqObjRetT &r)
{
    give_object(r, [&] {
        c.model.check_document(a.docId);
        const Object *found = c.model.find(a.docId, a.int2, text(a.str3));
        check(found != nullptr, no_such_object);
        return found->id;
    });
}

namespace
{

// Documents are made by the calls that open and create them, which tell other clients of them.
IntT creatable(IntT type)
{
    check(type != object_type::document, not_permitted);
    return type;
}

} // namespace

// An object's unique number is its id.
void Answer<api_vq_get_unique_object_1>::answer(Context &c, const ApiVqGetUniqueObjArgT &a,
                                                ApiVqObjRetT &r)
{
    give_object(r, [&] {
        const Object &found = c.model.object(a.docId, static_cast<UIntT>(a.int3));
        check(found.type == a.int2, no_such_object);
        return found.id;
    });
}

void Answer<api_vq_new_named_object_1>::answer(Context &c, const ApiVqNewNamedObjArgT &a,
                                               ApiVqObjRetT &r)
{
    give_object(r, [&] { return c.model.create(a.docId, creatable(a.int2), text(a.str3)); });
}

void Answer<api_vq_new_series_object_1>::answer(Context &c, const ApiVqNewSeriesObjArgT &a,
                                                ApiVqObjRetT &r)
{
    give_object(r, [&] { return c.model.create_after(a.docId, creatable(a.int2), a.id3); });
}

void Answer<api_vq_new_graphic_object_1>::answer(Context &c, const ApiVqNewGraphicObjArgT &a,
                                                 ApiVqObjRetT &r)
{
    give_object(r, [&] { return c.model.create_in(a.docId, creatable(a.int2), a.id3); });
}

void Answer<api_vq_new_anchored_object_1>::answer(Context &c, const ApiVqNewAnchoredObjArgT &a,
                                                  ApiVqObjRetT &r)
{
    give_object(r, [&] { return c.model.create_anchored(a.docId, creatable(a.int2), a.textLoc); });
}

// The name of the format becomes the object's property of the name "Format".
void Answer<api_vq_new_anchored_formatted_object_1>::answer(
    Context &c, const ApiVqNewAnchoredFormattedObjArgT &a, ApiVqObjRetT &r)
{
    give_object(r, [&] {
        return c.model.create_anchored(a.docId, creatable(a.int2), a.textLoc, text(a.str3));
    });
}

void Answer<api_vq_new_sub_object_1>::answer(Context &c, const ApiVqNewSubObjectArgT &a,
                                             ApiVqObjRetT &r)
{
    give_object(r, [&] { return c.model.create_in(a.docId, creatable(a.int3), a.objId); });
}

void Answer<api_vq_object_valid_1>::answer(Context &c, const ApiVqGeneralObjArgT &a, IntT &r)
{
    r = status_of([&] { c.model.object(a.docId, a.objId); });
}

void Answer<api_vq_delete_1>::answer(Context &c, const ApiVqGeneralObjArgT &a, IntT &r)
{
    r = status_of([&] { c.model.remove(a.docId, a.objId); });
}

} // namespace velt::host
