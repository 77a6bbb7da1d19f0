#include "tools/vqrecord/relay.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "apilib/unix/transport/connection.h"
#include "apilib/unix/transport/limits.h"
#include "apilib/unix/transport/transport.h"
#include "host/wire/procedures.h"

namespace velt::vqrecord
{
namespace
{

constexpr timeval connect_limit = {10, 0};
// For what a host has sent to a client that has ended; one may send without end.
constexpr timeval finish_limit = {10, 0};

// How long the next message is waited for without letting the processor go, in nanoseconds, and
// how often in a row.
constexpr Time spin_time = 50'000;
constexpr unsigned most_in_a_row = 16;

// Where a message has its direction, and a call what is called, in bytes.
constexpr std::size_t direction_at = 4, program_at = 12, procedure_at = 20, head_size = 24;

std::uint32_t word_at(const Message &message, std::size_t where)
{
    std::uint32_t word;
    std::memcpy(&word, message.bytes() + where, sizeof word);
    return ntohl(word);
}

void put_word(const Message &message, std::size_t where, std::uint32_t word)
{
    word = htonl(word);
    std::memcpy(message.bytes() + where, &word, sizeof word);
}

// Has the call name the program that it goes to, and an acknowledgement this process, which the
// host has started: it waits for this one, and signals go to it.
void readdress(const Message &call, const Route &route)
{
    using namespace host::procedure;
    if (call.size < head_size || word_at(call, direction_at) != CALL ||
        word_at(call, program_at) != route.offered)
        return;
    put_word(call, program_at, route.served);
    const rpcproc_t procedure = word_at(call, procedure_at);
    if (route.caller == Caller::client && call.size > head_size &&
        (procedure == api_vq_init_ack_5_1::number || procedure == api_vq_init_ack_4_1::number))
        put_word(call, call.size - sizeof(std::uint32_t), static_cast<std::uint32_t>(getpid()));
}

sockaddr_in peer_of(int descriptor)
{
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    getpeername(descriptor, reinterpret_cast<sockaddr *>(&peer), &size);
    return peer;
}

void send_at_once(int descriptor)
{
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

// Connects to the program behind a route, at a port or where the port mapper says; an empty
// descriptor when that fails.
Descriptor reach(const Route &route, in_port_t port)
{
    CLIENT *handle =
        transport_connect(on_loopback(port), route.served, route.version, connect_limit);
    if (!handle)
        return {};
    int descriptor = -1;
    clnt_control(handle, CLGET_FD, reinterpret_cast<char *>(&descriptor));
    clnt_control(handle, CLSET_FD_NCLOSE, nullptr);
    clnt_destroy(handle);
    return Descriptor(descriptor);
}

// Returns whether what could not be reached has ended, or is about to, which is not this program's
// doing.
bool has_ended()
{
    const int error = rpc_createerr.cf_error.re_errno;
    return rpc_createerr.cf_stat == RPC_PROGNOTREGISTERED || error == ECONNREFUSED ||
           error == ECONNRESET;
}

std::string name_of(Caller caller)
{
    return caller == Caller::client ? "the client" : "the host";
}

} // namespace

in_port_t Relay::listen(const Route &route, bool loopback)
{
    Descriptor made(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = loopback ? htonl(INADDR_LOOPBACK) : INADDR_ANY;
    auto *where = reinterpret_cast<sockaddr *>(&address);
    socklen_t size = sizeof address;
    if (!made || bind(made.get(), where, size) != 0 || ::listen(made.get(), SOMAXCONN) != 0 ||
        getsockname(made.get(), where, &size) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot create a TCP service");
    listeners_.push_back({.route = route, .descriptor = std::move(made)});
    return ntohs(address.sin_port);
}

void Relay::accept(Listener &from)
{
    Descriptor caller(accept4(from.descriptor.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!caller) {
        full_ = true;
        return;
    }
    const Peer peer = identify(caller.get(), peer_of(caller.get()), nullptr, 0);
    if (peer != Peer::trusted) {
        if (peer == Peer::unknown)
            break_off(std::string("turned away a connection: the system does not tell whose it "
                                  "is: ") +
                      std::strerror(errno));
        else if (peer != Peer::disconnected)
            watcher_.report("turned away a connection: only root and the same user may call");
        return;
    }
    Descriptor callee = reach(from.route, from.port);
    if (!callee) {
        const std::string what = name_of(from.route.caller) +
                                 " calls, but the program that it calls cannot be reached" +
                                 clnt_spcreateerror("");
        return has_ended() ? watcher_.report(what) : break_off(what);
    }
    send_at_once(caller.get());
    const bool is_first = from.port == 0;
    from.port = ntohs(peer_of(callee.get()).sin_port);
    Tunnel &made = tunnels_.emplace_back();
    made.route = from.route;
    made.number = ++made_;
    made.caller.descriptor = std::move(caller);
    made.callee.descriptor = std::move(callee);
    if (is_first)
        watcher_.connected(from.route.caller);
}

void Relay::send(Tunnel &tunnel, End &to, const Message &message)
{
    const std::uint32_t mark = htonl(static_cast<std::uint32_t>(message.size) | 0x80000000U);
    if (to.out.add(reinterpret_cast<const char *>(&mark), sizeof mark) < 0 ||
        to.out.add(message.bytes(), message.size) < 0)
        refuse(tunnel, std::string("a message cannot be passed on: ") + std::strerror(errno));
    else if (!to.out.send(to.descriptor.get()))
        lose(tunnel, to);
}

// Ends a connection, and with it all others, because of what one end is, or sends, or because
// something is lacking here.
void Relay::refuse(Tunnel &tunnel, const std::string &why)
{
    end(tunnel);
    break_off("ended a connection: " + why);
}

void Relay::break_off(const std::string &why)
{
    broken_ = true;
    watcher_.broke_off(why);
}

void Relay::end(Tunnel &tunnel)
{
    lose(tunnel, tunnel.caller);
    lose(tunnel, tunnel.callee);
}

// One end takes nothing more, so nothing is left that would have to go there.
void Relay::lose(Tunnel &tunnel, End &end)
{
    end.out = {};
    tunnel.caller.ended = tunnel.callee.ended = end.shut = true;
}

void Relay::move(Tunnel &tunnel, End &from, End &to)
{
    const bool calls = &from == &tunnel.caller;
    const Caller sender =
        calls == (tunnel.route.caller == Caller::client) ? Caller::client : Caller::host;
    const auto status = from.in.read(from.descriptor.get());
    if (!calls && !tunnel.proven) {
        // What has been accepted by a service is the service's, whose owner is known now.
        // One that has ended its side without a word is not asked for.
        tunnel.proven = true;
        const bool is_over = status == RecordReader::closed ||
                             (status == RecordReader::broken && from.in.error() == 0);
        const Callee callee =
            is_over ? Callee::trusted
                    : identify_callee(from.descriptor.get(), peer_of(from.descriptor.get()));
        if (callee == Callee::refused)
            return refuse(tunnel, "it leads to a program of another user");
        if (callee == Callee::gone || callee == Callee::unproven) {
            // The program has ended, or is just ending and still listens, or has only closed the
            // connection; none of that is this one's doing.
            if (from.in.has_record())
                watcher_.report(name_of(sender) +
                                " has closed the connection right after its first answer, which is "
                                "not handed on, since nothing tells any more whose it was");
            return end(tunnel);
        }
        if (callee != Callee::trusted)
            return refuse(tunnel, std::string("the system does not tell whose program answers: ") +
                                      std::strerror(error_of(callee)));
    }
    while (from.in.has_record() && !to.shut) {
        Message message = from.in.take();
        if (!message.block.data())
            break;
        if (calls)
            readdress(message, tunnel.route);
        send(tunnel, to, message);
        if (calls)
            watcher_.called(tunnel.route.caller, tunnel.number, message);
        else
            watcher_.answered(tunnel.route.caller, tunnel.number, message);
        from.in.give_back(std::move(message));
        // A client waits for its answer, and mostly calls again when it has that.
        if (tunnel.route.caller == Caller::client && tunnel.proven)
            next_ = {&tunnel, &to, &from};
    }
    if (const int error = from.in.error()) {
        refuse(tunnel, error == EMSGSIZE ? name_of(sender) + " sent a message of more than " +
                                               std::to_string(limits.record_in) + " bytes"
                                         : std::strerror(error));
    } else if (status == RecordReader::closed || status == RecordReader::broken) {
        from.ended = true;
    }
}

bool Relay::is_held(const Tunnel &tunnel, const End &end) const
{
    const bool is_client = (&end == &tunnel.caller) == (tunnel.route.caller == Caller::client);
    return is_client && client_is_ending_();
}

// Ends what goes to one end when the other has ended, and nothing is left that has to go there.
void Relay::close_ends(Tunnel &tunnel)
{
    for (const auto &[from, to] :
         {std::pair{&tunnel.caller, &tunnel.callee}, std::pair{&tunnel.callee, &tunnel.caller}}) {
        if (!from->ended || to->shut || !to->out.empty() || is_held(tunnel, *from))
            continue;
        shutdown(to->descriptor.get(), SHUT_WR);
        to->shut = true;
    }
    if (tunnel.callee.ended && !tunnel.told) {
        tunnel.told = true;
        watcher_.closed(tunnel.route.caller, tunnel.number);
    }
}

void Relay::watch(Tunnel &tunnel, End &from, End &to)
{
    // While the one has no room, the other is not read.
    const bool reads = !from.ended && to.out.empty();
    const auto events = static_cast<short>((reads ? POLLIN : 0) | (from.out.empty() ? 0 : POLLOUT));
    descriptors_.push_back({events ? from.descriptor.get() : -1, events, 0});
    watched_.push_back({&tunnel, &from, &to});
}

// The ends on which the host's calls come are looked at before those of the client's calls, and
// served after them: what the host has answered before it calls is then passed on before that call.
bool Relay::poll(int other, int limit)
{
    descriptors_.clear();
    watched_.clear();
    for (const Caller caller : {Caller::host, Caller::client})
        for (Tunnel &each : tunnels_)
            if (each.route.caller == caller) {
                watch(each, each.callee, each.caller);
                watch(each, each.caller, each.callee);
            }
    // While there is no descriptor for a connection, it waits, and it is not looked for in between.
    const bool rests = std::exchange(full_, false);
    if (rests && limit < 0)
        limit = static_cast<int>(retry_interval / 1'000'000);
    for (Listener &each : listeners_)
        descriptors_.push_back({rests ? -1 : each.descriptor.get(), POLLIN, 0});
    descriptors_.push_back({other, POLLIN, 0});
    if (::poll(descriptors_.data(), descriptors_.size(), limit) <= 0)
        return false;

    bool moved = false;
    for (std::size_t i = watched_.size(); i-- > 0;) {
        const auto &[tunnel, from, to] = watched_[i];
        const short events = descriptors_[i].events, ready = descriptors_[i].revents;
        if (ready == 0)
            continue;
        moved = true;
        if (events & POLLOUT && !from->out.send(from->descriptor.get()))
            lose(*tunnel, *from);
        if (events & POLLIN && ready & ~POLLOUT && !from->ended)
            move(*tunnel, *from, *to);
    }
    std::size_t i = watched_.size();
    for (Listener &each : listeners_)
        if (descriptors_[i++].revents != 0)
            accept(each);
    return moved;
}

// Waits shortly for the message that is expected, since to be woken takes longer than most answers
// do; but not where that was in vain just now. Other ends, which are not looked at meanwhile, get
// their turn after some messages.
bool Relay::move_next()
{
    const auto [tunnel, from, to] = std::exchange(next_, {});
    if (!tunnel || in_a_row_ == most_in_a_row || from->ended || !from->out.empty() ||
        !to->out.empty())
        return false;
    const Time until = now() + spin_time;
    if (from->slow > 0) {
        from->slow--;
        return false;
    }
    do
        move(*tunnel, *from, *to);
    while (!next_.tunnel && !from->ended && now() < until);
    if (!next_.tunnel)
        from->slow = most_in_a_row;
    return next_.tunnel != nullptr;
}

bool Relay::serve(int other)
{
    if (move_next()) {
        in_a_row_++;
        return false;
    }
    in_a_row_ = 0;
    close_ended();
    const bool moved = poll(other, -1);
    close_ended();
    return !moved || descriptors_.back().revents != 0;
}

// Closes what has ended, so that the other end learns of it. Once one connection lacks something,
// no other is left either: a client ends with its host, and need not be waited for.
void Relay::close_ended()
{
    if (broken_) {
        listeners_.clear();
        std::ranges::for_each(tunnels_, end);
    }
    for (Tunnel &each : tunnels_)
        close_ends(each);
    if (std::erase_if(tunnels_,
                      [](const Tunnel &each) { return each.caller.shut && each.callee.shut; }) > 0)
        next_ = {};
}

void Relay::finish()
{
    const Time until = after(finish_limit);
    while (poll(-1, 0) && now() < until)
        ;
}

} // namespace velt::vqrecord
