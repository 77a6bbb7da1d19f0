/* The program that a client serves: structures, their XDR routines, dispatch and handlers. */
#ifndef VELT_WIRE_VQ_TO_API_H
#define VELT_WIRE_VQ_TO_API_H

#include "velt/wire/values.h"

#include "velt/tables/structures.h"

#include "velt/tables/callbacks.def"

VELT_BEGIN_DECLS

/* For each structure of the program: its XDR routine, as in values.h. */
#define V_RECORD(name, fields) bool_t xdr_##name(XDR *xdrs, name *value);
#include "velt/tables/callbacks.def"

/* Decodes and dispatches one call of the host. */
void vq_api_prog_1(struct svc_req *request, SVCXPRT *transport);

/* A handler returns null when the dispatcher is to send no reply. */
#define V_CALLBACK(number, handler, argument) void *handler(argument *arg, struct svc_req *request);
#include "velt/tables/callbacks.def"

VELT_END_DECLS

#endif
