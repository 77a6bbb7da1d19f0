// The client's own dialogs.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

// clang-format off

V_ObjHandleT V_ApiOpenResource(IntT int1, const char *name)
{ return scalar(api_vq_open_resource_1, {int1, in(name)}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiDialogItemId(V_ObjHandleT dialog, IntT item)
{ return scalar(api_vq_dialog_item_id_1, {dialog, item}, &ApiVqObjRetT::objId); }

IntT V_ApiModelessDialog(IntT number, V_ObjHandleT dialog)
{ return plain(api_vq_modeless_dialog_1, {number, dialog}, 0); }

// clang-format on

IntT V_ApiModalDialog(IntT number, V_ObjHandleT dialog)
{
    IntT result;
    {
        // The answer is released before the callbacks run, since they may call the same stub.
        ApiVqDoDialogArgT arg{number, dialog};
        Answer<IntT> answer(api_vq_modal_dialog_1, arg);
        if (!answer)
            return 0;
        result = *answer;
    }
    return number == 0 ? result : V_ApiServiceModalCallbacks();
}
