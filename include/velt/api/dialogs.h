/* The host's user interface on the client's behalf. Failures as in clients.h. */
#ifndef VELT_API_DIALOGS_H
#define VELT_API_DIALOGS_H

#include "velt/decl.h"
#include "velt/scalars.h"

VELT_BEGIN_DECLS

/* Shows an alert of the host's type; returns its answer, -1 when none came. */
IntT V_ApiAlert(const char *message, IntT type);

VELT_END_DECLS

#endif
