/* XDR routines of the value types: each encodes, decodes or frees one value, and returns 1, or 0 as
 * soon as a field fails. A null string, list or optional structure is decoded into new memory; any
 * other into the memory that is there, which must have room for it. */
#ifndef VELT_WIRE_VALUES_H
#define VELT_WIRE_VALUES_H

#include <rpc/rpc.h>

#include "velt/api/values.h"

VELT_BEGIN_DECLS

/* A null string is encoded as the empty one; no bound on the length. */
bool_t xdr_StringT(XDR *xdrs, StringT *value);

/* For each value type, say V_TabT: bool_t xdr_V_TabT(XDR *xdrs, V_TabT *value); */
#define V_RECORD(name, fields) bool_t xdr_##name(XDR *xdrs, name *value);
#define V_LIST(name, element, plural) bool_t xdr_##name(XDR *xdrs, name *value);
#include "velt/tables/values.def"

VELT_END_DECLS

#endif
