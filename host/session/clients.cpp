#include "host/session/clients.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

#include "apilib/unix/process.h"
#include "apilib/unix/transport/transport.h"
#include "common/printable.h"
#include "host/session/event_loop.h"
#include "host/session/tracing.h"
#include "host/values/owned.h"
#include "host/values/status.h"

namespace velt::host
{

namespace
{

using State = Client::State;
using Clock = std::chrono::steady_clock;

// The longest time for which an end can escape that shows on no descriptor and to no wait.
constexpr std::chrono::seconds longest_look_interval(1);

bool is_unsettled(State state)
{
    return state != State::connected && state != State::exited;
}

// The processor time of this process, which other processes do not prolong.
Clock::duration processor_time()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

} // namespace

Client *Clients::find(int number)
{
    // The search begins at the end, because a number may be used again when its client has exited.
    const auto found = std::ranges::find(all_.rbegin(), all_.rend(), number, &Client::number);
    return found == all_.rend() ? nullptr : &*found;
}

Client *Clients::calling_on(int descriptor)
{
    const auto found = callers_.find(descriptor);
    return found == callers_.end() ? nullptr : found->second;
}

bool Clients::any_running() const
{
    return std::ranges::any_of(all_, &Client::running);
}

Client &Clients::add(int number, const std::string &name)
{
    const UIntT program = free_program(registrations_.mapper(), [this](UIntT wanted) {
        return std::ranges::any_of(
            all_, [=](const Client &each) { return each.running() && each.program == wanted; });
    });
    Client &client = all_.emplace_back();
    client.number = number;
    client.name = name;
    client.program = program;
    unsettled_++;
    return client;
}

void Clients::enter(Client &client, State state)
{
    unsettled_ -= is_unsettled(client.state);
    unsettled_ += is_unsettled(state);
    client.state = state;
}

void Clients::set_caller(Client &client, int descriptor)
{
    if (client.caller == descriptor)
        return;
    callers_.erase(client.caller);
    client.caller = descriptor;
    if (descriptor != -1)
        callers_[descriptor] = &client;
}

void Clients::end_process(Client &client)
{
    if (client.process && !client.process->end())
        reports_.of(client, client.process->left_behind());
    client.process.reset();
}

void Clients::remove(Client &client)
{
    end_process(client);
    client.connection.close();
    registrations_.mapper().unset(client.program, client.version);
    set_caller(client, -1);
    enter(client, State::exited);
    all_.remove_if([&](const Client &each) { return &each == &client; });
}

void Clients::acknowledge(int descriptor, IntT pid)
{
    if (const Client *known = calling_on(descriptor))
        return reports_.of(*known, "acknowledged a second time");
    const auto expected = [pid](const Client &client) {
        if (client.state != State::started || pid <= 0)
            return false;
        return client.process ? client.process->includes(pid) : client.pid == pid;
    };
    const auto client = std::ranges::find_if(all_, expected);
    if (client == all_.end())
        return reports_.unknown_process("acknowledgement",
                                        "process " + std::to_string(pid) +
                                            " acknowledged, but no client is expected");
    enter(*client, State::acknowledged);
    set_caller(*client, descriptor);
    client->pid = pid;
    if (client->process)
        client->process->set_id(pid);
}

// A process whose reply was lost asks again, and gets the same answer.
void Clients::admit(const VqRpcApiConnectArgT &request, UIntT host_program,
                    VqRpcApiConnectReturnT &reply)
{
    reply.status = responder_.admit(request.pid);
    const std::string name = printable(request.name);
    if (reply.status == ok && request.pid <= 0)
        reply.status = bad_value;
    if (reply.status != ok)
        return reports_.unknown_process("request", "process " + std::to_string(request.pid) + " (" +
                                                       name + ") was not admitted: status " +
                                                       std::to_string(reply.status));
    const auto asks_again = [&](const Client &each) {
        return each.state == State::started && !each.process && each.pid == request.pid;
    };
    const auto known = std::ranges::find_if(all_, asks_again);
    Client *client = known == all_.end() ? nullptr : &*known;
    if (!client) {
        int number = 0;
        for (const Client &each : all_)
            number = std::max(number, each.number + 1);
        client = &add(number, name);
        client->pid = request.pid;
        client->process_start = start_of(request.pid);
    }
    std::array<char, 256> machine{"localhost"};
    if (registrations_.are_the_machines())
        gethostname(machine.data(), machine.size() - 1);
    reply.myprog = static_cast<IntT>(client->program);
    reply.myvers = static_cast<IntT>(client->version);
    reply.hisprog = static_cast<IntT>(host_program);
    reply.hisvers = static_cast<IntT>(service_version);
    reply.hispid = getpid();
    reply.hostName = owned_string(machine.data());
}

void Clients::connection_closed(int descriptor)
{
    Client *client = calling_on(descriptor);
    if (!client)
        return;
    set_caller(*client, -1);
    enter(*client, std::max(client->state, State::lost));
    if (!client->process)
        note_exit(*client);
}

void Clients::look_after()
{
    // To look for one ended process takes the system a look at each child of this one, so that with
    // many clients it is done only after one has ended, and now and then for what escapes that
    // look. While all are connected that is not even asked, since each call of a client would bring
    // one of the system with it.
    const bool ends = Clock::now() >= look_again_ || (unsettled_ > 0 && a_child_has_ended());
    if (!ends && unsettled_ == 0 && !options_.in_process)
        return;
    const auto began = ends ? processor_time() : Clock::duration{};
    for (Client &client : all_)
        look_after(client, ends);
    if (!ends)
        return;
    if (!options_.in_process)
        reap_orphans();
    // The time for all of them grows with the square of their number: a fiftieth of the processor's
    // is enough.
    look_again_ =
        Clock::now() + std::clamp<Clock::duration>(50 * (processor_time() - began),
                                                   EventLoop::look_interval, longest_look_interval);
}

void Clients::look_after(Client &client, bool ends)
{
    if (!client.running()) {
        if (ends && client.process)
            client.process->group_ended(); // what it has left behind is waited for
        return;
    }
    if (client.in_process ? client.is_going()
                          : ends && (client.process ? client.process->ended()
                                                    : !lives(client.pid, client.process_start)))
        note_exit(client);
    else if (client.state == State::lost && !client.turns.empty() && !may_yet_end(client))
        note_loss(client);
    else if (client.state == State::acknowledged)
        connect(client);
}

void Clients::connect(Client &client)
{
    const sockaddr_in service =
        on_loopback(registrations_.mapper().find(client.program, client.version, IPPROTO_TCP));
    if (service.sin_port &&
        client.connection.open(service, client.program, client.version,
                               [this, &client](const rpc_err &error) { replied(client, error); })) {
        enter(client, State::connected);
    } else if (!client.process || !client.process->is_ending()) {
        // One that is ending is told of by its end, and tried again until then.
        enter(client, State::lost);
        reports_.of(client, clnt_spcreateerror("its service cannot be reached"));
    }
}

// The client answers each call of the host with an empty reply; the replies come in order.
void Clients::replied(Client &client, const rpc_err &error)
{
    if (error.re_status == RPC_CANTRECV || error.re_status == RPC_TIMEDOUT ||
        error.re_status == RPC_CANTDECODERES) {
        if (error.re_status != RPC_CANTRECV)
            reports_.of(client, error.re_status == RPC_TIMEDOUT
                                    ? "does not take what it is sent; it is called no more"
                                    : "sent a reply that is none; it is called no more");
        enter(client, std::max(client.state, State::lost));
        return client.connection.close();
    }
    if (error.re_status == RPC_SUCCESS || client.turns.empty())
        return;
    client.rpc_error = clnt_sperrno(error.re_status);
    trace_return(options_.trace, client, client.turns.innermost(), client.rpc_error);
    client.turns.break_off();
}

void Clients::break_off_turns(Client &client, const std::string &outcome)
{
    while (const std::optional<Turn> turn = client.turns.break_off())
        trace_return(options_.trace, client, *turn, outcome);
}

// Most clients end when their connection does, and how is what a person wants to know: they have
// the time for it that they have after a call to quit.
bool Clients::may_yet_end(Client &client) const
{
    const auto now = Clock::now();
    if (!client.lost_since)
        client.lost_since = now;
    return client.process &&
           (now - *client.lost_since < options_.exit_limit || client.process->is_ending());
}

// A client that has lost a connection cannot hand control back.
void Clients::note_loss(Client &client)
{
    reports_.of(client, "lost its connection while it held control in " +
                            std::string(client.turns.innermost().procedure));
    break_off_turns(client, "lost its connection");
}

void Clients::note_exit(Client &client)
{
    // Whoever starts a client tells of one that did not come up.
    const bool came_up = client.reached(client.process ? State::connected : State::acknowledged);
    enter(client, State::exited);
    set_caller(client, -1); // the connection may still be open on this side
    if (client.process)
        client.exit_status = client.process->status();
    client.connection.close();
    registrations_.mapper().unset(client.program, client.version);
    responder_.client_exited(client.number);
    if (!client.turns.empty())
        client.ended_in = client.turns.innermost().procedure;
    const bool normal = client.leaving && client.exit_status.value_or(0) == 0;
    if (!client.turns.empty())
        reports_.of(client, client.ending());
    else if (came_up && !normal)
        reports_.of(client, client.ending() + (client.leaving ? "" : ", unasked"));
    const std::string how = describe_exit(client.exit_status);
    break_off_turns(client, how);
    if (client.quitting)
        trace_return(options_.trace, client, *client.quitting, how);
}

} // namespace velt::host
