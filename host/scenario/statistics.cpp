#include "host/scenario/statistics.h"

#include <algorithm>
#include <functional>
#include <iomanip>
#include <sstream>
#include <tuple>

#include "host/json/writer.h"
#include "host/scenario/pattern.h"
#include "host/wire/procedures.h"

namespace velt::host
{
namespace
{

// So many calls of a turn are kept in mind, to find those that are made again.
constexpr std::size_t most_seen = 100'000;

std::string seconds(double time)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(6) << time;
    return text.str();
}

} // namespace

Statistics::Row &Statistics::row(const Procedure &procedure, bool is_call)
{
    Row &found = rows_[&procedure];
    found.procedure = &procedure;
    found.is_call = is_call;
    return found;
}

// Returns the size of the message as it is sent; 0 when there is none.
std::uint64_t Statistics::size(const RecordedEvent &event, const MessageType &type,
                               const JsonNode *node) const
try {
    if (!type.shape || !node)
        return 0;
    Message message(type);
    fill(type, message.address(), node, text_);
    return xdr_sizeof(message.routine(), message.address());
} catch (const JsonError &error) {
    misuse(event.place + ":" + std::to_string(error.column) + ": " + error.what());
}

void Statistics::add(const RecordedEvent &event)
{
    timed_ |= event.time.has_value();
    Turns &turns = clients_[event.client];
    if (turns.empty())
        turns.emplace_back();
    switch (event.kind) {
    case RecordedEvent::call:
        return add_call(event, turns);
    case RecordedEvent::host_call: {
        const double time = event.time.value_or(0);
        if (auto &since = turns.back().modal_since)
            turns.back().elsewhere += time - *since;
        Row &called = row(*event.procedure, false);
        called.calls++;
        called.arguments += size(event, event.procedure->argument, event.arguments);
        turns.push_back({event.procedure, time});
        const JsonNode *dialog = event.arguments ? event.arguments->member("dialog") : nullptr;
        if (event.procedure->number == callback::vq_api_dialog_event_1::number && dialog &&
            dialog->integer(0, 0))
            turns[turns.size() - 2].modal_since.reset();
        return;
    }
    case RecordedEvent::end:
        return end_turn(event, turns);
    }
}

void Statistics::add_call(const RecordedEvent &event, Turns &turns)
{
    using namespace procedure;
    const double took = event.took.value_or(0), end = event.time.value_or(0) + took;
    Turn &turn = turns.back();
    Row &called = row(*event.procedure, true);
    called.calls++;
    called.arguments += size(event, event.procedure->argument, event.arguments);
    called.answers += size(event, event.procedure->result, event.answer);
    called.host += took;
    turn.host += took;
    if (turn.seen.size() >= most_seen)
        turn.seen.clear();
    const std::string call = std::string(event.procedure->name) +
                             (event.arguments ? json_of(*event.arguments) : std::string());
    if (!turn.seen.insert(std::hash<std::string>()(call)).second)
        called.again++;
    if (event.procedure->number == api_vq_modal_dialog_1::number)
        turn.modal_since = end;
    // A client that holds control already gets no turn.
    if (event.procedure->number == api_vq_take_control_1::number &&
        (!turn.procedure || turn.modal_since))
        turns.push_back({event.procedure, end});
}

void Statistics::end_turn(const RecordedEvent &event, Turns &turns)
{
    if (turns.size() == 1)
        return;
    const Turn turn = std::move(turns.back());
    turns.pop_back();
    const double end = event.time.value_or(0), length = end - turn.began;
    Row &called = rows_[turn.procedure];
    called.client += std::max(length - turn.host - turn.elsewhere, 0.0);
    if (!called.is_call)
        called.host += turn.host;
    turns.back().elsewhere += length;
    if (turns.back().modal_since)
        turns.back().modal_since = end;
}

std::vector<Statistics::Row> Statistics::sorted() const
{
    std::vector<Row> all;
    for (const auto &[procedure, each] : rows_)
        all.push_back(each);
    std::ranges::sort(all, [](const Row &one, const Row &other) {
        return std::tuple(-one.own(), other.calls, one.procedure->name) <
               std::tuple(-other.own(), one.calls, other.procedure->name);
    });
    return all;
}

// Returns the sums of the calls of clients, or of those of the host.
Statistics::Row Statistics::total(bool of_calls) const
{
    Row sum;
    for (const auto &[procedure, each] : rows_) {
        sum.client += each.client;
        if (each.is_call)
            sum.host += each.host;
        if (each.is_call == of_calls) {
            sum.calls += each.calls;
            sum.again += each.again;
        }
    }
    return sum;
}

std::string Statistics::table() const
{
    std::ostringstream out;
    const auto line = [&](const auto &calls, const auto &again, const auto &arguments,
                          const auto &answers, const std::string &host, const std::string &client,
                          std::string_view name) {
        out << std::setw(9) << calls << std::setw(9) << again << std::setw(12) << arguments
            << std::setw(12) << answers;
        if (timed_)
            out << std::setw(14) << host << std::setw(14) << client;
        out << "  " << name << '\n';
    };
    line("calls", "again", "arguments", "answers", "host", "client", "procedure");
    for (const Row &each : sorted())
        line(each.calls, each.again, each.arguments, each.answers, seconds(each.host),
             seconds(each.client), each.procedure->name);
    const Row calls = total(true);
    out << calls.calls << " calls of clients, " << calls.again << " of them made again in a turn; "
        << total(false).calls << " of the host\n";
    if (timed_)
        out << "the host took " << seconds(calls.host) << " s, clients took "
            << seconds(calls.client) << " s of their own\n";
    return out.str();
}

std::string Statistics::json() const
{
    JsonWriter out;
    const auto counts = [&](const Row &of) {
        out.number("calls", static_cast<std::int64_t>(of.calls));
        out.number("again", static_cast<std::int64_t>(of.again));
    };
    const auto times = [&](const Row &of) {
        for (const auto &[name, time] :
             {std::pair("host", of.host), std::pair("client", of.client)}) {
            if (timed_)
                out.seconds(name, time);
        }
    };
    out.begin('{');
    counts(total(true));
    out.number("hostCalls", static_cast<std::int64_t>(total(false).calls));
    times(total(true));
    out.key("procedures");
    out.begin('[');
    for (const Row &each : sorted()) {
        out.begin('{');
        out.text("procedure", each.procedure->name);
        counts(each);
        out.number("arguments", static_cast<std::int64_t>(each.arguments));
        out.number("answers", static_cast<std::int64_t>(each.answers));
        times(each);
        out.end('}');
    }
    out.end(']');
    out.end('}');
    return out.take();
}

} // namespace velt::host
