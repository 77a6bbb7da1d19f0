#include "host/answers/answers.h"

#include "host/values/owned.h"

namespace velt::host
{
namespace
{

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
            throw StatusError(wrong_kind);
        if constexpr (std::is_pointer_v<Member> && !std::is_pointer_v<Field>) {
            if (value.get().u.*member)
                field = *(value.get().u.*member);
        } else {
            field = static_cast<Field>(owned_copy(value.get().u.*member));
        }
    });
}

// Every call that writes properties of objects does so here.
void write(Context &c, UIntT doc, UIntT obj, const PropertyKey &key, const V_TypedValT &value)
{
    c.model.set(doc, obj, key, value);
    const IntT type = c.model.object(doc, obj).type;
    const bool moves =
        type == object_type::component &&
        (key.number == property::next_component || key.number == property::previous_component);
    const bool puts_first = type == object_type::book && key.number == property::first_component;
    if (moves || puts_first)
        c.documents.announcer.announce(V_notification_component_moved,
                                       moves ? obj : static_cast<UIntT>(value.u.intVal), {}, 0,
                                       &c.client);
}

template <class Argument, class Member>
IntT set(Context &c, const Argument &a, IntT kind, Member V_ValUnionT::*member)
{
    return status_of([&] {
        // This value borrows from the argument; the model copies it.
        V_TypedValT value{};
        value.valType = kind;
        auto newVal = a.newVal;
        if constexpr (std::is_pointer_v<Member> && !std::is_pointer_v<decltype(newVal)>)
            value.u.*member = &newVal;
        else
            value.u.*member = static_cast<Member>(newVal);
        write(c, a.docId, a.objId, PropertyKey(a.propIdent), value);
        if constexpr (std::is_same_v<Argument, ApiVqSetIntArgT>)
            if (a.docId == 0 && a.objId == 0 && a.propIdent.num == V_prop_progress)
                c.host.progress(c.client, newVal);
    });
}

void set(Context &c, UIntT doc, UIntT obj, const V_PropValT &property)
{
    write(c, doc, obj, PropertyKey(property.propIdent), property.propVal);
}

} // namespace

V_PropValT property_value(const PropertyKey &key, const Value &value)
{
    const auto name = key.number == 0 ? const_cast<StringT>(key.name.c_str()) : nullptr;
    return owned_copy(V_PropValT{{key.number, name}, value.get()});
}

// The rows of answers.def define every getter and setter of one kind by these macros.
#define V_GETTER(stub, kind_name, member, field)                                                   \
    void Answer<stub>::answer(Context &c, const stub::Argument &a, stub::Result &r)                \
    {                                                                                              \
        r.status = get(c, a, kind::kind_name, &V_ValUnionT::member, r.field);                      \
    }
#define V_SETTER(stub, kind_name, member)                                                          \
    void Answer<stub>::answer(Context &c, const stub::Argument &a, stub::Result &r)                \
    {                                                                                              \
        r = set(c, a, kind::kind_name, &V_ValUnionT::member);                                      \
    }
#include "velt/tables/answers.def"

void Answer<api_vq_get_val_1>::answer(Context &c, const ApiVqGetPropArgT &a, ApiVqGetValRetT &r)
{
    r.status = status_of([&] { r.typedVal = owned_copy(read(c, a).get()); });
}

void Answer<api_vq_set_val_1>::answer(Context &c, const ApiVqSetValArgT &a, IntT &r)
{
    r = status_of([&] { set(c, a.docId, a.objId, {a.propIdent, a.newVal}); });
}

void Answer<api_vq_get_prop_1>::answer(Context &c, const ApiVqGetPropArgT &a, ApiVqGetPropRetT &r)
{
    r.status = status_of([&] { r.propVal = property_value(PropertyKey(a.propIdent), read(c, a)); });
}

void Answer<api_vq_set_prop_1>::answer(Context &c, const ApiVqSetPropArgT &a, IntT &r)
{
    r = status_of([&] { set(c, a.docId, a.objId, a.propVal); });
}

void Answer<api_vq_get_props_1>::answer(Context &c, const ApiVqGeneralObjArgT &a,
                                        ApiVqGetPropsRetT &r)
{
    r.status = status_of([&] { give_properties(r.params, c.model.properties(a.docId, a.objId)); });
}

// The properties are set in their order up to the first that is refused.
void Answer<api_vq_set_props_1>::answer(Context &c, const ApiVqSetPropsArgT &a, IntT &r)
{
    r = status_of([&] {
        c.model.object(a.docId, a.objId);
        for (UIntT i = 0; i < a.params.len; i++)
            set(c, a.docId, a.objId, a.params.val[i]);
    });
}

void Answer<api_vq_delete_prop_1>::answer(Context &c, const ApiVqGetPropArgT &a, IntT &r)
{
    r = status_of([&] { c.model.remove_property(a.docId, a.objId, PropertyKey(a.propIdent)); });
}

} // namespace velt::host
