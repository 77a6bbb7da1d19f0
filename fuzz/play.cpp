// Fuzzes what plays recordings and scenarios: whatever a file says and whatever the clients do,
// which is mostly what was recorded, the host comes to an end, and either tells a difference or has
// played all that there is.

#include <deque>
#include <list>
#include <map>
#include <sstream>
#include <vector>

#include "apilib/wire/routines.h"
#include "fuzz/input.h"
#include "host/console/console.h"
#include "host/scenario/pattern.h"
#include "host/scenario/player.h"
#include "host/scenario/replay.h"
#include "host/session/host.h"
#include "host/wire/procedures.h"
#include "mock/memory_link.h"
#include "velt/vde/language.h"

// The callbacks that every client defines; none is called.
void V_ApiInitialize(IntT) {}
void V_ApiCommand(IntT) {}

namespace velt::host
{
namespace
{

// The turns of all clients together, of which each may stand within the one before; the clients.
constexpr std::size_t most_turns = 50, most_clients = 8;

struct Nobody : Console, Responder {
    Reply ask(const Question &) override { return {}; }
    void report(const std::string &) override {}
    Reaction respond(Call &) override { return Reaction::answer; }
    void client_exited(int) override {}
};

// What a client does in its turns, one after the other: calls, with their arguments as they are
// sent.
struct Made {
    rpcproc_t procedure;
    std::string arguments;
};
using Turns = std::deque<std::vector<Made>>;

// A client in this process. It does the next turn when the host calls it, as soon as it has no call
// of its own under way.
class Peer
{
public:
    Peer(Host &host, int number, const std::string &name, Turns &turns)
        : host_(host), turns_(turns),
          to_host_(
              -1 - number_of_next(),
              {.serve = [this](svc_req &request) { host_.dispatch(&request, request.rq_xprt); },
               .ended = [this] { lost_ = client.leaving = true; }}),
          to_client_(-1 - made, {.serve = [this](svc_req &request) { serve(request); }}),
          client(host.adopt(number, name, to_client_.handle(), -1 - made))
    {
    }

private:
    static int number_of_next() { return ++made; }

    void serve(svc_req &request)
    {
        svc_sendreply(request.rq_xprt, routine<void>(), nullptr);
        called_++;
        if (!client.being_answered)
            work();
    }
    void work()
    {
        for (; called_ > 0 && !turns_.empty() && !lost_; called_--) {
            const std::vector<Made> turn = std::move(turns_.front());
            turns_.pop_front();
            for (const Made &each : turn) {
                if (lost_)
                    return;
                to_host_.send(each.procedure, each.arguments);
            }
        }
    }

    static inline int made = 0;
    Host &host_;
    Turns &turns_;
    mock::MemoryLink to_host_, to_client_;
    bool lost_ = false;
    int called_ = 0; // calls of the host that are still to be served

public:
    Client &client;
};

Options options_of(TraceSink trace)
{
    Options options;
    options.in_process = true;
    options.trace = std::move(trace);
    return options;
}

std::unique_ptr<std::istream> stream_of(std::string_view text)
{
    return std::make_unique<std::istringstream>(std::string(text));
}

// Returns what the clients do in a recording, with one call left out and one made twice; and how
// many calls there are.
std::size_t read_turns(std::string_view text, int left_out, int twice, std::map<int, Turns> &turns)
{
    Recording recording(stream_of(text), "recording");
    const SessionText session(recording.language());
    std::size_t calls = 0, all = 0;
    while (const auto event = recording.next()) {
        Turns &of = turns[event->client];
        if (event->kind == RecordedEvent::host_call) {
            if (all++ < most_turns)
                of.emplace_back();
        } else if (event->kind == RecordedEvent::call) {
            Message argument(event->procedure->argument);
            try {
                fill(event->procedure->argument, argument.address(), event->arguments, session);
            } catch (const JsonError &) {
            }
            const int number = static_cast<int>(++calls);
            for (int times = number == left_out ? 0 : number == twice ? 2 : 1; times > 0; times--)
                if (!of.empty())
                    of.back().push_back({event->procedure->number,
                                         encoded(event->procedure->argument, argument.address())});
        }
    }
    return calls;
}

void replay(std::string_view text, unsigned flags, int left_out, int twice)
{
    static const Place place;
    std::map<int, Turns> turns;
    const std::size_t calls = read_turns(text, left_out, twice, turns);
    const bool updates = (flags & 4) != 0;
    const std::string path = updates ? place.write("recording", text) : "recording";
    Recording recording(stream_of(text), path);
    const SessionText session(recording.language());
    std::optional<Update> update;
    if (updates)
        update.emplace(recording);
    std::list<Peer> peers;
    Replay replay(
        recording, session, static_cast<KeptOrder>(flags % 3),
        [&](Host &host, int number, const std::string &name) {
            if (peers.size() == most_clients)
                velt::fail("too many clients");
            peers.emplace_back(host, number, name, turns[number]);
        },
        updates ? &*update : nullptr);
    Nobody nobody;
    Host host(options_of([&](const TraceEvent &event) { replay.observe(event); }), replay, nobody);
    replay.run(host);
    host.end();
    replay.compare_exits();
    require(updates || !replay.difference().empty() || replay.calls() == calls,
            "a replay without a difference has had all calls");
}

void play(std::string_view text, std::string_view called)
{
    constexpr rpcproc_t first_number = 1000;
    constexpr char end_of_turn = '\xFF';
    Scenario scenario = parse_scenario(text, "scenario", V_language_usenglish);
    Turns turns(1);
    for (const char each : called) {
        const auto *procedure =
            find_procedure(host_procedures(), first_number + static_cast<unsigned char>(each));
        if (each == end_of_turn)
            turns.emplace_back();
        else if (Message zeros(procedure ? procedure->argument : bytes_of_message); procedure)
            turns.back().push_back(
                {procedure->number, encoded(procedure->argument, zeros.address())});
    }
    const SessionText session(V_language_usenglish);
    Nobody nobody;
    ScenarioPlayer player(nobody, session);
    player.add(std::move(scenario));
    std::optional<Peer> peer;
    Host host(options_of([&](const TraceEvent &event) { player.observe(event); }), player, nobody);
    peer.emplace(host, 1, "client", turns);
    host.initialise(peer->client, 1);
    while (!turns.empty() && peer->client.running() && !peer->client.leaving) {
        const std::size_t before = turns.size();
        host.command(peer->client, 1);
        if (turns.size() == before)
            break;
    }
    require(player.take_misses().size() <= player.failures().size() + called.size(),
            "no more is missed than is told");
    host.end();
}

} // namespace
} // namespace velt::host

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const unsigned flags = input.byte();
    try {
        if (flags & 8) {
            const std::string_view called = input.take(input.byte() % 64U);
            velt::host::play(input.rest(), called);
        } else {
            const int left_out = input.byte(), twice = input.byte();
            velt::host::replay(input.rest(), flags, left_out, twice);
        }
    } catch (const velt::Error &) {
        // It is told what is wrong.
    }
    return 0;
}
