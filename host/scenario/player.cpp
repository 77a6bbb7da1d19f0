#include "host/scenario/player.h"

#include <algorithm>

#include "host/scenario/misses.h"
#include "host/scenario/pattern.h"
#include "host/session/host.h"

namespace velt::host
{
namespace
{

constexpr std::size_t most_misses = 100;

// So many calls of a client in a row that bring themselves about, by what they have the host call,
// have no end.
constexpr unsigned most_in_a_row = 1000;

bool makes_calls(const ExpectedCall &step)
{
    return !step.before.empty() || !step.in.empty() || !step.after.empty();
}

bool passes_control(const Procedure &procedure)
{
    return procedure.number == procedure::api_vq_over_1::number ||
           procedure.number == procedure::api_vq_take_control_1::number;
}

// Returns whether a message is what a scenario says of it, if it says anything.
bool fits(const Shape *shape, void *value, const JsonNode *wanted, const SessionText &text)
{
    return !wanted || !shape || matches(*shape, value, *wanted, text);
}

bool fits(const ExpectedCall &step, const Call &call, const SessionText &text)
{
    if (!step.procedure)
        return !passes_control(call.procedure);
    return step.procedure->number == call.procedure.number &&
           fits(step.procedure->argument.shape, call.argument, step.arguments, text);
}

void add_missing(const std::vector<ExpectedCall> &calls, std::vector<std::string> &missing);

void add_missing(const std::vector<HostCall> &calls, std::vector<std::string> &missing)
{
    for (const HostCall &each : calls) {
        if (!each.begun)
            missing.push_back(missing_call(each));
        add_missing(each.calls, missing);
    }
}

// What a step brings with it is expected once it was used.
void add_missing(const std::vector<ExpectedCall> &calls, std::vector<std::string> &missing)
{
    for (const ExpectedCall &each : calls) {
        if (each.used < each.times.least)
            missing.push_back(missing_call(each));
        if (each.used > 0)
            for (const auto *made : {&each.before, &each.in, &each.after})
                add_missing(*made, missing);
    }
}

} // namespace

ExpectedCall *ScenarioPlayer::find_in(const Expected &expected, const Call &call)
{
    for (ExpectedCall &step : expected.calls) {
        if (step.used < step.times.most && fits(step, call, text_) &&
            (++step.seen == step.nth || step.nth == 0)) {
            if (expected.in_order)
                for (ExpectedCall *earlier = expected.calls.data(); earlier != &step; earlier++)
                    earlier->times.most = earlier->used;
            return &step;
        }
        if (expected.in_order && step.used < step.times.least)
            return nullptr;
    }
    return nullptr;
}

// What is expected within the host's call that the client is in comes first.
std::vector<ScenarioPlayer::Expected> ScenarioPlayer::expected_of(int client)
{
    std::vector<Expected> all;
    if (const auto open = open_.find(client); open != open_.end())
        for (auto each = open->second.rbegin(); each != open->second.rend(); ++each)
            if (each->call)
                all.push_back({each->call->calls, each->call->in_order});
    for (auto *list : {&queued_, &scenarios_})
        for (Scenario &each : *list)
            all.push_back({each.calls, each.in_order});
    return all;
}

Responder::Reaction ScenarioPlayer::respond(Call &call)
{
    if (call.procedure.number == procedure::api_vq_over_1::number &&
        does_what_was_sent(call.client))
        sent_[call.client.number].pop_front();
    const std::vector<Expected> all = expected_of(call.client.number);
    for (const Expected &each : all)
        if (ExpectedCall *step = find_in(each, call))
            return carry_out(*step, call);
    if (passes_control(call.procedure) ||
        std::ranges::any_of(scenarios_, &Scenario::others_by_model)) {
        note_other(all, call);
        return model_.respond(call);
    }
    std::vector<const ExpectedCall *> candidates;
    for (const Expected &each : all)
        for (const ExpectedCall &step : each.calls)
            candidates.push_back(&step);
    miss(unexpected_call(call, candidates, text_));
    return Reaction::rpc_error;
}

// The model answers a call that no step takes; the steps keep what they need of it to tell later
// why it was not theirs.
void ScenarioPlayer::note_other(const std::vector<Expected> &all, const Call &call)
{
    for (const Expected &each : all)
        for (ExpectedCall &step : each.calls) {
            if (step.procedure && step.procedure->number != call.procedure.number)
                continue;
            const bool is_it = fits(step, call, text_);
            if (is_it && step.bounded && step.used >= step.times.most)
                return miss(unexpected_call(call, {&step}, text_));
            if (step.procedure && step.used < step.times.least)
                note_instead(step, call, text_);
        }
}

// No step says anything of calls that nobody can read.
Responder::Reaction ScenarioPlayer::respond_to_bytes(Call &call)
{
    if (!std::ranges::any_of(scenarios_, &Scenario::others_by_model))
        miss(unexpected_call(call, {}, text_));
    return model_.respond_to_bytes(call);
}

Responder::Reaction ScenarioPlayer::carry_out(ExpectedCall &step, Call &call)
{
    step.used++;
    taken_++;
    const Chain earlier = cause_of(call.client);
    if (!makes_calls(step) || !goes_on(step, earlier))
        return answer(step, call);
    const Chain chain =
        std::make_shared<Cause>(Cause{step, earlier, earlier ? earlier->length + 1 : 1});
    for (HostCall &each : step.before) {
        Message argument(each.procedure->argument);
        fill(each.procedure->argument, argument.address(), each.arguments, text_);
        sending_ = &each;
        if (each.procedure->number == callback::vq_api_quit_1::number) {
            call.host.ask_to_quit(call.client, Host::Dialogs::stay);
        } else if (call.host.send(call.client, *each.procedure, argument.address()) &&
                   is_handed_back(each.procedure->number)) {
            sent_[call.client.number].push_back(
                {static_cast<UIntT>(each.procedure->number), chain});
        }
        sending_ = nullptr; // also when the connection is closed, and nothing was sent
    }
    Host &host = call.host;
    Client &client = call.client;
    for (HostCall &each : step.in)
        host.when_free(client,
                       [=, this, &host, &client, &each] { make(host, client, each, chain); });
    for (HostCall &each : step.after)
        host.when_idle(client,
                       [=, this, &host, &client, &each] { make(host, client, each, chain); });
    return answer(step, call);
}

// Returns whether the client does now what was sent to it, for which the host has begun no turn;
// the mock begins one when that arrives.
bool ScenarioPlayer::does_what_was_sent(const Client &client)
{
    const Turns &turns = client.turns;
    const std::vector<Open> &open = open_[client.number];
    const std::deque<Sent> &sent = sent_[client.number];
    return !sent.empty() && (!turns.client_holds_control() ||
                             (turns.innermost().number == sent.front().procedure &&
                              (open.empty() || open.back().depth + 1 != turns.depth())));
}

// Returns what has led to the call that the client makes.
ScenarioPlayer::Chain ScenarioPlayer::cause_of(const Client &client)
{
    if (does_what_was_sent(client))
        return sent_[client.number].front().chain;
    const std::vector<Open> &open = open_[client.number];
    return open.empty() ? nullptr : open.back().chain;
}

// Counts the calls in a row that lead to themselves: one after the other, by however many steps, or
// side by side, where each brings several. Returns whether the step is to have the host make its
// calls.
bool ScenarioPlayer::goes_on(const ExpectedCall &step, const Chain &chain)
{
    const bool went_on = in_a_row_ < most_in_a_row;
    const Cause *cause = chain.get();
    while (cause && &cause->step != &step)
        cause = cause->earlier.get();
    if (!chain)
        in_a_row_ = 0;
    else if (cause)
        in_a_row_ = std::max(in_a_row_ + 1, chain->length);
    if (in_a_row_ < most_in_a_row)
        return true;
    if (went_on)
        miss(step.place + ": the calls that it has the host make lead to it again, " +
             std::to_string(most_in_a_row) + " in a row; it makes no more (\"times\" bounds it)");
    return false;
}

Responder::Reaction ScenarioPlayer::answer(const ExpectedCall &step, Call &call)
{
    if (step.delay.count() > 0)
        call.host.serve_until([&] { return !call.client.running(); }, step.delay,
                              EventLoop::Time::counted);
    if (step.answer == ExpectedCall::model)
        return model_.respond(call);
    fill(call.procedure.result, call.result, step.fields, text_);
    switch (step.answer) {
    case ExpectedCall::nothing:
        return Reaction::drop;
    case ExpectedCall::rpc_error:
        return Reaction::rpc_error;
    case ExpectedCall::half:
        return Reaction::half;
    case ExpectedCall::closed:
        return Reaction::close;
    default:
        break;
    }
    if (call.procedure.number == procedure::api_vq_modal_dialog_1::number && step.in.empty())
        call.host.end_refused_dialog(call.client,
                                     *static_cast<const ApiVqDoDialogArgT *>(call.argument),
                                     *static_cast<const IntT *>(call.result));
    return Reaction::answer;
}

void ScenarioPlayer::make(Host &host, Client &client, HostCall &call, const Chain &chain)
{
    if (!client.running() || in_a_row_ >= most_in_a_row)
        return;
    Message argument(call.procedure->argument);
    fill(call.procedure->argument, argument.address(), call.arguments, text_);
    making_ = &call;
    making_chain_ = chain;
    if (call.procedure->number == callback::vq_api_quit_1::number)
        host.quit(client); // which a client does not hand back
    else
        host.call(client, *call.procedure, argument.address());
    making_ = nullptr;
}

void ScenarioPlayer::miss(std::string text)
{
    if (misses_.size() < most_misses)
        misses_.push_back(std::move(text));
    else
        more_misses_++;
}

void ScenarioPlayer::observe(const TraceEvent &event) noexcept
try {
    if (event.direction == Direction::to_client)
        begin(event);
    if (event.direction == Direction::from_client)
        end(event);
} catch (const std::exception &) {
    more_misses_++; // of which there is no memory to tell
}

void ScenarioPlayer::begin(const TraceEvent &event)
{
    // What is sent while the client waits begins no turn whose end could be told from that of the
    // one that it is in.
    if (HostCall *sent = std::exchange(sending_, nullptr)) {
        sent->begun = true;
        return;
    }
    HostCall *begun = std::exchange(making_, nullptr);
    const Chain chain = begun ? making_chain_ : nullptr;
    std::vector<HostCall *> others;
    for (auto *list : {&queued_, &scenarios_})
        for (Scenario &scenario : *list)
            for (HostCall &each : scenario.host_calls)
                if (!begun && !each.begun && each.procedure->number == event.number) {
                    if (fits(event.arguments.shape, event.arguments.value, each.arguments, text_))
                        begun = &each;
                    else
                        others.push_back(&each);
                }
    if (begun)
        begun->begun = true;
    else
        for (HostCall *each : others)
            note_instead(*each, event.arguments, text_);
    if (is_handed_back(event.number))
        open_[event.client].push_back({event.depth, begun, chain});
}

void ScenarioPlayer::end(const TraceEvent &event)
{
    std::vector<Open> &open = open_[event.client];
    const bool exited = event.outcome != outcomes::handed_back;
    while (!open.empty() && open.back().depth >= event.depth) {
        const HostCall *call = open.back().call;
        if (call && call->end != HostCall::any && exited != (call->end == HostCall::exited))
            miss(call->place + ": " + std::string(call->procedure->name) + ": " +
                 std::string(event.outcome));
        open.pop_back();
    }
}

std::vector<std::string> ScenarioPlayer::take_misses()
{
    return std::exchange(misses_, {});
}

std::vector<std::string> ScenarioPlayer::failures() const
{
    std::vector<std::string> all = misses_;
    if (more_misses_ > 0)
        all.push_back("and " + std::to_string(more_misses_) + " more");
    for (const auto *list : {&queued_, &scenarios_})
        for (const Scenario &scenario : *list) {
            add_missing(scenario.calls, all);
            add_missing(scenario.host_calls, all);
        }
    return all;
}

} // namespace velt::host
