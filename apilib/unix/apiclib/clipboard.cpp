// The clipboard: editing a document's selection, and the stack of clipboards.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

// clang-format off

IntT V_ApiCut(V_ObjHandleT doc, IntT int2)
{ return status(api_vq_cut_1, {doc, int2}); }

IntT V_ApiClear(V_ObjHandleT doc, IntT int2)
{ return status(api_vq_clear_1, {doc, int2}); }

IntT V_ApiCopy(V_ObjHandleT doc, IntT int2)
{ return status(api_vq_copy_1, {doc, int2}); }

IntT V_ApiPaste(V_ObjHandleT doc, IntT int2)
{ return status(api_vq_paste_1, {doc, int2}); }

void V_ApiPushClipboard(void)
{ answered(api_vq_push_clipboard_1, 0); }

IntT V_ApiPopClipboard(void)
{ return status(api_vq_pop_clipboard_1, 0); }
