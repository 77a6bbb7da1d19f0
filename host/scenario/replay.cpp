#include "host/scenario/replay.h"

#include "host/scenario/pattern.h"
#include "host/session/host.h"

namespace velt::host
{
namespace
{

constexpr std::size_t told_before = 5, searched_ahead = 1000;

using procedure::api_vq_over_1;

bool fits(const RecordedEvent &event, const Call &call, const SessionText &text)
{
    const Shape *shape = call.procedure.argument.shape;
    return event.kind == RecordedEvent::call && event.procedure->number == call.procedure.number &&
           (!shape || !event.arguments || matches(*shape, call.argument, *event.arguments, text));
}

std::string text_of(const Call &call, const SessionText &text)
{
    return std::string(call.procedure.name) + "(" +
           fields_text({call.procedure.argument.shape, call.argument}, text) + ")";
}

Responder::Reaction reaction_of(std::string_view failure)
{
    using enum Responder::Reaction;
    return failure == "none"    ? drop
           : failure == "half"  ? half
           : failure == "close" ? close
                                : rpc_error;
}

} // namespace

Replay::Replay(Recording &recording, const SessionText &text) : recording_(recording), text_(text)
{
    next_ = recording_.next();
    if (next_)
        client_ = next_->client;
}

void Replay::advance()
{
    before_.push_back(next_->text());
    if (before_.size() > told_before)
        before_.pop_front();
    played_++;
    do {
        if (ahead_.empty()) {
            next_ = recording_.next();
        } else {
            next_ = std::move(ahead_.front());
            ahead_.pop_front();
        }
    } while (next_ && next_->client != client_);
}

void Replay::differ(const std::string &what)
{
    if (!difference_.empty())
        return;
    difference_ = (next_ ? next_->place + ": the client differs from the recording"
                         : std::string("the client goes on beyond the recording")) +
                  "\n" + what;
    if (next_)
        difference_ += "\n  recorded: " + next_->text();
    if (!before_.empty())
        difference_ += "\n  before that:";
    for (const std::string &each : before_)
        difference_ += "\n    " + each;
}

// Returns where such a call was recorded later.
std::string Replay::nearest(const Call &call)
{
    while (ahead_.size() < searched_ahead) {
        std::optional<RecordedEvent> event = recording_.next();
        if (!event)
            break;
        ahead_.push_back(std::move(*event));
    }
    for (const RecordedEvent &each : ahead_)
        if (each.client == client_ && fits(each, call, text_))
            return "\n  such a call was recorded at " + each.place;
    return "";
}

Responder::Reaction Replay::respond(Call &call)
{
    const bool hands_over = call.procedure.number == api_vq_over_1::number;
    if (call.client.number != client_ || !difference_.empty())
        return hands_over ? Reaction::answer : Reaction::rpc_error;
    if (!next_ && recording_.cut_off())
        return hands_over ? Reaction::answer : Reaction::rpc_error;
    while (next_ && next_->waits && difference_.empty())
        make(call.host, call.client);
    if (!next_ || !fits(*next_, call, text_)) {
        std::string what = "  now:      " + text_of(call, text_);
        if (next_ && next_->procedure == &call.procedure && next_->arguments &&
            call.procedure.argument.shape)
            for (const auto &[path, is, wanted] : differences(
                     *call.procedure.argument.shape, call.argument, *next_->arguments, text_))
                what += "\n    " + (path.empty() ? "" : path + ":") + "\n      is       " + is +
                        "\n      recorded " + wanted;
        differ(what + nearest(call));
        return hands_over ? Reaction::answer : Reaction::rpc_error;
    }
    Reaction reaction = Reaction::answer;
    if (next_->failed)
        reaction = reaction_of(next_->failed->text());
    else
        fill(call.procedure.result, call.result, next_->answer, text_);
    advance();
    return reaction;
}

void Replay::observe(const TraceEvent &event) noexcept
try {
    if (event.direction == Direction::from_client && event.client == client_)
        compare_end(event);
} catch (const std::exception &error) {
    difference_ = error.what();
}

void Replay::compare_end(const TraceEvent &event)
{
    if (!difference_.empty() || over_ || (!next_ && recording_.cut_off()))
        return;
    const bool exited = event.outcome != outcomes::handed_back;
    if (!next_ || next_->kind != RecordedEvent::end || next_->exited != exited)
        return differ("  now:      the client " + std::string(event.procedure) + ": " +
                      event.outcome);
    advance();
}

// Makes the host's call that comes next.
void Replay::make(Host &host, Client &client)
{
    const RecordedEvent event = *next_;
    Message argument(event.procedure->argument);
    fill(event.procedure->argument, argument.address(), event.arguments, text_);
    advance();
    if (event.waits)
        host.send(client, *event.procedure, argument.address());
    else if (event.procedure->number == callback::vq_api_quit_1::number)
        host.quit(client);
    else
        host.call(client, *event.procedure, argument.address());
}

bool Replay::run(Host &host, Client &client)
{
    const auto &limit = host.options().turn_limit;
    const auto starts = [this] {
        return next_ && next_->kind == RecordedEvent::host_call &&
               next_->procedure->number == callback::vq_api_init_1::number;
    };
    for (bool first = true; next_ && difference_.empty() && client.running(); first = false) {
        const std::size_t played = played_;
        if (!first && starts()) {
            if (!host.wait_for_exit(client, limit))
                differ("  now:      the client has not ended");
        } else if (next_->kind == RecordedEvent::host_call && !next_->waits) {
            make(host, client);
        } else if (host.serve_until([&] { return played_ != played || !client.running(); },
                                    limit)) {
            continue;
        } else if (next_->kind == RecordedEvent::end && next_->exited && client.process) {
            host.kill(client); // as the host had to then
        } else {
            differ("  now:      the client does nothing for " + std::to_string(limit.count()) +
                   " ms");
        }
    }
    if (difference_.empty() && starts())
        return true;
    over_ = !next_; // what the end of this host brings was not recorded
    if (next_)
        differ("  now:      the client has ended: " + client.ending());
    return false;
}

} // namespace velt::host
