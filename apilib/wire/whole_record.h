// What a decoder may know of the stream that it reads.
#pragma once

#include <cstdint>
#include <rpc/rpc.h>

namespace velt
{

// A stream of memory that holds the whole of a record has these operations, the same as others of
// memory: nothing follows what is in it.
inline XDR::xdr_ops whole_record_operations;

inline void mark_whole_record(XDR *xdrs)
{
    whole_record_operations = *xdrs->x_ops;
    xdrs->x_ops = &whole_record_operations;
}

// Whether so many bytes can follow; of other streams nobody knows.
inline bool may_hold(XDR *xdrs, std::uint64_t bytes)
{
    if (xdrs->x_ops != &whole_record_operations)
        return true;
    const u_int here = XDR_GETPOS(xdrs);
    return bytes <= UINT32_MAX && XDR_INLINE(xdrs, static_cast<u_int>(bytes)) &&
           XDR_SETPOS(xdrs, here);
}

} // namespace velt
