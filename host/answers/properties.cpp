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
        check(value.kind() == kind, wrong_kind);
        if constexpr (std::is_pointer_v<Member> && !std::is_pointer_v<Field>) {
            if (value.get().u.*member)
                field = *(value.get().u.*member);
        } else {
            field = static_cast<Field>(owned_copy(value.get().u.*member));
        }
    });
}

// Every call that writes properties of objects does so here.
void write(Context &c, UIntT doc, UIntT obj, const V_PropValsT &list)
{
    c.model.set(doc, obj, list);
    for (UIntT i = 0; doc == 0 && obj == 0 && i < list.len; i++)
        if (const auto &[ident, value] = list.val[i];
            ident.num == V_prop_progress && value.valType == kind::integer)
            c.host.progress(c.client, value.u.intVal);
}

void write(Context &c, UIntT doc, UIntT obj, V_PropValT property)
{
    write(c, doc, obj, {1, &property});
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
        write(c, a.docId, a.objId, {a.propIdent, value});
    });
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
    r = status_of([&] { write(c, a.docId, a.objId, {a.propIdent, a.newVal}); });
}

void Answer<api_vq_get_prop_1>::answer(Context &c, const ApiVqGetPropArgT &a, ApiVqGetPropRetT &r)
{
    r.status = status_of([&] { r.propVal = property_value(PropertyKey(a.propIdent), read(c, a)); });
}

void Answer<api_vq_set_prop_1>::answer(Context &c, const ApiVqSetPropArgT &a, IntT &r)
{
    r = status_of([&] { write(c, a.docId, a.objId, a.propVal); });
}

void Answer<api_vq_get_props_1>::answer(Context &c, const ApiVqGeneralObjArgT &a,
                                        ApiVqGetPropsRetT &r)
{
    r.status = status_of([&] { give_properties(r.params, c.model.properties(a.docId, a.objId)); });
}

void Answer<api_vq_set_props_1>::answer(Context &c, const ApiVqSetPropsArgT &a, IntT &r)
{
    r = status_of([&] { write(c, a.docId, a.objId, a.params); });
}

void Answer<api_vq_delete_prop_1>::answer(Context &c, const ApiVqGetPropArgT &a, IntT &r)
{
    r = status_of([&] { c.model.remove_property(a.docId, a.objId, PropertyKey(a.propIdent)); });
}

} // namespace velt::host
