// What a decoder may know of the stream that it reads.
#pragma once

#include <cstdint>
#include <rpc/rpc.h>

namespace velt
{

// A stream that holds the whole of a record carries this mark: nothing follows what is in it.
inline char whole_record;

inline void mark_whole_record(XDR *xdrs)
{
    xdrs->x_public = &whole_record;
}

// Whether so many bytes can follow; of other streams nobody knows.
inline bool may_hold(XDR *xdrs, std::uint64_t bytes)
{
    if (xdrs->x_public != &whole_record)
        return true;
    const u_int here = XDR_GETPOS(xdrs);
    return bytes <= UINT32_MAX && XDR_INLINE(xdrs, static_cast<u_int>(bytes)) &&
           XDR_SETPOS(xdrs, here);
}

} // namespace velt
