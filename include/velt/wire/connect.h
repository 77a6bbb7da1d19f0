/* The records by which a process asks a running session of the host to be taken in as a client
 * (UDP, version 1 of the session's program). */
#ifndef VELT_WIRE_CONNECT_H
#define VELT_WIRE_CONNECT_H

#include "velt/wire/values.h"

#include "velt/tables/structures.h"

#include "velt/tables/connect.def"

/* The request. On the wire the fields go in the reverse of this order. */
typedef struct VqRpcApiConnectArgT {
    IntT pid;
    StringT address; /* of the caller's machine, dotted decimal */
    StringT name;    /* the caller's name */
} VqRpcApiConnectArgT;

/* Procedure numbers of the session's program: the null procedure tells that it lives. */
enum { VQ_RPC_SESSION_VERSION = 1, VQ_RPC_SESSION_CONNECT = 108 };

VELT_BEGIN_DECLS

bool_t xdr_VqRpcApiConnectArgT(XDR *xdrs, VqRpcApiConnectArgT *value);
bool_t xdr_VqRpcApiConnectReturnT(XDR *xdrs, VqRpcApiConnectReturnT *value);

VELT_END_DECLS

#endif
