// The answers, family by family.

#include "host/answers.h"

#include <algorithm>

#include "host/owned.h"

namespace velt::host
{
namespace
{

using namespace procedure;

// 0, or why the model refuses.
template <class Action>
IntT status_of(Action action)
{
    try {
        action();
        return ok;
    } catch (const Refusal &refusal) {
        return refusal.status();
    }
}

std::string text(const char *string)
{
    return string ? string : "";
}

Value read(Context &c, const ApiVqGetPropArgT &a)
{
    return c.model.get(a.docId, a.objId, PropertyKey(a.propIdent));
}

template <class Member, class Field>
IntT get(Context &c, const ApiVqGetPropArgT &a, IntT kind, Member V_ValUnionT::*member,
         Field &field)
{
    return status_of([&] {
        const Value value = read(c, a);
        if (value.kind() != kind)
            throw Refusal(wrong_kind);
        if constexpr (std::is_pointer_v<Member> && !std::is_pointer_v<Field>) {
            if (value.get().u.*member)
                field = *(value.get().u.*member);
        } else {
            field = static_cast<Field>(owned_copy(value.get().u.*member));
        }
    });
}

template <class Argument, class Member>
IntT set(Context &c, const Argument &a, IntT kind, Member V_ValUnionT::*member)
{
    return status_of([&] {
        // Borrows from the argument; the model copies.
        V_TypedValT value{};
        value.valType = kind;
        auto newVal = a.newVal;
        if constexpr (std::is_pointer_v<Member> && !std::is_pointer_v<decltype(newVal)>)
            value.u.*member = &newVal;
        else
            value.u.*member = static_cast<Member>(newVal);
        c.model.set(a.docId, a.objId, PropertyKey(a.propIdent), value);
    });
}

void set(Context &c, UIntT doc, UIntT obj, const V_PropValT &property)
{
    c.model.set(doc, obj, PropertyKey(property.propIdent), property.propVal);
}

// The property value as the wire carries it.
V_PropValT property_value(const PropertyKey &key, const Value &value)
{
    const auto name = key.number == 0 ? const_cast<StringT>(key.name.c_str()) : nullptr;
    return owned_copy(V_PropValT{{key.number, name}, value.get()});
}

template <class Make>
void give_object(ApiVqObjRetT &r, Make make)
{
    r.status = status_of([&] { r.objId = make(); });
}

UIntT define(Context &c, IntT number, const char *name, const char *label, const char *shortcut)
{
    return c.model.define_command(c.caller.number, number, text(name), text(label), text(shortcut));
}

// Refuses before anything is defined.
void need_menu(Context &c, UIntT menu)
{
    if (c.model.object(0, menu).type != object_type::menu)
        throw Refusal(wrong_kind);
}

} // namespace

#define V_GETTER(stub, kind_name, member, field)                                                   \
    void answer(stub, Context &c, const stub::Argument &a, stub::Result &r)                        \
    {                                                                                              \
        r.status = get(c, a, kind::kind_name, &V_ValUnionT::member, r.field);                      \
    }
#define V_SETTER(stub, kind_name, member)                                                          \
    void answer(stub, Context &c, const stub::Argument &a, stub::Result &r)                        \
    {                                                                                              \
        r = set(c, a, kind::kind_name, &V_ValUnionT::member);                                      \
    }
#include "host/answers.def"

void answer(api_vq_get_val_1, Context &c, const ApiVqGetPropArgT &a, ApiVqGetValRetT &r)
{
    r.status = status_of([&] { r.typedVal = owned_copy(read(c, a).get()); });
}

void answer(api_vq_set_val_1, Context &c, const ApiVqSetValArgT &a, IntT &r)
{
    r = status_of([&] { set(c, a.docId, a.objId, {a.propIdent, a.newVal}); });
}

void answer(api_vq_get_prop_1, Context &c, const ApiVqGetPropArgT &a, ApiVqGetPropRetT &r)
{
    r.status = status_of([&] { r.propVal = property_value(PropertyKey(a.propIdent), read(c, a)); });
}

void answer(api_vq_set_prop_1, Context &c, const ApiVqSetPropArgT &a, IntT &r)
{
    r = status_of([&] { set(c, a.docId, a.objId, a.propVal); });
}

void answer(api_vq_get_props_1, Context &c, const ApiVqGeneralObjArgT &a, ApiVqGetPropsRetT &r)
{
    r.status = status_of([&] {
        const auto all = c.model.properties(a.docId, a.objId);
        r.params = owned_list<V_PropValsT>(all.size());
        for (UIntT i = 0; i < r.params.len; i++)
            r.params.val[i] = property_value(all[i].first, all[i].second);
    });
}

// In their order up to the first that is refused.
void answer(api_vq_set_props_1, Context &c, const ApiVqSetPropsArgT &a, IntT &r)
{
    r = status_of([&] {
        c.model.object(a.docId, a.objId);
        for (UIntT i = 0; i < a.params.len; i++)
            set(c, a.docId, a.objId, a.params.val[i]);
    });
}

void answer(api_vq_delete_prop_1, Context &c, const ApiVqGetPropArgT &a, IntT &r)
{
    r = status_of([&] { c.model.remove_property(a.docId, a.objId, PropertyKey(a.propIdent)); });
}

void answer(api_vq_get_named_object_1, Context &c, const ApiVqGetNamedObjArgT &a, ApiVqObjRetT &r)
{
    give_object(r, [&] {
        c.model.check_document(a.docId);
        const Object *found = c.model.find(a.docId, a.int2, text(a.str3));
        if (!found)
            throw Refusal(no_such_object);
        return found->id;
    });
}

// An object's unique number is its id.
void answer(api_vq_get_unique_object_1, Context &c, const ApiVqGetUniqueObjArgT &a, ApiVqObjRetT &r)
{
    give_object(r, [&] {
        const Object &found = c.model.object(a.docId, static_cast<UIntT>(a.int3));
        if (found.type != a.int2)
            throw Refusal(no_such_object);
        return found.id;
    });
}

void answer(api_vq_new_named_object_1, Context &c, const ApiVqNewNamedObjArgT &a, ApiVqObjRetT &r)
{
    give_object(r, [&] { return c.model.create(a.docId, a.int2, text(a.str3)); });
}

void answer(api_vq_new_series_object_1, Context &c, const ApiVqNewSeriesObjArgT &a, ApiVqObjRetT &r)
{
    give_object(r, [&] { return c.model.create_after(a.docId, a.int2, a.id3); });
}

void answer(api_vq_new_graphic_object_1, Context &c, const ApiVqNewGraphicObjArgT &a,
            ApiVqObjRetT &r)
{
    give_object(r, [&] { return c.model.create_in(a.docId, a.int2, a.id3); });
}

void answer(api_vq_new_sub_object_1, Context &c, const ApiVqNewSubObjectArgT &a, ApiVqObjRetT &r)
{
    give_object(r, [&] { return c.model.create_in(a.docId, a.int3, a.objId); });
}

void answer(api_vq_object_valid_1, Context &c, const ApiVqGeneralObjArgT &a, IntT &r)
{
    r = status_of([&] { c.model.object(a.docId, a.objId); });
}

void answer(api_vq_delete_1, Context &c, const ApiVqGeneralObjArgT &a, IntT &r)
{
    r = status_of([&] { c.model.remove(a.docId, a.objId); });
}

void answer(api_vq_menu_exists_1, Context &c, const ApiVqExistsArgT &a, IntT &r)
{
    r = c.model.find(0, object_type::menu, text(a.str1)) != nullptr;
}

void answer(api_vq_shortcut_exists_1, Context &c, const ApiVqExistsArgT &a, IntT &r)
{
    const std::string shortcut = text(a.str1);
    r = std::ranges::any_of(c.model.objects(), [&](const auto &each) {
        return !shortcut.empty() && each.second.shortcut == shortcut;
    });
}

// The menu to add to, the new menu's name, its label.
void answer(api_vq_add_menu_1, Context &c, const ApiVqAddMenuArgT &a, IntT &r)
{
    r = status_of([&] {
        const UIntT menu = c.model.menu(text(a.str1));
        c.model.add_to_menu(menu, c.model.define_menu(c.caller.number, text(a.str2), text(a.str3)));
    });
}

// The menu to remove from, the name of the menu in it; the menu itself stays defined.
void answer(api_vq_remove_menu_1, Context &c, const ApiVqRemoveMenuArgT &a, IntT &r)
{
    r = status_of(
        [&] { c.model.remove_from_menu(c.model.menu(text(a.str1)), c.model.menu(text(a.str2))); });
}

// Number, the menu to add to, name, label, shortcut.
void answer(api_vq_add_command_1, Context &c, const ApiVqAddCommandArgT &a, IntT &r)
{
    r = status_of([&] {
        const UIntT menu = c.model.menu(text(a.str2));
        c.model.add_to_menu(menu, define(c, a.int1, a.str3, a.str4, a.str5));
    });
}

void answer(api_vq_define_command_1, Context &c, const ApiVqDefineCommandArgT &a, ApiVqObjRetT &r)
{
    give_object(r, [&] { return define(c, a.int1, a.str2, a.str3, a.str4); });
}

void answer(api_vq_define_menu_1, Context &c, const ApiVqDefineMenuArgT &a, ApiVqObjRetT &r)
{
    give_object(r,
                [&] { return c.model.define_menu(c.caller.number, text(a.str1), text(a.str2)); });
}

void answer(api_vq_add_command_to_menu_1, Context &c, const ApiVqAddCommandToMenuArgT &a, IntT &r)
{
    r = status_of([&] {
        if (c.model.object(0, a.id2).type != object_type::command)
            throw Refusal(wrong_kind);
        c.model.add_to_menu(a.id1, a.id2);
    });
}

void answer(api_vq_add_menu_to_menu_1, Context &c, const ApiVqAddMenuToMenuArgT &a, IntT &r)
{
    r = status_of([&] {
        need_menu(c, a.id2);
        c.model.add_to_menu(a.id1, a.id2);
    });
}

void answer(api_vq_define_and_add_command_1, Context &c, const ApiVqDefineAndAddCommandArgT &a,
            ApiVqObjRetT &r)
{
    give_object(r, [&] {
        need_menu(c, a.id2);
        const UIntT command = define(c, a.int1, a.str3, a.str4, a.str5);
        c.model.add_to_menu(a.id2, command);
        return command;
    });
}

void answer(api_vq_define_and_add_menu_1, Context &c, const ApiVqDefineAndAddMenuArgT &a,
            ApiVqObjRetT &r)
{
    give_object(r, [&] {
        need_menu(c, a.id1);
        const UIntT menu = c.model.define_menu(c.caller.number, text(a.str2), text(a.str3));
        c.model.add_to_menu(a.id1, menu);
        return menu;
    });
}

// With a nonzero integer, menus below the menu are searched too.
void answer(api_vq_menu_item_in_menu_1, Context &c, const ApiVqMenuItemInMenuArgT &a,
            ApiVqObjRetT &r)
{
    give_object(r, [&] {
        if (!c.model.in_menu(a.id1, a.id2, a.int3 != 0))
            throw Refusal(no_such_object);
        return a.id2;
    });
}

// Code; nonzero to be told, 0 no longer.
void answer(api_vq_notification_1, Context &c, const ApiVqNotificationArgT &a, IntT &r)
{
    c.model.subscribe(c.caller.number, a.int1, a.int2 != 0);
    r = ok;
}

void answer(api_vq_alert_1, Context &c, const ApiVqAlertArgT &a, IntT &r)
{
    r = c.desk.alert(c.caller.number, text(a.str1), a.int2);
}

} // namespace velt::host
