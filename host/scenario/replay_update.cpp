// How a replay takes what clients do now in place of what was recorded.

#include <algorithm>

#include "host/scenario/pattern.h"
#include "host/scenario/replay.h"
#include "host/session/host.h"

namespace velt::host
{
namespace
{

// So many answers of each procedure are kept in mind, for calls that are new.
constexpr std::size_t most_answers = 32;
// So many calls of each client that it has not made are kept in mind.
constexpr std::size_t most_aside = 100;

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

// Takes a call of a client out, for another, or because that makes it no more. It may still come.
void Replay::set_aside(const Event &event, std::string noted, std::string instead)
{
    update_->note(noted);
    remember(event);
    std::deque<Aside> &aside = parts_[event.client].aside;
    aside.push_back({event, std::move(noted), std::move(instead)});
    if (aside.size() > most_aside)
        aside.pop_front();
}

// Puts a call that was set aside back before `own`, since the client makes it after all. Where it
// is as well its own, one that was taken to be changed was rather a new one: those that are alike
// are changed together. What was set aside before it comes no more.
Replay::Place Replay::put_back(const Call &call, Place own, bool is_own)
{
    std::deque<Aside> &aside = parts_[call.client.number].aside;
    const auto back = std::ranges::find_if(aside, [&](const Aside &each) {
        return fits(each.event, call) && (!is_own || each.event.adapted);
    });
    if (back == aside.end())
        return ahead_.end();
    update_->note_instead(back->noted, back->instead);
    const Place added = ahead_.emplace(own, std::move(back->event));
    added->adapted = false;
    bytes_ahead_ += added->line.size();
    aside.erase(aside.begin(), std::next(back));
    return added;
}

// Returns the event by which the call is answered: what the client is to do next, if the call is
// that; one that was set aside; `found`, which the call is, for which those before it in the turn
// are set aside; what the client is to do next, if that is a call of the same procedure, and the
// call is none that was recorded elsewhere; else a new one.
Replay::Place Replay::adapt(const Call &call, Place own, Place found)
{
    if (const Place back = put_back(call, own, found == own); back != ahead_.end())
        return back;
    if (found != own && found != ahead_.end() && order_ == KeptOrder::none) {
        update_->note(found->place + ": is called earlier: " + text_of(*found));
        return found;
    }
    std::deque<Aside> &aside = parts_[call.client.number].aside;
    if (found != ahead_.end()) {
        aside.clear();
        for (Place each = own; each != found;) {
            const Place next = std::next(each);
            if (each->client == call.client.number && each->kind == RecordedEvent::call &&
                !each->pending) {
                const std::string told = text_of(*each);
                set_aside(*each, each->place + ": no more: " + told,
                          each->place + ": is called later: " + told);
                bytes_ahead_ -= each->line.size();
                ahead_.erase(each);
            }
            each = next;
        }
        return found;
    }
    const std::string now = text_of(call), is_new = own->place + ": new before this: " + now;
    const auto answered_as = [this](const RecordedEvent &event) {
        return ", answered as " + event.place + ": " + text_of(event);
    };
    const auto [earlier, differing] = nearest_of(answers_[call.procedure.number], call);
    const auto [later, differing_later] = nearest_of(ahead_, call);
    if (std::min(differing, differing_later) > 0 && own->kind == RecordedEvent::call &&
        own->procedure->number == call.procedure.number) {
        own->adapted = true;
        set_aside(*own, own->place + ": changed to " + now + told_differences(*own, call),
                  is_new + answered_as(*own));
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
    const RecordedEvent *like = differing <= differing_later ? earlier : later;
    RecordedEvent made = like ? *like : RecordedEvent();
    made.kind = RecordedEvent::call;
    made.client = call.client.number;
    if (!like)
        made.procedure = &call.procedure;
    made.arguments = nullptr;
    made.line.clear();
    update_->note(is_new + (like ? answered_as(*like)
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
                  is_handed_back(each.procedure->number);
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
