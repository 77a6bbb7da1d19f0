/* The client's own dialogs, which are resources of the host. Failures as in session.h. */
#ifndef VELT_API_DIALOGS_H
#define VELT_API_DIALOGS_H

#include "velt/api/values.h"

VELT_BEGIN_DECLS

/* Opens a resource, such as a dialog, by its name; returns its id. The reference host ignores int1,
 * and makes a dialog for every name but the empty one. */
V_ObjHandleT V_ApiOpenResource(IntT int1, const char *name);
/* The id of an item of a dialog. */
V_ObjHandleT V_ApiDialogItemId(V_ObjHandleT dialog, IntT item);
/* Shows a modal dialog. For number 0, returns the host's answer; otherwise serves the host's
 * callbacks until the dialog has ended, and returns its result. 0 when no answer came. The answer
 * does not set VA_errno: a negative result may be a status by which the host refuses, such as for a
 * dialog that does not exist, so a dialog should have none of its own. */
IntT V_ApiModalDialog(IntT number, V_ObjHandleT dialog);
/* Shows a modeless dialog; returns the host's answer. That is a status, and sets no VA_errno. */
IntT V_ApiModelessDialog(IntT number, V_ObjHandleT dialog);

VELT_END_DECLS

#endif
