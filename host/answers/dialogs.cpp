#include "host/answers/answers.h"

namespace velt::host
{

// The host has no dialog to show, but the modal wait that the client begins must end all the same.
void Answer<api_vq_modal_dialog_1>::answer(Context &c, const ApiVqDoDialogArgT &a, IntT &r)
{
    r = not_supported;
    if (a.int1 != 0)
        c.host.after_reply(c.client, [&host = c.host, &client = c.client] {
            host.dialog_event(client, 0, 0, not_supported);
        });
}

} // namespace velt::host
