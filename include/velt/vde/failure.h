/* How a broken precondition ends the process: by SIGABRT, and without a message. A debugger tells
 * who called with what; V_SetAssert installs a routine of the client's that may say something. */
#ifndef VELT_VDE_FAILURE_H
#define VELT_VDE_FAILURE_H

#include "velt/decl.h"
#include "velt/scalars.h"

/* A client's routine that runs before the process ends. */
typedef void (*VdeRoutineT)(void);

VELT_BEGIN_DECLS

/* Runs the installed handler, then ends the process through V_Abort. */
__attribute__((noreturn)) void VdeFail(void);
/* Ends the process as VdeFail does, unless enforcement is lenient; then returns 1. */
IntT VdeEnforcement(void);
/* Installs the routine that VdeFail runs first; null installs a default that only ends the process.
 * Returns the previous one, which is the default when none was set. Makes enforcement strict. */
VdeRoutineT V_SetAssert(VdeRoutineT handler);
/* Makes enforcement strict (nonzero) or lenient (0). Returns 1. */
IntT VdeSetStrictEnforcement(IntT flag);
/* Ends the process abnormally. */
__attribute__((noreturn)) void V_Abort(void);

VELT_END_DECLS

#endif
