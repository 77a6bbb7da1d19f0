// The service: its listening socket, and the connections on which the peers' calls are answered.

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <netinet/tcp.h>
#include <new>
#include <sys/socket.h>
#include <type_traits>
#include <unistd.h>

#include "apilib/unix/transport/connection.h"
#include "apilib/unix/transport/limits.h"
#include "velt/api.h"

namespace velt
{
namespace
{

using Operations = std::remove_pointer_t<decltype(SVCXPRT::xp_ops)>;
using MoreOperations = std::remove_pointer_t<decltype(SVCXPRT::xp_ops2)>;

constexpr Time longest_turn = 5'000'000;

// A call of the peer that is being answered. They nest when a handler serves its own peer.
struct Call {
    XDR arguments{};
    std::uint32_t id = 0;
    bool answered = false;
    Call *outer = nullptr;
};

struct Served : Connection {
    SVCXPRT handle{};
    sockaddr_in peer;
    Listener *listener;
    Call *call = nullptr; // the innermost
    int depth = 0;        // of dispatches that are on the stack
    bool dead = false;    // to be released as soon as none is
    bool has_called = false;

    Served(int fd, const sockaddr_in &from, Listener &of);
};

Served &served(SVCXPRT *transport)
{
    return *static_cast<Served *>(transport->xp_p1);
}

Listener &listener(SVCXPRT *transport)
{
    return *static_cast<Listener *>(transport->xp_p1);
}

template <class F>
void each_served(F visit)
{
    for (Waiter *each = waiters; each; each = each->next)
        if (each->kind == Waiter::serving)
            visit(*static_cast<Served *>(each));
}

void end(Served &connection)
{
    if (!connection.dead) {
        connection.dead = true;
        unlink(connection);
        const Service &service = connection.listener->service;
        if (service.closed)
            service.closed(service.context, &connection.handle);
        close(connection.descriptor);
    }
    if (connection.depth == 0)
        unmake(&connection);
}

// The operations of a connection's handle.

bool_t receive(SVCXPRT *, rpc_msg *)
{
    return FALSE;
}

xprt_stat state(SVCXPRT *)
{
    return XPRT_IDLE;
}

bool_t get_arguments(SVCXPRT *transport, xdrproc_t decode, void *arguments)
{
    Call *call = served(transport).call;
    return call ? (*decode)(&call->arguments, arguments) : FALSE;
}

bool_t free_arguments(SVCXPRT *, xdrproc_t decode, void *arguments)
{
    XDR xdrs{};
    xdrs.x_op = XDR_FREE;
    return (*decode)(&xdrs, arguments);
}

bool_t reply(SVCXPRT *transport, rpc_msg *message)
{
    Served &to = served(transport);
    if (!to.call || to.call->answered || to.dead)
        return FALSE;
    RecordWriter writer(to.descriptor, to.chunk, &to.out, never);
    message->rm_xid = to.call->id;
    message->rm_direction = REPLY;
    if (xdr_replymsg(writer.xdrs(), message) && writer.finish()) {
        to.call->answered = true;
        to.pace();
        return TRUE;
    }
    // An answer that is out in part cannot be taken back. Instead of one that is too long or does
    // not encode the peer hears that there is none.
    if (writer.begun())
        end(to);
    else if (message->rm_reply.rp_stat == MSG_ACCEPTED && message->acpted_rply.ar_stat == SUCCESS)
        svcerr_systemerr(transport);
    return FALSE;
}

void destroy(SVCXPRT *transport)
{
    end(served(transport));
}

bool_t control(SVCXPRT *, u_int, void *)
{
    return FALSE;
}

constexpr Operations operations = {receive, state, get_arguments, reply, free_arguments, destroy};
constexpr MoreOperations more_operations = {control};

Served::Served(int fd, const sockaddr_in &from, Listener &of)
    : Connection(serving, fd), peer(from), listener(&of)
{
    static char network[] = "tcp";
    handle.xp_fd = fd;
    handle.xp_ops = &operations;
    handle.xp_ops2 = &more_operations;
    handle.xp_netid = network;
    handle.xp_rtaddr = {sizeof peer, sizeof peer, &peer};
    handle.xp_verf = _null_auth;
    handle.xp_p1 = this;
}

// Those of a service's own handle, on which nobody calls.

bool_t no_arguments(SVCXPRT *, xdrproc_t, void *)
{
    return FALSE;
}

bool_t no_reply(SVCXPRT *, rpc_msg *)
{
    return FALSE;
}

void destroy_listener(SVCXPRT *transport)
{
    Listener &gone = listener(transport);
    for (Waiter *each = waiters; each;) {
        auto *connection = each->kind == Waiter::serving ? static_cast<Served *>(each) : nullptr;
        each = each->next;
        if (connection && connection->listener == &gone) {
            end(*connection);
            // Who is told may have ended others.
            each = waiters;
        }
    }
    unlink(gone);
    close(gone.descriptor);
    unmake(&gone);
}

constexpr Operations listener_operations = {receive,  state,        no_arguments,
                                            no_reply, no_arguments, destroy_listener};

// Makes room for one more: the connection that has not called yet, and has been quiet for longest.
bool spare_one()
{
    Served *found = nullptr;
    // New ones stand in front.
    bool found_rests = false;
    each_served([&](Served &connection) {
        const bool rests = connection.in.at_rest() && connection.out.empty();
        if (!connection.has_called && connection.depth == 0 && rests >= found_rests) {
            found = &connection;
            found_rests = rests;
        }
    });
    if (found)
        end(*found);
    return found != nullptr;
}

bool is_room()
{
    UIntT all = 0;
    UIntT idle = 0;
    each_served([&](Served &connection) {
        all++;
        idle += !connection.has_called;
    });
    return all < limits.connections && idle < limits.idle_connections;
}

bool out_of_descriptors()
{
    return errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
}

void dispatch(Served &on, const rpc_msg &message)
{
    const call_body &body = message.rm_call;
    svc_req request{};
    request.rq_prog = body.cb_prog;
    request.rq_vers = body.cb_vers;
    request.rq_proc = body.cb_proc;
    request.rq_cred = body.cb_cred;
    request.rq_xprt = &on.handle;
    const Listener &to = *on.listener;
    if (body.cb_cred.oa_flavor != AUTH_NONE && body.cb_cred.oa_flavor != AUTH_SYS)
        return svcerr_auth(&on.handle, AUTH_REJECTEDCRED);
    if (body.cb_prog != to.program)
        return svcerr_noprog(&on.handle);
    if (body.cb_vers != to.version)
        return svcerr_progvers(&on.handle, to.version, to.version);
    on.has_called |= body.cb_proc != NULLPROC;
    to.service.dispatch(to.service.context, &request, &on.handle);
}

// False when what the peer has sent is no call.
bool answer(Served &on)
{
    Message record = on.in.take();
    on.deadline = never;
    on.pace();
    char credentials[MAX_AUTH_BYTES];
    char verifier[MAX_AUTH_BYTES];
    rpc_msg message{};
    message.rm_call.cb_cred.oa_base = credentials;
    message.rm_call.cb_verf.oa_base = verifier;
    Call call;
    record.open(call.arguments);
    const bool is_call = xdr_callmsg(&call.arguments, &message) != 0;
    if (is_call) {
        call.id = message.rm_xid;
        call.outer = on.call;
        on.call = &call;
        dispatch(on, message);
        on.call = call.outer;
        // While its call was served nothing of it was read.
        on.deadline = never;
    }
    xdr_destroy(&call.arguments);
    on.in.give_back(std::move(record));
    return is_call;
}

} // namespace

Listener::Listener(int fd, const Service &of) : Waiter(listener, fd), service(of)
{
    handle.xp_fd = fd;
    handle.xp_ops = &listener_operations;
    handle.xp_ops2 = &more_operations;
    handle.xp_verf = _null_auth;
    handle.xp_p1 = this;
}

void Listener::turn_away(Refusal why, const sockaddr_in &peer)
{
    static constexpr const char *reasons[] = {"the system does not tell whose it is",
                                              "only the host's machine may speak here",
                                              "only root and the same user may speak here",
                                              "there are too many connections", "no memory"};
    static_assert(std::size(reasons) == static_cast<int>(Refusal::count));
    // A peer that comes again and again is not heard of each time.
    Time &until = silent_until[static_cast<int>(why)];
    if (now() < until || !service.report)
        return;
    until = after_seconds(60);
    char text[160];
    char address[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &peer.sin_addr, address, sizeof address);
    std::snprintf(text, sizeof text, "turned away a connection from %s: %s", address,
                  reasons[static_cast<int>(why)]);
    service.report(service.context, text);
}

void accept_on(Listener &to)
{
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    const int fd = accept4(to.descriptor, reinterpret_cast<sockaddr *>(&peer), &size,
                           SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
        const bool passing = errno == EAGAIN || errno == EINTR || errno == ECONNABORTED;
        if (!passing && !(out_of_descriptors() && spare_one()))
            to.rests_until = now() + breather;
        return;
    }
    Speaker speaker = identify(fd, peer, to.machines, to.machine_count);
    if (speaker == Speaker::unknown && out_of_descriptors() && spare_one())
        speaker = identify(fd, peer, to.machines, to.machine_count);
    Served *made = nullptr;
    Refusal refusal = Refusal::no_memory;
    if (speaker != Speaker::trusted)
        refusal = speaker == Speaker::unknown     ? Refusal::unknown
                  : speaker == Speaker::elsewhere ? Refusal::elsewhere
                                                  : Refusal::stranger;
    else if (!is_room() && !spare_one())
        refusal = Refusal::too_many;
    else
        made = make<Served>(fd, peer, to);
    if (!made) {
        close(fd);
        if (speaker != Speaker::gone)
            to.turn_away(refusal, peer);
        return;
    }
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    link(*made);
}

void serve_calls(Connection &connection)
{
    auto &on = static_cast<Served &>(connection);
    on.depth++;
    bool goes = on.out.send(on.descriptor);
    if (goes && on.out.empty() && !on.in.has_record()) {
        const auto status = on.in.read(on.descriptor);
        goes = status != RecordReader::closed && status != RecordReader::broken;
    }
    // No more than what one read has brought, and not for long: others wait too.
    for (Time turn = 0; goes && can_read(on) && on.in.has_record() && (!turn || now() < turn);) {
        goes = answer(on);
        if (!turn && on.in.has_record())
            turn = now() + longest_turn;
    }
    on.depth--;
    if (!goes || on.dead)
        end(on);
    else
        on.pace();
}

bool can_read(const Connection &connection)
{
    const auto &on = static_cast<const Served &>(connection);
    return !on.dead && on.out.empty() && !(on.call && !on.call->answered);
}

void drop(Connection &connection)
{
    end(static_cast<Served &>(connection));
}

SVCXPRT *transport_listen(const Service &service, in_addr_t interface)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = interface;
    socklen_t size = sizeof address;
    auto *where = reinterpret_cast<sockaddr *>(&address);
    Listener *made = nullptr;
    if (fd >= 0 && bind(fd, where, size) == 0 && listen(fd, SOMAXCONN) == 0 &&
        getsockname(fd, where, &size) == 0)
        made = make<Listener>(fd, service);
    if (!made) {
        if (fd >= 0)
            close(fd);
        return nullptr;
    }
    made->handle.xp_port = ntohs(address.sin_port);
    link(*made);
    return &made->handle;
}

void transport_answer(SVCXPRT *service, rpcprog_t program, rpcvers_t version)
{
    Listener &to = listener(service);
    to.program = static_cast<std::uint32_t>(program);
    to.version = static_cast<std::uint32_t>(version);
}

void transport_allow(SVCXPRT *service, in_addr_t machine)
{
    Listener &to = listener(service);
    if (to.machine_count < Listener::most_machines)
        to.machines[to.machine_count++] = machine;
}

} // namespace velt
