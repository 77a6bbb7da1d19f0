#include "host/documents/announcer.h"

namespace velt::host
{

void Announcer::announce(IntT notification, UIntT object, const std::string &text, IntT number,
                         const Client *cause) const
{
    if (!host_)
        return;
    // The list does not shrink meanwhile, but a client may end.
    for (Client &each : host_->clients())
        if (&each != cause && each.running() && !each.turns.client_holds_control() &&
            model_.subscribed(each.number, notification))
            host_->notify(each, notification, object, text, number);
}

} // namespace velt::host
