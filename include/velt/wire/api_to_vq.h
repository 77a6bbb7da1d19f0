/* The host's program: structures, their XDR routines, and the stubs that call its procedures. */
#ifndef VELT_WIRE_API_TO_VQ_H
#define VELT_WIRE_API_TO_VQ_H

#include "velt/api/session.h"
#include "velt/wire/values.h"

#include "velt/tables/structures.h"

#include "velt/tables/records.def"

VELT_BEGIN_DECLS

/* For each structure of the program: its XDR routine, as in values.h. */
#define V_RECORD(name, fields) bool_t xdr_##name(XDR *xdrs, name *value);
#include "velt/tables/records.def"

/* Each stub makes one call and returns its own static result, overwritten by its next call, or null
 * when the call did not complete. Release what the result holds with api_xdrfree. */
#define V_PROCEDURE(number, stub, argument, result)                                                \
    result *stub(const argument *arg, CLIENT *client);
#include "velt/tables/procedures.def"

/* Frees, with the XDR routine of a result, the memory that the decoder allocated inside it; the
 * result itself stays the stub's. */
void api_xdrfree(xdrproc_t routine, void *result);

/* The control calls: the acknowledgement of start-up (the client's process id), the hand-over of
 * control (the value of VA_bailout), the taking of control. Non-zero when the host answered. */
IntT Vapivq_InitAck(const IntT *pid);
IntT Vapivq_TurnOverControl(const IntT *bailout);
IntT Vapivq_TakeControl(void);

VELT_END_DECLS

#endif
