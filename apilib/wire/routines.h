// The XDR routine of each type, as the RPC library calls it. The encoding itself is in coding.h,
// which is compiled once.
#pragma once

#include "velt/wire.h"

namespace velt
{

template <class T>
using Routine = bool_t (*)(XDR *, T *);

template <class T>
constexpr Routine<T> typed_routine = nullptr;
template <>
inline constexpr Routine<void> typed_routine<void> = [](XDR *, void *) -> bool_t { return TRUE; };
template <>
inline constexpr Routine<IntT> typed_routine<IntT> =
    [](XDR *xdrs, IntT *value) -> bool_t { return xdr_int(xdrs, value); };
template <>
inline constexpr Routine<UIntT> typed_routine<UIntT> =
    [](XDR *xdrs, UIntT *value) -> bool_t { return xdr_u_int(xdrs, value); };
template <>
inline constexpr Routine<UCharT> typed_routine<UCharT> =
    [](XDR *xdrs, UCharT *value) -> bool_t { return xdr_u_char(xdrs, value); };
template <>
inline constexpr Routine<StringT> typed_routine<StringT> = xdr_StringT;
#define V_RECORD(name, fields)                                                                     \
    template <>                                                                                    \
    inline constexpr Routine<name> typed_routine<name> = xdr_##name;
#define V_LIST(name, element, plural) V_RECORD(name, )
#include "velt/tables/all_records.def"
template <>
inline constexpr Routine<VqRpcApiConnectArgT> typed_routine<VqRpcApiConnectArgT> =
    xdr_VqRpcApiConnectArgT;

template <class T>
xdrproc_t routine()
{
    static_assert(typed_routine<T> != nullptr, "a type without an XDR routine");
    return reinterpret_cast<xdrproc_t>(typed_routine<T>);
}

// Frees what a decoder allocated inside a value.
template <class T>
bool free_decoded(T &value)
{
    static_assert(typed_routine<T> != nullptr, "a type without an XDR routine");
    XDR xdrs{};
    xdrs.x_op = XDR_FREE;
    return typed_routine<T>(&xdrs, &value) != 0;
}

} // namespace velt
