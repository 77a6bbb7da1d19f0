// The host waits, serves, and keeps the clients' turns.

#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <vector>

#include "apilib/routines.h"
#include "apilib/unix/transport.h"
#include "host/host.h"
#include "host/text.h"
#include "velt/api.h"

namespace velt::host
{
namespace
{

using std::chrono::milliseconds;

// The end of a process shows on no descriptor.
constexpr milliseconds look_interval(10);

constexpr std::size_t longest_reply = 4096;

bool awaited(int descriptor)
{
    const fd_set set = transport_descriptors();
    return descriptor < FD_SETSIZE && FD_ISSET(descriptor, &set);
}

} // namespace

void Host::serve(milliseconds duration)
{
    const auto until = Clock::now() + duration;
    serve_until([=] { return Clock::now() >= until; }, duration);
}

// Only the host's own waiting counts: a person who reads an alert makes no client late.
bool Host::serve_until(const std::function<bool()> &done, milliseconds limit)
{
    Clock::duration left = limit;
    for (;;) {
        for (Client &client : clients_)
            look_after(client);
        if (done())
            return true;
        run_actions();
        if (done())
            return true;
        if (left <= Clock::duration::zero())
            return false;
        left -= wait_and_dispatch(std::min<Clock::duration>(left, look_interval));
    }
}

void Host::run_actions()
{
    const auto ready = [](const Action &action) {
        return !action.client || !action.client->running || !action.client->holds_control();
    };
    while (answering_.empty()) {
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

Host::Clock::duration Host::wait_and_dispatch(Clock::duration limit)
{
    std::vector<pollfd> waits;
    for (int fd = 0; fd < FD_SETSIZE; fd++)
        if (awaited(fd) && std::ranges::find(answering_, fd) == answering_.end())
            waits.push_back({fd, POLLIN, 0});
    const std::size_t services = waits.size();
    for (const Client &client : clients_)
        if (client.socket >= 0)
            waits.push_back({client.socket, POLLIN, 0});

    const std::size_t this_wait = ++waits_;
    const auto began = Clock::now();
    const auto time = std::chrono::ceil<milliseconds>(limit).count();
    const int ready = poll(waits.data(), waits.size(), static_cast<int>(time));
    const auto waited = Clock::now() - began;
    if (options_.interrupted && options_.interrupted())
        throw HostError("interrupted");

    // An answer that has served in its turn may have taken what was ready here.
    for (std::size_t i = 0; ready > 0 && i < waits.size() && waits_ == this_wait; i++) {
        if (waits[i].revents == 0)
            continue;
        if (i < services) {
            dispatch_on(waits[i].fd);
            continue;
        }
        for (Client &client : clients_)
            if (client.socket == waits[i].fd)
                read_replies(client);
    }
    return waited;
}

void Host::dispatch_on(int descriptor)
{
    // What was dispatched before may have closed it.
    if (!awaited(descriptor))
        return;
    fd_set one;
    FD_ZERO(&one);
    FD_SET(descriptor, &one);
    transport_dispatch(one);
    if (awaited(descriptor))
        return;
    if (Client *client = on_connection(descriptor)) {
        client->connection = -1;
        if (!client->process)
            gone(*client);
    }
}

// The client answers each call of the host with an empty reply; they come in order.
void Host::read_replies(Client &client)
{
    std::array<char, 4096> block;
    const ssize_t got = recv(client.socket, block.data(), block.size(), MSG_DONTWAIT);
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (got <= 0) {
        disconnect(client);
        return;
    }
    client.replies.append(block.data(), static_cast<std::size_t>(got));
    while (client.replies.size() >= 4) {
        uint32_t mark;
        std::memcpy(&mark, client.replies.data(), 4);
        mark = ntohl(mark);
        const std::size_t length = mark & 0x7FFFFFFF;
        if (!(mark & 0x80000000) || length > longest_reply) {
            report(client, "sent a reply that is none; it is called no more");
            disconnect(client);
            return;
        }
        if (client.replies.size() < 4 + length)
            return;
        std::string record = client.replies.substr(4, length);
        client.replies.erase(0, 4 + length);
        take_reply(client, record);
    }
}

void Host::take_reply(Client &client, std::string &record)
{
    rpc_msg message{};
    message.rm_reply.rp_acpt.ar_results.proc = routine<void>();
    XDR xdrs;
    xdrmem_create(&xdrs, record.data(), static_cast<u_int>(record.size()), XDR_DECODE);
    rpc_err error{};
    if (xdr_replymsg(&xdrs, &message))
        _seterr_reply(&message, &error);
    else
        error.re_status = RPC_CANTDECODERES;
    xdr_destroy(&xdrs);
    if (message.rm_reply.rp_stat == MSG_ACCEPTED && message.acpted_rply.ar_verf.oa_base) {
        xdrs = {};
        xdrs.x_op = XDR_FREE;
        xdr_opaque_auth(&xdrs, &message.acpted_rply.ar_verf);
    }
    if (error.re_status == RPC_SUCCESS || client.turns.empty())
        return;
    client.refusal = clnt_sperrno(error.re_status);
    trace_return(client, client.turns.back(), client.refusal);
    client.turns.pop_back();
}

void Host::connect(Client &client)
{
    client.connect_tried = true;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    client.handle = transport_connect(address, client.program, client.version, &client.socket);
    if (!client.handle) {
        report(client, clnt_spcreateerror("its service cannot be reached"));
        client.socket = -1;
        return;
    }
    setsockopt(client.socket, SOL_SOCKET, SO_SNDTIMEO, &send_limit, sizeof send_limit);
}

void Host::disconnect(Client &client)
{
    if (client.handle)
        clnt_destroy(client.handle);
    client.handle = nullptr;
    if (client.socket >= 0)
        close(client.socket);
    client.socket = -1;
    client.replies.clear();
}

void Host::look_after(Client &client)
{
    if (!client.running)
        return;
    if (client.process ? client.process->ended() : kill(client.pid, 0) != 0 && errno == ESRCH)
        gone(client);
    else if (client.acknowledged && !client.connect_tried)
        connect(client);
}

void Host::gone(Client &client)
{
    client.running = false;
    if (client.process)
        client.exit_status = client.process->status();
    disconnect(client);
    pmap_unset(client.program, client.version);
    model_.forget_subscriptions(client.caller.number);
    const std::string how = describe_exit(client.exit_status);
    const bool normal = client.leaving && client.exit_status.value_or(0) == 0;
    if (!client.turns.empty())
        report(client,
               how + " while it held control in " + std::string(client.turns.back().procedure));
    else if (client.acknowledged && !normal)
        report(client, how + (client.leaving ? "" : ", unasked"));
    while (!client.turns.empty()) {
        trace_return(client, client.turns.back(), how);
        client.turns.pop_back();
    }
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
        const pid_t group = client.process ? client.process->group() : client.pid;
        return pid == group || (client.process && getpgid(pid) == group);
    };
    const auto client = std::ranges::find_if(clients_, expected);
    if (client == clients_.end()) {
        desk_.report("process " + std::to_string(pid) + " acknowledged, but no client is expected");
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
        desk_.report("process " + std::to_string(wish.pid) + " (" + name +
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
    }
    std::array<char, 256> machine{};
    gethostname(machine.data(), machine.size() - 1);
    reply.myprog = static_cast<IntT>(client->program);
    reply.myvers = static_cast<IntT>(client->version);
    reply.hisprog = static_cast<IntT>(program_);
    reply.hisvers = static_cast<IntT>(service_version);
    reply.hispid = getpid();
    reply.hostName = V_ApiCopyString(machine.data());
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
