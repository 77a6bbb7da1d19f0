/* The clipboard: editing the selection of a document, and the stack of clipboards. Failures as in
 * session.h. */
#ifndef VELT_API_CLIPBOARD_H
#define VELT_API_CLIPBOARD_H

#include "velt/api/values.h"

VELT_BEGIN_DECLS

/* Cuts the selection. */
IntT V_ApiCut(V_ObjHandleT doc, IntT int2);
/* Deletes the selection. */
IntT V_ApiClear(V_ObjHandleT doc, IntT int2);
/* Copies the selection. */
IntT V_ApiCopy(V_ObjHandleT doc, IntT int2);
/* Pastes. */
IntT V_ApiPaste(V_ObjHandleT doc, IntT int2);
/* Pushes the clipboard on its stack. */
void V_ApiPushClipboard(void);
/* Pops the clipboard from its stack. */
IntT V_ApiPopClipboard(void);

VELT_END_DECLS

#endif
