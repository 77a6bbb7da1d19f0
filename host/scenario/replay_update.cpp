// How a replay takes what clients do now in place of what was recorded.

#include "host/scenario/pattern.h"
#include "host/scenario/replay.h"
#include "host/session/host.h"

namespace velt::host
{
namespace
{

// So many answers of each procedure are kept in mind, for calls that are new.
constexpr std::size_t most_answers = 32;

} // namespace

// Takes an event out of the recording.
void Replay::drop(Place event)
{
    update_->note(event->place + ": no more: " + text_of(*event));
    bytes_ahead_ -= event->line.size();
    remember(*event);
    ahead_.erase(event);
}

void Replay::remember(const RecordedEvent &event)
{
    if (event.kind != RecordedEvent::call)
        return;
    std::deque<RecordedEvent> &kept = answers_[event.procedure->number];
    kept.push_front(event);
    if (kept.size() > most_answers)
        kept.pop_back();
}

// Returns the event by which the call is answered: `found`, which it is, for which the calls before
// it in the turn are dropped; else what the client is to do next, if that is a call of the same
// procedure; else a new one.
Replay::Place Replay::adapt(const Call &call, Place own, Place found)
{
    if (found == own)
        return own;
    if (found != ahead_.end() && order_ == KeptOrder::none) {
        update_->note(found->place + ": is called earlier: " + text_of(*found));
        return found;
    }
    if (found != ahead_.end()) {
        for (Place each = own; each != found;) {
            const Place next = std::next(each);
            if (each->client == call.client.number && each->kind == RecordedEvent::call &&
                !each->pending)
                drop(each);
            each = next;
        }
        return found;
    }
    const std::string now = text_of(call);
    if (own->kind == RecordedEvent::call && own->procedure->number == call.procedure.number) {
        own->adapted = true;
        update_->note(own->place + ": changed to " + now + told_differences(*own, call));
        return own;
    }
    // Its new calls may have no end.
    const auto limit = call.host.options().turn_limit;
    if (std::chrono::steady_clock::now() - agreed_ > limit) {
        differ(call.client.number,
               "  now:      " + now + ", and for " + std::to_string(limit.count()) +
                   " ms nothing that was recorded",
               own);
        return ahead_.end();
    }
    const auto [earlier, differing] = nearest_of(answers_[call.procedure.number], call);
    const auto [later, differing_later] = nearest_of(ahead_, call);
    const RecordedEvent *like = differing <= differing_later ? earlier : later;
    RecordedEvent made = like ? *like : RecordedEvent();
    made.kind = RecordedEvent::call;
    made.client = call.client.number;
    if (!like)
        made.procedure = &call.procedure;
    made.arguments = nullptr;
    made.line.clear();
    update_->note(own->place + ": new before this: " + now +
                  (like ? ", answered as " + like->place + ": " + text_of(*like)
                        : ", answered with zeros, since no answer of it was recorded"));
    made.place = own->place;
    const Place added = ahead_.emplace(own, std::move(made));
    added->adapted = true;
    return added;
}

void Replay::write(const Event &played, Call &call, const Failure *failure)
{
    if (!played.adapted) {
        remember(played);
        return update_->keep(played);
    }
    TraceEvent event = {};
    event.client = call.client.number;
    event.direction = Direction::to_host;
    event.procedure = call.procedure.name;
    event.number = static_cast<unsigned>(call.procedure.number);
    event.arguments = {call.procedure.argument.shape, call.argument};
    event.result = call.bytes ? TracedMessage{bytes_of_message.shape, call.bytes->address()}
                              : TracedMessage{call.procedure.result.shape, call.result};
    event.outcome = failure ? failure->outcome : outcomes::answered;
    update_->add(event, text_);
}

// A turn is over: drops what else was recorded in it, also calls of the host. Returns its end.
Replay::Place Replay::skip_to_end(int client)
{
    std::size_t within = 0;
    const Place end = find([&](const Event &each) {
        if (each.client != client || each.pending)
            return false;
        if (each.kind == RecordedEvent::end)
            return within-- == 0;
        within += each.kind == RecordedEvent::host_call && !each.waits &&
                  each.procedure->number != callback::vq4_api_notify_1::number;
        return false;
    });
    for (Place each = ahead_.begin(); end != ahead_.end() && each != end;) {
        const Place next = std::next(each);
        if (each->client == client && !each->pending)
            drop(each);
        each = next;
    }
    return end;
}

// A turn is over whose end was not recorded: drops the rest of it, and adds its end.
void Replay::end_early(const TraceEvent &event, Place own)
{
    const std::string place = own->place;
    drop_rest(event.client);
    update_->note(place + ": new: the client " + event.outcome);
    update_->add(event, text_);
}

// The client is gone: drops what was recorded of it until it is started anew.
void Replay::drop_rest(int client)
{
    for (;;) {
        const Place next =
            find([=](const Event &each) { return each.client == client && !each.pending; });
        if (next == ahead_.end() || (next->kind == RecordedEvent::host_call &&
                                     next->procedure->number == callback::vq_api_init_1::number))
            return;
        drop(next);
    }
}

} // namespace velt::host
