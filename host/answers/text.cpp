#include "host/answers/options.h"

namespace velt::host
{
namespace
{

void give_items(TextItemsT &list, const std::vector<TextItem> &items)
{
    list = owned_list<TextItemsT>(items.size());
    for (UIntT i = 0; i < list.len; i++) {
        TextItemT &item = list.val[i];
        item.offset = items[i].offset;
        item.dataType = items[i].type;
        if (item.dataType == text_item::string)
            item.u.text = owned_string(std::string(items[i].text));
        else
            item.u.value = items[i].value;
    }
}

FindOptions find_options(const V_PropValsT &given)
{
    const OptionList options(OptionList::Find, given);
    return {.text = options.text(V_find_text),
            .backwards = options.flag(V_find_backwards),
            .match_case = options.flag(V_find_case),
            .whole_words = options.flag(V_find_whole_words),
            .wrap = options.flag(V_find_wrap)};
}

Value text_property(Context &c, const ApiVqGetTextPropArgT &a)
{
    const Properties all = c.model.text_properties(a.docId, a.textLoc);
    const auto found = all.find(PropertyKey(a.propIdent));
    check(found != all.end(), no_such_property);
    return found->second;
}

// Writes all of the list or, when any is refused, nothing.
IntT set_text_properties(Context &c, UIntT document, const V_TextRangeT &range,
                         const V_PropValsT &list)
{
    return status_of([&] {
        Properties values;
        for (UIntT i = 0; i < list.len; i++)
            values.insert_or_assign(PropertyKey(list.val[i].propIdent), Value(list.val[i].propVal));
        c.model.set_text_properties(document, range, values);
    });
}

} // namespace

void Answer<api_vq_add_text_1>::answer(Context &c, const ApiVqAddTextArgT &a, ApiVqAddTextRetT &r)
{
    r.status = status_of([&] { r.textLoc = c.model.add_text(a.docId, a.textLoc, text(a.str3)); });
}

void Answer<api_vq_delete_text_1>::answer(Context &c, const ApiVqGeneralTextRangeArgT &a, IntT &r)
{
    r = status_of([&] { c.model.remove_text(a.docId, a.textRange); });
}

void Answer<api_vq_replace_text_1>::answer(Context &c, const ApiVqReplaceTextArgT &a,
                                           ApiVqReplaceTextRetT &r)
{
    r.status = status_of([&] { c.model.replace_text(a.docId, a.textRange, text(a.str3)); });
}

// There is no window to scroll: the selection is what the person sees.
void Answer<api_vq_scroll_to_text_1>::answer(Context &c, const ApiVqGeneralTextRangeArgT &a,
                                             IntT &r)
{
    r = status_of([&] { c.model.select_text(a.docId, a.textRange); });
}

void Answer<api_vq_center_on_text_1>::answer(Context &c, const ApiVqGeneralTextRangeArgT &a,
                                             IntT &r)
{
    r = status_of([&] { c.model.select_text(a.docId, a.textRange); });
}

void Answer<api_vq_center_on_graphic_object_1>::answer(Context &c, const ApiVqGeneralObjArgT &a,
                                                       IntT &r)
{
    r = status_of([&] {
        // What is part of an anchored object stands where that does.
        const PropertyKey anchor(property::anchor);
        for (const Object *each = &c.model.object(a.docId, a.objId); each->id != a.docId;
             each = &c.model.at(each->container())) {
            const auto place = each->properties.find(anchor);
            if (place == each->properties.end())
                continue;
            const V_TextLocT &here = place->second.get().u.textLocVal;
            return c.model.select_text(a.docId, {here, here});
        }
    });
}

void Answer<api_vq_get_text_1>::answer(Context &c, const ApiVqGetTextArgT &a, ApiVqGetTextRetT &r)
{
    r.status = status_of([&] { give_items(r.items, c.model.text_items(a.docId, a.objId, a.id3)); });
}

void Answer<api_vq_get_text2_1>::answer(Context &c, const ApiVqGetText2ArgT &a, ApiVqGetTextRetT &r)
{
    r.status = status_of(
        [&] { give_items(r.items, c.model.text_items(a.docId, a.objId, a.id3 | a.id4)); });
}

void Answer<api_vq_get_text_for_range_1>::answer(Context &c, const ApiVqGetTextForRangeArgT &a,
                                                 ApiVqGetTextRetT &r)
{
    r.status =
        status_of([&] { give_items(r.items, c.model.text_items(a.docId, a.textRange, a.id3)); });
}

void Answer<api_vq_get_text_for_range2_1>::answer(Context &c, const ApiVqGetTextForRange2ArgT &a,
                                                  ApiVqGetTextRetT &r)
{
    r.status = status_of(
        [&] { give_items(r.items, c.model.text_items(a.docId, a.textRange, a.id3 | a.id4)); });
}

void Answer<api_vq_find_1>::answer(Context &c, const ApiVqFindArgT &a, ApiVqFindRetT &r)
{
    r.status = status_of(
        [&] { r.textRange = c.model.find_text(a.docId, a.textLoc, find_options(a.params)); });
}

void Answer<api_vq_get_text_val_1>::answer(Context &c, const ApiVqGetTextPropArgT &a,
                                           ApiVqGetValRetT &r)
{
    r.status = status_of([&] { r.typedVal = owned_copy(text_property(c, a).get()); });
}

void Answer<api_vq_get_text_prop_1>::answer(Context &c, const ApiVqGetTextPropArgT &a,
                                            ApiVqGetPropRetT &r)
{
    r.status = status_of(
        [&] { r.propVal = property_value(PropertyKey(a.propIdent), text_property(c, a)); });
}

void Answer<api_vq_get_text_props_1>::answer(Context &c, const ApiVqGetTextPropsArgT &a,
                                             ApiVqGetPropsRetT &r)
{
    r.status =
        status_of([&] { give_properties(r.params, c.model.text_properties(a.docId, a.textLoc)); });
}

void Answer<api_vq_set_text_val_1>::answer(Context &c, const ApiVqSetTextValArgT &a, IntT &r)
{
    V_PropValT property{a.propIdent, a.newVal};
    r = set_text_properties(c, a.docId, a.textRange, {1, &property});
}

// The value itself names the property.
void Answer<api_vq_set_text_prop_1>::answer(Context &c, const ApiVqSetTextPropArgT &a, IntT &r)
{
    V_PropValT property = a.newVal;
    r = set_text_properties(c, a.docId, a.textRange, {1, &property});
}

void Answer<api_vq_set_text_props_1>::answer(Context &c, const ApiVqSetTextPropsArgT &a, IntT &r)
{
    r = set_text_properties(c, a.docId, a.textRange, a.params);
}

} // namespace velt::host
