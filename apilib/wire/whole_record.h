// Lets a decoder know how many bytes can follow in the stream that it reads.
#pragma once

#include <rpc/rpc.h>

#include <cstdint>

namespace velt
{

// The operations of a memory stream that holds a whole record. They equal those of other memory
// streams; their address tells that no more bytes will follow.
inline XDR::xdr_ops whole_record_operations;

inline void mark_whole_record(XDR *xdrs)
{
    whole_record_operations = *xdrs->x_ops;
    xdrs->x_ops = &whole_record_operations;
}

// Returns whether so many bytes can follow in the stream; true for a stream whose end is not known.
inline bool may_hold(XDR *xdrs, std::uint64_t bytes)
{
    if (xdrs->x_ops != &whole_record_operations)
        return true;
    const u_int here = XDR_GETPOS(xdrs);
    return bytes <= UINT32_MAX && XDR_INLINE(xdrs, static_cast<u_int>(bytes)) &&
           XDR_SETPOS(xdrs, here);
}

} // namespace velt
