// The tables as visitors: `fields(value, visit)` calls visit(name, field) for each field in wire
// order and stops at the first for which the visitor returns false. Whatever walks a value
// (encoding, copying, releasing, printing) is one such visitor.
#pragma once

#include <type_traits>

#include "velt/api/facts.h"
#include "velt/wire.h"

namespace velt
{

template <class T>
struct IsStruct : std::false_type {
};
template <class T>
struct IsList : std::false_type {
};

#define V_RECORD(name, fields)                                                                     \
    template <>                                                                                    \
    struct IsStruct<name> : std::true_type {                                                       \
    };
#define V_LIST(name, element, plural)                                                              \
    template <>                                                                                    \
    struct IsList<name> : std::true_type {                                                         \
    };
#include "velt/tables/all_records.def"
template <>
struct IsStruct<VqRpcApiConnectArgT> : std::true_type {
};

template <class T>
concept Struct = IsStruct<T>::value;
template <class T>
concept List = IsList<T>::value;

template <List T>
using Element = std::remove_pointer_t<decltype(T::val)>;

// A visitor that copies or releases memory also visits the fields that are not sent on the wire.
template <class F, class = void>
struct SeesAllFields : std::false_type {
};
template <class F>
struct SeesAllFields<F, std::void_t<decltype(std::remove_cvref_t<F>::sees_all_fields)>>
    : std::true_type {
};

#define V_RECORD(name, list)                                                                       \
    template <class F>                                                                             \
    constexpr bool fields(name &r, F &&visit)                                                      \
    {                                                                                              \
        return true list;                                                                          \
    }
#define V_FIELD(type, name) &&visit(#name, r.name)
#define V_FIELD_IF_ZERO(key, type, name)                                                           \
    &&((r.key != 0 && !SeesAllFields<F>::value) || visit(#name, r.name))
#define V_OPTIONAL(type, name) &&visit(#name, r.name)
#define V_SWITCH(type, name, tag) &&fields(r.tag, r.name, visit)
#define V_UNION(name, cases)                                                                       \
    template <class F>                                                                             \
    constexpr bool fields(IntT tag, name &u, F &&visit)                                            \
    {                                                                                              \
        switch (tag) {                                                                             \
            cases                                                                                  \
        }                                                                                          \
    }
#define V_CASE(tag, type, member)                                                                  \
    case tag:                                                                                      \
        return visit(#member, u.member);
#define V_CASE_OPTIONAL V_CASE
#define V_SAME_CASE(tag, type, member)                                                             \
    case tag:                                                                                      \
        static_assert(std::is_same_v<decltype(u.member), type>);                                   \
        return visit(#member, u.member);
#define V_OTHER_CASES(type, member)                                                                \
    default:                                                                                       \
        return visit(#member, u.member);
#include "velt/tables/all_records.def"

template <class F>
constexpr bool fields(VqRpcApiConnectArgT &r, F &&visit)
{
    return visit("name", r.name) && visit("address", r.address) && visit("pid", r.pid);
}

} // namespace velt
