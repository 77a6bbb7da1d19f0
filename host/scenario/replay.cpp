#include "host/scenario/replay.h"

#include "host/json/writer.h"
#include "host/scenario/pattern.h"
#include "host/session/host.h"

namespace velt::host
{
namespace
{

constexpr std::size_t told_before = 5;
// So much of the recording is kept in mind: events, and bytes.
constexpr std::size_t most_ahead = 1000, most_bytes_ahead = std::size_t{64} << 20;

using callback::vq_api_quit_1;
using procedure::api_vq_over_1;

bool is_init(const RecordedEvent &event)
{
    return event.kind == RecordedEvent::host_call &&
           event.procedure->number == callback::vq_api_init_1::number;
}

} // namespace

Replay::Replay(Recording &recording, const SessionText &text, KeptOrder order, Start start,
               Update *update)
    : recording_(recording), text_(text), order_(order), start_(std::move(start)), update_(update)
{
}

bool Replay::same_call(const RecordedEvent &event, const Call &call)
{
    return event.kind == RecordedEvent::call && event.procedure->number == call.procedure.number &&
           event.procedure->argument.shape == call.procedure.argument.shape;
}

bool Replay::fits(const RecordedEvent &event, const Call &call) const
{
    const Shape *shape = call.procedure.argument.shape;
    return same_call(event, call) &&
           (!shape || !event.arguments || matches(*shape, call.argument, *event.arguments, text_));
}

std::vector<Difference> Replay::differences_of(const RecordedEvent &event, const Call &call) const
{
    const Shape *shape = call.procedure.argument.shape;
    if (!shape || !event.arguments || !same_call(event, call))
        return {};
    return differences(*shape, call.argument, *event.arguments, text_);
}

bool Replay::read()
try {
    if (read_whole_ || ahead_.size() >= most_ahead || bytes_ahead_ >= most_bytes_ahead)
        return false;
    std::optional<RecordedEvent> next = recording_.next();
    read_whole_ = !next;
    if (!next)
        return false;
    Part &part = parts_[next->client];
    if (!next->client_name.empty())
        part.name = next->client_name;
    bytes_ahead_ += next->line.size();
    ahead_.emplace_back(std::move(*next));
    return true;
} catch (const Error &) {
    error_ = std::current_exception();
    read_whole_ = true;
    return false;
}

// Returns the first event that has not come. The end of a turn comes with the call that hands
// control back.
Replay::Place Replay::head()
{
    std::set<int> waiting;
    return find([&](const Event &each) {
        if (each.pending)
            waiting.insert(each.client);
        return !each.pending && !(each.kind == RecordedEvent::end && waiting.contains(each.client));
    });
}

// Returns what the client itself is to do next.
Replay::Place Replay::next_of(int client)
{
    return find([=](const Event &each) {
        return each.client == client && !each.pending &&
               !(each.kind == RecordedEvent::host_call && each.waits);
    });
}

// Returns the first of the client's calls up to the end of its turn, or the host's next call, that
// the call is.
Replay::Place Replay::later_in_turn(const Call &call)
{
    const Place found = find([&](const Event &each) {
        return each.client == call.client.number && !each.pending &&
               (each.kind == RecordedEvent::call ? fits(each, call)
                                                 : !(each.kind == each.host_call && each.waits));
    });
    return found != ahead_.end() && found->kind == RecordedEvent::call ? found : ahead_.end();
}

// Returns whether the call has to wait for what was recorded before it. What the host had done
// before it answered may be why it did.
bool Replay::is_blocked(Place event)
{
    std::set<int> waiting;
    for (Place each = ahead_.begin(); each != event; ++each) {
        if (each->pending)
            waiting.insert(each->client);
        else if (each->kind == RecordedEvent::end
                     ? !waiting.contains(each->client)
                     : each->kind == RecordedEvent::host_call || order_ == KeptOrder::strict)
            return true;
    }
    return false;
}

Replay::Event Replay::play(Place event)
{
    Event played = std::move(*event);
    ahead_.erase(event);
    bytes_ahead_ -= played.line.size();
    parts_[played.client].fresh = false;
    played_++;
    moved_ = std::chrono::steady_clock::now();
    calls_ += played.kind == RecordedEvent::call;
    if (played.kind != RecordedEvent::call)
        parts_[played.client].aside.clear();
    if (played.line.empty())
        return played; // an update has made it, and nothing of it was recorded
    agreed_ = moved_;
    before_.push_back(played);
    if (before_.size() > told_before)
        before_.pop_front();
    return played;
}

// Returns the recorded call that this one is, once it may be answered; the end when there is none.
Replay::Place Replay::come(Call &call)
{
    const int client = call.client.number;
    const Place none = ahead_.end();
    Place own = none;
    // The host called clients that held control too, which it does as soon as they call.
    const auto known = [&] {
        own = stopped() ? none : next_of(client);
        const bool is_host_s = own != none && own->kind == RecordedEvent::host_call &&
                               call.client.turns.client_holds_control();
        return stopped() || (own == none ? read_whole_ : !is_host_s);
    };
    drive(call.host, known);
    if (stopped() || (own == none && read_whole_ && recording_.cut_off()))
        return none;
    Place event = none;
    if (own != none && fits(*own, call))
        event = own;
    else if (own != none && (order_ == KeptOrder::none || update_))
        event = later_in_turn(call);
    if (update_ && own != none)
        event = adapt(call, own, event);
    if (event == none) {
        differ(client,
               "  now:      " + text_of(call) + (own == none ? "" : told_differences(*own, call)) +
                   nearest(call, own),
               own);
        return none;
    }
    event->pending = true;
    if (!drive(call.host, [&] { return stopped() || !is_blocked(event); }))
        differ(client, "  now:      " + text_of(call) + ", which came after this", head());
    return stopped() ? none : event;
}

Responder::Reaction Replay::respond(Call &call)
{
    // A client that goes no farther is to hand control back.
    const Reaction refused =
        call.procedure.number == api_vq_over_1::number ? Reaction::answer : Reaction::rpc_error;
    try {
        const Place event = come(call);
        return event == ahead_.end() ? refused : answer(call, event);
    } catch (const std::exception &) {
        host_failed(std::current_exception());
        return refused;
    }
}

Responder::Reaction Replay::answer(Call &call, Place event)
{
    const Event played = play(event);
    const Failure *failure = played.failed ? failure_named(played.failed->text()) : nullptr;
    const MessageType &type = played.procedure->result;
    try {
        if (!failure && is_bytes(type.shape) && !is_bytes(call.procedure.result.shape)) {
            call.bytes = std::make_shared<Message>(bytes_of_message);
            fill(type, call.bytes->address(), played.answer, text_);
        } else if (!failure) {
            fill(call.procedure.result, call.result, played.answer, text_);
        }
    } catch (const JsonError &error) {
        note_mistake(played, error);
        return Reaction::rpc_error;
    }
    if (update_)
        write(played, call, failure);
    if (!failure)
        return Reaction::answer;
    if (failure->reaction == Reaction::half || failure->reaction == Reaction::close)
        cut_off_.insert(&call.client);
    return failure->reaction;
}

void Replay::note_mistake(const RecordedEvent &event, const JsonError &error)
{
    error_ = std::make_exception_ptr(
        Error(misused, event.place + ":" + std::to_string(error.column) + ": " + error.what()));
}

void Replay::observe(const TraceEvent &event) noexcept
try {
    if (event.direction == Direction::from_client)
        compare_end(event);
    else if (event.outcome == outcomes::unsent)
        fail("the answer to " + std::string(event.procedure) +
             " could not be sent: its client is gone, or there was no memory");
} catch (const std::exception &) {
    host_failed(std::current_exception());
}

void Replay::compare_end(const TraceEvent &event)
{
    if (stopped() || over_)
        return;
    const bool exited = event.outcome != outcomes::handed_back;
    const Place none = ahead_.end();
    Place next = next_of(event.client);
    const Place own = next;
    const ExitStatus status(event.exit_status);
    if (update_ && own != none && own->kind != RecordedEvent::end)
        next = skip_to_end(event.client);
    if (next == none && read_whole_ && recording_.cut_off()) {
        if (own == none)
            return;
        if (status.well() && exited == (event.number == vq_api_quit_1::number))
            return end_early(event, own);
        next = own;
    }
    const bool is_end = next != none && next->kind == RecordedEvent::end && next->exited == exited;
    // A client whose connection the host has cut may notice that before it is told to quit, or
    // after.
    const bool is_same =
        is_end && (next->status == status || cut_off_.contains(host_->find(event.client)));
    // An update takes a client that ends well now, but none that has begun to crash.
    if (!is_same && !(is_end && update_ && status.well()))
        return differ(
            event.client,
            "  now:      " + std::string(event.procedure) + ": the client " + event.outcome, next);
    const Event played = play(next);
    if (exited)
        recorded_exits_.insert(host_->find(event.client));
    if (update_ && is_same) {
        update_->keep(played);
    } else if (update_) {
        update_->note(played.place + ": changed: the client " + event.outcome);
        update_->add(event, text_);
    }
}

void Replay::compare_exits()
{
    if (stopped() || recording_.cut_off())
        return;
    for (const Client &each : host_->clients())
        if (!each.ended_well() && !recorded_exits_.contains(&each))
            difference_ = recording_.path() + ": " + each.title() + " " + each.ending() +
                          ", which was not recorded";
}

// Makes the host's call that comes next.
void Replay::make(Host &host, Client &client, Place next)
{
    // What comes before the answer to a call that is still to be played out follows that.
    const bool interrupts =
        client.turns.client_holds_control() &&
        next == find([&](const Event &each) { return each.client == client.number; });
    const Event event = play(next);
    Message argument(event.procedure->argument);
    try {
        fill(event.procedure->argument, argument.address(), event.arguments, text_);
    } catch (const JsonError &error) {
        return note_mistake(event, error);
    }
    if (update_)
        update_->keep(event);
    if (event.procedure->number == vq_api_quit_1::number)
        // The ends of the modal dialogs that are open are recorded too.
        host.ask_to_quit(client, Host::Dialogs::stay);
    else if (event.waits || interrupts)
        host.send(client, *event.procedure, argument.address());
    else
        host.call(client, *event.procedure, argument.address());
}

void Replay::start(Host &host, int client)
try {
    Part &part = parts_[client];
    Client *before = part.started ? host.find(client) : nullptr;
    if (before && !host.wait_for_exit(*before, host.options().turn_limit))
        return differ(client, "  now:      the client has not ended", head());
    part.started = part.fresh = true;
    start_(host, client, part.name);
    moved_ = agreed_ = std::chrono::steady_clock::now();
} catch (const Error &) {
    error_ = std::current_exception(); // which run() throws, wherever this has been called
}

// Does what the host does next, if it is the host's turn. Returns whether it was. While it waits,
// calls are served, which may play what is next, or drop it.
bool Replay::step(Host &host)
{
    const Place next = head();
    if (next == ahead_.end())
        return false;
    const int number = next->client;
    const Part &part = parts_[number];
    if (!part.started || (is_init(*next) && !part.fresh)) {
        start(host, number);
        return true;
    }
    Client *client = host.find(number);
    if (!client || !client->running()) {
        const std::string ending = client ? client->ending() : "not started";
        // One that has said that it leaves, has.
        if (update_ && client && client->leaving && client->ended_well() && !is_init(*next))
            drop_rest(number);
        else
            differ(number, "  now:      the client has ended: " + ending, next);
        return true;
    }
    if (next->kind != RecordedEvent::host_call || (next->waits && !client->being_answered))
        return false;
    // A client that waits for its answer cannot end.
    if (client->is_going() && !client->being_answered &&
        next->procedure->number != vq_api_quit_1::number) {
        if (!host.wait_for_exit(*client, host.options().turn_limit))
            differ(number, "  now:      the client is about to end and has not", head());
        return true;
    }
    make(host, *client, next);
    return true;
}

// Plays the host's part until it is done. Returns false when nothing happens for the time limit.
bool Replay::drive(Host &host, const std::function<bool()> &done)
{
    while (!done()) {
        if (step(host))
            continue;
        const std::size_t played = played_;
        const Place next = head();
        Client *awaited = next == ahead_.end() ? nullptr : host.find(next->client);
        const auto moved = [&] {
            return played_ != played || done() || (awaited && !awaited->running());
        };
        const bool is_end = awaited && next->kind == RecordedEvent::end;
        const bool is_exit = is_end && next->exited;
        // What has passed while the host waited for the end of a turn counts.
        const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - moved_);
        const auto limit =
            (is_end && awaited->quitting ? host.options().exit_limit : host.options().turn_limit) -
            passed;
        if (awaited ? host.wait_for(*awaited, "does not go on", moved, limit)
                    : host.serve_until(moved, limit))
            continue;
        if (!is_exit || !awaited->process)
            return false;
        host.kill(*awaited); // as the host had to then
    }
    return true;
}

void Replay::run(Host &host)
{
    host_ = &host;
    if (head() == ahead_.end() && !error_)
        misuse(recording_.path() + ": there is nothing to replay: it has no event");
    if (!drive(host, [this] { return stopped() || head() == ahead_.end(); })) {
        const Place next = head();
        differ(next->client,
               "  now:      the client does nothing for " +
                   std::to_string(host.options().turn_limit.count()) + " ms",
               next);
    }
    over_ = !stopped(); // what the end of this host brings was not recorded
    if (error_)
        std::rethrow_exception(error_);
}

// Of several clients, it is told which one is meant.
std::string Replay::text_of(const RecordedEvent &event) const
{
    return (parts_.size() > 1 ? "client " + std::to_string(event.client) + ": " : "") +
           event.text();
}

std::string Replay::text_of(const Call &call) const
{
    // As recordings have it, to be compared by eye.
    JsonWriter argument(JsonWriter::one_line);
    if (const Shape *shape = call.procedure.argument.shape)
        write_value(*shape, call.argument, argument,
                    [this](const char *bytes) { return text_.to_utf8(bytes); });
    return std::string(call.procedure.name) + "(" +
           shortened(argument.take(), RecordedEvent::most_shown) + ")";
}

void Replay::differ(int client, const std::string &what, Place recorded)
{
    if (stopped())
        return;
    const bool is_beyond = recorded == ahead_.end();
    const std::string who =
        parts_.size() > 1 ? "client " + std::to_string(client) : std::string("the client");
    difference_ = (is_beyond ? who + " goes on beyond the recording"
                             : recorded->place + ": " + who + " differs from the recording") +
                  "\n" + what;
    if (!is_beyond)
        difference_ += "\n  recorded: " + text_of(*recorded);
    if (!before_.empty())
        difference_ += "\n  before that:";
    for (const RecordedEvent &each : before_)
        difference_ += "\n    " + text_of(each);
}

std::string Replay::told_differences(const RecordedEvent &event, const Call &call) const
{
    std::string told;
    for (const auto &[path, is, wanted] : differences_of(event, call))
        told += (path.empty() ? "" : "\n    " + path + ":") + "\n      is       " + is +
                "\n      recorded " + wanted;
    return told;
}

// Tells of the recorded call that is the nearest, unless it is that which is told anyway.
std::string Replay::nearest(const Call &call, Place told)
{
    find([](const Event &) { return false; }); // reads all that can be kept in mind
    const auto [later, differing] = nearest_of(ahead_, call);
    const auto [earlier, differing_then] = nearest_of(before_, call);
    const bool is_later = differing <= differing_then;
    const RecordedEvent *best = is_later ? later : earlier;
    if (!best || (told != ahead_.end() && best == &*told))
        return "";
    if (is_later && differing == 0)
        return "\n  such a call was recorded at " + best->place;
    return "\n  the nearest: " + best->place + ": " + text_of(*best);
}

} // namespace velt::host
