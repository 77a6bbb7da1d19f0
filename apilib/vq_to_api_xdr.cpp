// The XDR routines of the structures of the program that a client serves, and of the request to
// join a session.

#include "apilib/wire/coding.h"

#define V_RECORD(name, fields)                                                                     \
    bool_t xdr_##name(XDR *xdrs, name *value)                                                      \
    {                                                                                              \
        return velt::code(xdrs, *value);                                                           \
    }
#define V_KEEP_MACROS
#include "velt/tables/callbacks.def"
#include "velt/tables/connect.def"
#undef V_KEEP_MACROS
#include "velt/tables/undefine.h"

bool_t xdr_VqRpcApiConnectArgT(XDR *xdrs, VqRpcApiConnectArgT *value)
{
    return velt::code(xdrs, *value);
}
