// The host waits, serves, and keeps the clients' turns.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "apilib/unix/process.h"
#include "apilib/unix/transport/transport.h"
#include "host/host.h"
#include "host/owned.h"
#include "host/text.h"
#include "velt/api.h"

namespace velt::host
{
namespace
{

using std::chrono::milliseconds;

// The end of a process shows on no descriptor.
constexpr milliseconds look_interval(10);

} // namespace

void Host::serve(milliseconds duration)
{
    const auto until = Clock::now() + duration;
    serve_until([=] { return Clock::now() >= until; }, duration);
}

void Host::serve_pending()
{
    wait_and_dispatch({});
    for (Client &client : clients_)
        look_after(client);
    run_actions();
}

// A person who reads an alert makes no client late, nor does another client's turn within this one.
bool Host::serve_until(const std::function<bool()> &done, milliseconds limit)
{
    const auto began = Clock::now();
    const auto excused = excused_;
    const auto is_done = [&] {
        for (Client &client : clients_)
            look_after(client);
        if (done())
            return true;
        run_actions();
        return done();
    };
    bool over = false;
    for (;;) {
        const bool well = is_done();
        // This process may have been stopped: what has come meanwhile has come in time.
        if (well || over) {
            excused_ = excused + (Clock::now() - began);
            return well;
        }
        const auto left = limit - (Clock::now() - began - (excused_ - excused));
        over = left <= Clock::duration::zero();
        wait_and_dispatch(
            std::clamp<Clock::duration>(left, Clock::duration::zero(), look_interval));
    }
}

void Host::run_actions()
{
    const auto ready = [](const Action &action) {
        return !action.client || !action.client->running || !action.client->holds_control();
    };
    while (answering_ == 0) {
        const auto first = std::ranges::find_if(actions_, ready);
        if (first == actions_.end())
            return;
        const auto run = std::move(first->run);
        actions_.erase(first);
        run();
    }
}

void Host::after_reply(std::function<void()> action)
{
    actions_.push_back({nullptr, std::move(action)});
}

bool Host::interrupted() const
{
    return !ending_ && options_.interrupts && options_.interrupts() > 0;
}

void Host::wait_and_dispatch(Clock::duration limit)
{
    transport_wait(nullptr, static_cast<int>(std::chrono::ceil<milliseconds>(limit).count()));
    if (interrupted())
        throw HostError("interrupted");
    transport_dispatch();
    if (!ending_ && options_.port_mapper->name().empty() && Clock::now() >= next_check_)
        register_again();
}

IntT Host::Person::alert(int client, const std::string &message, IntT type)
{
    const auto began = Clock::now();
    const IntT answer = host.desk_.alert(client, message, type);
    host.excused_ += Clock::now() - began;
    return answer;
}

// What the transport tells. No exception may leave: it is between these and the host.

void Host::heard(void *host, const char *what)
try {
    static_cast<Host *>(host)->desk_.report(what);
} catch (const std::exception &) {
    return;
}

void Host::report_stranger(const std::string &kind, const std::string &what)
{
    const auto now = Clock::now();
    const auto [last, is_new] = strangers_.try_emplace(kind, now);
    if (!is_new && now - last->second < std::chrono::minutes(1))
        return;
    last->second = now;
    desk_.report(what);
}

void Host::connection_closed(void *context, SVCXPRT *connection)
try {
    Host &host = *static_cast<Host *>(context);
    Client *client = host.on_connection(connection->xp_fd);
    if (!client)
        return;
    client->connection = -1;
    client->lost = true;
    if (!client->process)
        host.gone(*client);
} catch (const std::exception &) {
    return;
}

// The client answers each call of the host with an empty reply; they come in order.
void Host::replied(void *context, const rpc_err &error)
try {
    Client &client = *static_cast<Client *>(context);
    Host &host = *client.host;
    if (error.re_status == RPC_CANTRECV || error.re_status == RPC_TIMEDOUT ||
        error.re_status == RPC_CANTDECODERES) {
        if (error.re_status != RPC_CANTRECV)
            host.report(client, error.re_status == RPC_TIMEDOUT
                                    ? "does not take what it is sent; it is called no more"
                                    : "sent a reply that is none; it is called no more");
        client.lost = true;
        return host.disconnect(client);
    }
    if (error.re_status == RPC_SUCCESS || client.turns.empty())
        return;
    client.refusal = clnt_sperrno(error.re_status);
    host.trace_return(client, client.turns.back(), client.refusal);
    client.turns.pop_back();
} catch (const std::exception &) {
    return;
}

void Host::connect(Client &client)
{
    client.connect_tried = true;
    const sockaddr_in address =
        on_loopback(options_.port_mapper->find(client.program, client.version, IPPROTO_TCP));
    if (address.sin_port)
        client.handle = transport_connect(address, client.program, client.version, connect_limit);
    if (!client.handle)
        return report(client, clnt_spcreateerror("its service cannot be reached"));
    client.host = this;
    transport_on_reply(client.handle, replied, &client);
}

void Host::disconnect(Client &client)
{
    if (client.handle)
        clnt_destroy(client.handle);
    client.handle = nullptr;
}

void Host::look_after(Client &client)
{
    if (!client.running)
        return;
    if (client.process ? client.process->ended() : !lives(client.pid, client.process_start))
        gone(client);
    else if (client.lost && !client.turns.empty() &&
             !(client.process && client.process->is_ending()))
        lost(client);
    else if (client.acknowledged && !client.connect_tried)
        connect(client);
}

// Without its connections it cannot hand control back.
void Host::lost(Client &client)
{
    report(client, "lost its connection while it held control in " +
                       std::string(client.turns.back().procedure));
    for (; !client.turns.empty(); client.turns.pop_back())
        trace_return(client, client.turns.back(), "lost its connection");
}

void Host::gone(Client &client)
{
    client.running = false;
    client.connection = -1; // it may not have been closed on this side
    if (client.process)
        client.exit_status = client.process->status();
    disconnect(client);
    options_.port_mapper->unset(client.program, client.version);
    model_.forget_subscriptions(client.caller.number);
    const std::string how = describe_exit(client.exit_status);
    const bool normal = client.leaving && client.exit_status.value_or(0) == 0;
    if (!client.turns.empty())
        client.ended_in = client.turns.back().procedure;
    if (!client.turns.empty())
        report(client, client.ending());
    else if (client.acknowledged && !normal)
        report(client, how + (client.leaving ? "" : ", unasked"));
    while (!client.turns.empty()) {
        trace_return(client, client.turns.back(), how);
        client.turns.pop_back();
    }
    if (client.quitting)
        trace_return(client, *client.quitting, how);
}

void Host::report(const Client &client, const std::string &what)
{
    desk_.report(client.title() + ": " + what);
}

Client *Host::on_connection(int descriptor)
{
    const auto found = std::ranges::find(clients_, descriptor, &Client::connection);
    return found == clients_.end() ? nullptr : &*found;
}

void Host::acknowledge(int connection, IntT pid)
{
    if (const Client *known = on_connection(connection)) {
        report(*known, "acknowledged a second time");
        return;
    }
    const auto expected = [pid](const Client &client) {
        if (!client.running || client.acknowledged || pid <= 0)
            return false;
        return client.process ? client.process->includes(pid) : client.pid == pid;
    };
    const auto client = std::ranges::find_if(clients_, expected);
    if (client == clients_.end()) {
        report_stranger("acknowledgement", "process " + std::to_string(pid) +
                                               " acknowledged, but no client is expected");
        return;
    }
    client->acknowledged = true;
    client->connection = connection;
    client->pid = pid;
    if (client->process)
        client->process->set_id(pid);
}

// The reply may have been lost, and the process asks again: it gets the same answer.
void Host::take_in(const VqRpcApiConnectArgT &wish, VqRpcApiConnectReturnT &reply)
{
    reply.status = options_.connect_refusal;
    const std::string name = printable(wish.name);
    if (reply.status == ok && wish.pid <= 0)
        reply.status = bad_value;
    if (reply.status != ok) {
        report_stranger("wish", "process " + std::to_string(wish.pid) + " (" + name +
                                    ") was not taken in: status " + std::to_string(reply.status));
        return;
    }
    const auto asks_again = [&](const Client &client) {
        return client.running && !client.process && !client.acknowledged && client.pid == wish.pid;
    };
    auto client = std::ranges::find_if(clients_, asks_again);
    if (client == clients_.end()) {
        int number = 0;
        for (const Client &each : clients_)
            number = std::max(number, each.caller.number + 1);
        add_client(number, name);
        client = std::prev(clients_.end());
        client->pid = wish.pid;
        client->process_start = start_of(wish.pid);
    }
    std::array<char, 256> machine{"localhost"};
    if (options_.port_mapper->name().empty())
        gethostname(machine.data(), machine.size() - 1);
    reply.myprog = static_cast<IntT>(client->program);
    reply.myvers = static_cast<IntT>(client->version);
    reply.hisprog = static_cast<IntT>(program_);
    reply.hisvers = static_cast<IntT>(service_version);
    reply.hispid = getpid();
    reply.hostName = owned_string(machine.data());
}

Turn &Host::begin_turn(Client &client, std::string_view procedure, unsigned number)
{
    client.breach_reported = false;
    return client.turns.emplace_back(Turn{.procedure = procedure,
                                          .number = number,
                                          .since = Clock::now(),
                                          .id = ++client.turns_begun});
}

void Host::take_over(Client &client)
{
    if (client.holds_control())
        report(client, "took control, which it holds already");
    else
        begin_turn(client, procedure::api_vq_take_control_1::name,
                   procedure::api_vq_take_control_1::number);
}

void Host::hand_over(Client &client, bool bailout)
{
    client.leaving |= bailout;
    if (!client.holds_control()) {
        report(client, "handed control back without holding it");
        return;
    }
    const Turn turn = client.turns.back();
    client.turns.pop_back();
    client.last_ended = turn.id;
    client.breach_reported = false;
    trace_return(client, turn, "handed control back");
    if (turn.late)
        report(
            client,
            "handed control back late, " +
                std::to_string(
                    std::chrono::duration_cast<milliseconds>(Clock::now() - turn.since).count()) +
                " ms after " + std::string(turn.procedure));
    if (!turn.ends_modal_wait)
        return;
    const auto waiting = std::find_if(client.turns.rbegin(), client.turns.rend(),
                                      [](const Turn &each) { return each.modal_wait; });
    if (waiting != client.turns.rend())
        waiting->modal_wait = false;
}

void Host::begin_modal_wait(Client &client)
{
    if (client.holds_control())
        client.turns.back().modal_wait = true;
}

void Host::check_turn(Client &client, std::string_view procedure)
{
    if (client.holds_control() || client.breach_reported)
        return;
    // Once a stretch: a client that goes on is not heard of a thousand times.
    client.breach_reported = true;
    report(client, "called " + std::string(procedure) + " while the host holds control");
}

void Host::trace_return(const Client &client, const Turn &turn, const std::string &outcome)
{
    if (!options_.trace)
        return;
    TraceEvent event{std::chrono::system_clock::now(),
                     client.caller.number,
                     Direction::from_client,
                     turn.procedure,
                     turn.number,
                     static_cast<std::size_t>(std::ranges::count_if(
                         client.turns, [&](const Turn &each) { return each.id < turn.id; }))};
    event.outcome = outcome;
    event.duration = Clock::now() - turn.since;
    options_.trace(event);
}

} // namespace velt::host
