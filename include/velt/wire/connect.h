/* The messages with which a process asks to join a running session of the host as a client (UDP,
 * version 1 of the session's program). */
#ifndef VELT_WIRE_CONNECT_H
#define VELT_WIRE_CONNECT_H

#include "velt/wire/values.h"

#include "velt/tables/structures.h"

#include "velt/tables/connect.def"

/* The request. On the wire the fields go in the reverse of this order. */
typedef struct VqRpcApiConnectArgT {
    IntT pid;
    StringT address; /* the caller's machine, dotted decimal */
    StringT name;    /* the caller's name */
} VqRpcApiConnectArgT;

/* Procedure numbers of the session's program. The null procedure shows that it is running. */
enum { VQ_RPC_SESSION_VERSION = 1, VQ_RPC_SESSION_CONNECT = 108 };

VELT_BEGIN_DECLS

bool_t xdr_VqRpcApiConnectArgT(XDR *xdrs, VqRpcApiConnectArgT *value);
bool_t xdr_VqRpcApiConnectReturnT(XDR *xdrs, VqRpcApiConnectReturnT *value);

VELT_END_DECLS

#endif
