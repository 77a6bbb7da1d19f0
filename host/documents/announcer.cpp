#include "host/documents/announcer.h"

#include <new>
#include <utility>
#include <vector>

namespace velt::host
{
namespace
{

// Clients that change text whenever they hear of a change would otherwise go on for ever.
constexpr int deepest_reaction = 3;

// Those that wait for a client that never hands control back would otherwise fill the memory.
constexpr int most_held_back = 1000;

} // namespace

void Announcer::announce(IntT notification, UIntT object, const std::string &text, IntT number,
                         const Client *cause) const
{
    const int depth = cause ? cause->reaction + 1 : 1;
    if (!host_ || depth > deepest_reaction)
        return;
    // The list does not shrink meanwhile, but a client may end, or cancel its subscription.
    for (Client &each : host_->clients()) {
        const auto wants = [=, this, &each] {
            return each.running() && !each.leaving && model_.subscribed(each.number, notification);
        };
        if (&each == cause || !wants())
            continue;
        const auto notify = [=, this, &each] {
            if (!wants())
                return;
            const struct Reacting {
                int &reaction;
                int before;
                ~Reacting() { reaction = before; }
            } reacting{each.reaction, std::exchange(each.reaction, depth)};
            host_->notify(each, notification, object, text, number);
        };
        if (!each.turns.client_holds_control()) {
            notify();
        } else if (each.held_back < most_held_back) {
            host_->when_free(each, [&each, notify] {
                each.held_back--;
                notify();
            });
            if (++each.held_back == most_held_back)
                host_->reports().of(each, "has " + std::to_string(most_held_back) +
                                              " notifications to come when it hands control back, "
                                              "and gets no more before");
        }
    }
}

void Announcer::announce_done(IntT notification, UIntT object, const std::string &text, IntT number,
                              const Client *cause) const
{
    try {
        announce(notification, object, text, number, cause);
    } catch (const std::bad_alloc &) {
        Reports::line(&host_->reports(), "memory ran out: not all clients were notified");
    }
}

void Announcer::announce_changes(const Client *cause) const
{
    // All are taken before a client is told, because what is left then would seem to be its doing.
    std::vector<Model::Change> changes;
    while (const auto change = model_.take_change())
        changes.push_back(*change);
    for (const Model::Change &each : changes)
        announce_done(each.notification, each.object, {}, static_cast<IntT>(each.paragraph), cause);
}

} // namespace velt::host
