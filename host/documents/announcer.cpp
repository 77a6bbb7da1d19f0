#include "host/documents/announcer.h"

namespace velt::host
{

void Announcer::announce(IntT notification, UIntT object, const std::string &text, IntT number,
                         const Client *cause) const
{
    if (!host_)
        return;
    // The list does not shrink meanwhile, but a client may end, or cancel its subscription.
    for (Client &each : host_->clients()) {
        const auto wants = [=, this, &each] {
            return each.running() && !each.leaving && model_.subscribed(each.number, notification);
        };
        if (&each == cause || !wants())
            continue;
        const auto notify = [=, this, &each] {
            if (wants())
                host_->notify(each, notification, object, text, number);
        };
        if (each.turns.client_holds_control())
            host_->when_free(each, notify);
        else
            notify();
    }
}

void Announcer::announce_changes(const Client *cause) const
{
    while (const auto change = model_.take_change())
        announce(change->notification, change->object, {}, static_cast<IntT>(change->paragraph),
                 cause);
}

} // namespace velt::host
