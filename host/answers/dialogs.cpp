#include "host/answers/answers.h"

namespace velt::host
{
namespace
{

IntT status_of_dialog(Context &c, UIntT id)
{
    return status_of([&] { check(c.model.object(0, id).type == object_type::dialog, wrong_kind); });
}

} // namespace

// The host has no resources, and makes whatever dialog a client opens.
void Answer<api_vq_open_resource_1>::answer(Context &c, const ApiVqOpenResourceArgT &a,
                                            ApiVqObjRetT &r)
{
    give_object(r, [&] { return c.model.dialog(c.client.number, text(a.str2)); });
}

void Answer<api_vq_dialog_item_id_1>::answer(Context &c, const ApiVqDialogItemIdArgT &a,
                                             ApiVqObjRetT &r)
{
    give_object(r, [&] { return c.model.dialog_item(a.id1, a.int2); });
}

// One that is opened while the host holds control has no turn in which its client could wait.
void Answer<api_vq_modal_dialog_1>::answer(Context &c, const ApiVqDoDialogArgT &a, IntT &r)
{
    r = status_of_dialog(c, a.id2);
    if (r == ok && a.int1 != 0 && !c.client.turns.client_holds_control())
        r = not_permitted;
    c.host.end_refused_dialog(c.client, a, r);
}

// The dialog stays open, and may have events, until its client ends.
void Answer<api_vq_modeless_dialog_1>::answer(Context &c, const ApiVqDoDialogArgT &a, IntT &r)
{
    r = status_of_dialog(c, a.id2);
    if (r == ok)
        c.client.modeless[a.int1] = a.id2;
}

} // namespace velt::host
