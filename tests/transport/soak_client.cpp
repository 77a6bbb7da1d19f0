// The client of the soak: makes as many calls as a command says, and waits for a dialog in each
// notification.

#include "velt/api.h"
#include "velt/wire.h"

void V_ApiInitialize(IntT) {}

void V_ApiCommand(IntT calls)
{
    for (IntT i = 0; i < calls; i++)
        V_ApiGetInt(0, 0, 577);
}

void V_ApiNotify(IntT, V_ObjHandleT, StringT, IntT)
{
    ApiVqDoDialogArgT argument = {};
    argument.int1 = 1;
    if (api_vq_modal_dialog_1(&argument, velt_client))
        V_ApiServiceModalCallbacks();
}
