// The service: its listening socket, and the connections on which the peers' calls are answered.

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iterator>
#include <new>
#include <type_traits>

#include "apilib/unix/transport/connection.h"
#include "apilib/unix/transport/limits.h"
#include "apilib/wire/streams.h"
#include "velt/api.h"

namespace velt
{
namespace
{

using Operations = std::remove_pointer_t<decltype(SVCXPRT::xp_ops)>;
using MoreOperations = std::remove_pointer_t<decltype(SVCXPRT::xp_ops2)>;

constexpr Time turn_limit = 5'000'000;

// A call of the peer that is being answered. Calls nest when a handler runs the wait and the same
// peer calls again.
struct Call {
    XDR arguments{};
    std::uint32_t id = 0;
    bool answered = false;
    Call *outer = nullptr;
};

struct ServiceConnection : Connection {
    SVCXPRT handle{};
    sockaddr_in peer;
    Service *service;
    Call *call = nullptr; // the innermost
    int depth = 0;        // dispatches of this connection on the stack
    bool dead = false;    // closed; released when `depth` is 0
    bool has_called = false;

    ServiceConnection(int fd, const sockaddr_in &from, Service &of);
};

ServiceConnection &connection_of(SVCXPRT *transport)
{
    return *static_cast<ServiceConnection *>(transport->xp_p1);
}

Service &service_of(SVCXPRT *transport)
{
    return *static_cast<Service *>(transport->xp_p1);
}

template <class F>
void each_connection(F visit)
{
    for (EventSource *each = event_sources; each; each = each->all.next)
        if (each->kind == EventKind::service_connection)
            visit(*static_cast<ServiceConnection *>(each));
}

void end(ServiceConnection &connection)
{
    if (!connection.dead) {
        connection.dead = true;
        unlink(connection);
        const ServiceCallbacks &callbacks = connection.service->callbacks;
        if (callbacks.closed)
            callbacks.closed(callbacks.context, &connection.handle, connection.in.error());
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
    Call *call = connection_of(transport).call;
    return call ? (*decode)(&call->arguments, arguments) : FALSE;
}

bool_t free_arguments(SVCXPRT *, xdrproc_t decode, void *arguments)
{
    XDR xdrs{};
    xdrs.x_op = XDR_FREE;
    return (*decode)(&xdrs, arguments);
}

// Nearly every reply is accepted, has an empty verifier and a result.
bool encode_reply(XDR *xdrs, rpc_msg &message)
{
    accepted_reply &accepted = message.acpted_rply;
    if (message.rm_reply.rp_stat != MSG_ACCEPTED || accepted.ar_stat != SUCCESS ||
        accepted.ar_verf.oa_length != 0)
        return xdr_replymsg(xdrs, &message) != 0;
    UIntT head[] = {
        message.rm_xid, REPLY, MSG_ACCEPTED, static_cast<UIntT>(accepted.ar_verf.oa_flavor), 0,
        SUCCESS};
    return put_words(xdrs, head) && (*accepted.ar_results.proc)(xdrs, accepted.ar_results.where);
}

bool_t reply(SVCXPRT *transport, rpc_msg *message)
{
    ServiceConnection &to = connection_of(transport);
    if (!to.call || to.call->answered || to.dead)
        return FALSE;
    RecordWriter writer(to.descriptor, to.chunk, &to.out, never);
    message->rm_xid = to.call->id;
    message->rm_direction = REPLY;
    if (encode_reply(writer.xdrs(), *message) && writer.finish()) {
        to.call->answered = true;
        to.update_deadline();
        return TRUE;
    }
    const int error = writer.error();
    // A reply that has been sent in part cannot be replaced. One that is too long or cannot be
    // encoded is replaced by a system error.
    if (writer.begun())
        end(to);
    else if (message->rm_reply.rp_stat == MSG_ACCEPTED && message->acpted_rply.ar_stat == SUCCESS)
        send_error(transport, SYSTEM_ERR);
    errno = error;
    return FALSE;
}

void destroy(SVCXPRT *transport)
{
    end(connection_of(transport));
}

bool_t control(SVCXPRT *, u_int, void *)
{
    return FALSE;
}

constexpr Operations operations = {receive, state, get_arguments, reply, free_arguments, destroy};
constexpr MoreOperations more_operations = {control};

ServiceConnection::ServiceConnection(int fd, const sockaddr_in &from, Service &of)
    : Connection(EventKind::service_connection, fd), peer(from), service(&of)
{
    static char network[] = "tcp";
    handle.xp_fd = fd;
    handle.xp_ops = &operations;
    handle.xp_ops2 = &more_operations;
    handle.xp_netid = network;
    handle.xp_rtaddr = {sizeof peer, sizeof peer, &peer};
    handle.xp_p1 = this;
}

// The operations of a service's own handle, on which no call arrives.

bool_t no_arguments(SVCXPRT *, xdrproc_t, void *)
{
    return FALSE;
}

bool_t no_reply(SVCXPRT *, rpc_msg *)
{
    return FALSE;
}

void destroy_service(SVCXPRT *transport)
{
    Service &service = service_of(transport);
    for (EventSource *each = event_sources; each;) {
        auto *connection = each->kind == EventKind::service_connection
                               ? static_cast<ServiceConnection *>(each)
                               : nullptr;
        each = each->all.next;
        if (connection && connection->service == &service) {
            end(*connection);
            // The callback may have ended other connections.
            each = event_sources;
        }
    }
    unlink(service);
    close(service.descriptor);
    unmake(&service);
}

constexpr Operations service_operations = {receive,  state,        no_arguments,
                                           no_reply, no_arguments, destroy_service};

// Ends the connection that has not called yet and has been idle for longest, to make room for
// another.
bool evict_one()
{
    ServiceConnection *found = nullptr;
    // New connections are linked in front, so the last match is the oldest.
    bool found_rests = false;
    each_connection([&](ServiceConnection &connection) {
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

bool has_room()
{
    UIntT all = 0;
    UIntT idle = 0;
    each_connection([&](ServiceConnection &connection) {
        all++;
        idle += !connection.has_called;
    });
    return all < limits.connections && idle < limits.idle_connections;
}

bool out_of_descriptors()
{
    return errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
}

void dispatch(ServiceConnection &on, const rpc_msg &message)
{
    const call_body &body = message.rm_call;
    svc_req request{};
    request.rq_prog = body.cb_prog;
    request.rq_vers = body.cb_vers;
    request.rq_proc = body.cb_proc;
    request.rq_cred = body.cb_cred;
    request.rq_xprt = &on.handle;
    const Service &to = *on.service;
    if (body.cb_cred.oa_flavor != AUTH_NONE && body.cb_cred.oa_flavor != AUTH_SYS)
        return send_refusal(&on.handle, AUTH_REJECTEDCRED);
    if (body.cb_prog != to.program)
        return send_error(&on.handle, PROG_UNAVAIL);
    if (body.cb_vers != to.version)
        return send_error(&on.handle, PROG_MISMATCH, to.version);
    on.has_called |= body.cb_proc != NULLPROC;
    to.callbacks.dispatch(to.callbacks.context, &request, &on.handle);
}

// Decodes the head of a call; that of nearly every one has neither credentials nor a verifier.
bool decode_call(XDR *xdrs, rpc_msg &message)
{
    Rest rest(xdrs);
    enum {
        id,
        direction,
        rpc_version,
        program,
        version,
        procedure,
        credentials,
        size,
        verifier,
        verifier_size,
        words
    };
    UIntT head[words];
    if (!take_words(rest, head) || head[direction] != CALL ||
        head[rpc_version] != RPC_MSG_VERSION || head[size] != 0 || head[verifier_size] != 0)
        return xdr_callmsg(xdrs, &message) != 0;
    rest.put_back(xdrs);
    message.rm_xid = head[id];
    call_body &body = message.rm_call;
    body.cb_prog = head[program];
    body.cb_vers = head[version];
    body.cb_proc = head[procedure];
    body.cb_cred.oa_flavor = static_cast<enum_t>(head[credentials]);
    body.cb_verf.oa_flavor = static_cast<enum_t>(head[verifier]);
    return true;
}

// Answers the next call; false when the peer has sent something else.
bool answer(ServiceConnection &on)
{
    Message record = on.in.take();
    on.deadline = never;
    on.update_deadline();
    char credentials[MAX_AUTH_BYTES];
    char verifier[MAX_AUTH_BYTES];
    rpc_msg message{};
    message.rm_call.cb_cred.oa_base = credentials;
    message.rm_call.cb_verf.oa_base = verifier;
    Call call;
    record.open(call.arguments);
    const bool is_call = decode_call(&call.arguments, message);
    if (is_call) {
        call.id = message.rm_xid;
        call.outer = on.call;
        on.call = &call;
        dispatch(on, message);
        on.call = call.outer;
        // Nothing was read from the connection while its call was served, so it cannot be late.
        on.deadline = never;
    }
    xdr_destroy(&call.arguments);
    on.in.give_back(std::move(record));
    return is_call;
}

bool send_accepted(SVCXPRT *connection, accepted_reply reply)
{
    rpc_msg message{};
    message.rm_direction = REPLY;
    message.rm_reply.rp_stat = MSG_ACCEPTED;
    message.acpted_rply = reply;
    message.acpted_rply.ar_verf = connection->xp_verf;
    return SVC_REPLY(connection, &message);
}

} // namespace

bool send_result(SVCXPRT *connection, xdrproc_t encode, void *result)
{
    accepted_reply reply{};
    reply.ar_stat = SUCCESS;
    reply.ar_results.where = static_cast<char *>(result);
    reply.ar_results.proc = encode;
    return send_accepted(connection, reply);
}

void send_error(SVCXPRT *connection, accept_stat why, rpcvers_t version)
{
    accepted_reply reply{};
    reply.ar_stat = why;
    if (why == PROG_MISMATCH)
        reply.ar_vers.low = reply.ar_vers.high = version;
    send_accepted(connection, reply);
}

void send_refusal(SVCXPRT *connection, auth_stat why)
{
    rpc_msg message{};
    message.rm_direction = REPLY;
    message.rm_reply.rp_stat = MSG_DENIED;
    message.rjcted_rply.rj_stat = AUTH_ERROR;
    message.rjcted_rply.rj_why = why;
    SVC_REPLY(connection, &message);
}

Service::Service(int fd, const ServiceCallbacks &of)
    : EventSource(EventKind::service, fd), callbacks(of)
{
    handle.xp_fd = fd;
    handle.xp_ops = &service_operations;
    handle.xp_ops2 = &more_operations;
    handle.xp_p1 = this;
}

void Service::report_rejection(Rejection why, const sockaddr_in &peer)
{
    static constexpr const char *reasons[] = {"the system does not tell whose it is",
                                              "only the host's machine may speak here",
                                              "only root and the same user may speak here",
                                              "there are too many connections", "no memory"};
    static_assert(std::size(reasons) == static_cast<int>(Rejection::count));
    // A peer that connects again and again is reported at most once a minute.
    Time &until = report_again_at[static_cast<int>(why)];
    if (now() < until || !callbacks.report)
        return;
    until = after_seconds(60);
    char text[160];
    char address[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &peer.sin_addr, address, sizeof address);
    std::snprintf(text, sizeof text, "turned away a connection from %s: %s", address,
                  reasons[static_cast<int>(why)]);
    callbacks.report(callbacks.context, text);
}

void accept_on(Service &to)
{
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    const int fd = accept4(to.descriptor, reinterpret_cast<sockaddr *>(&peer), &size,
                           SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
        const bool passing = errno == EAGAIN || errno == EINTR || errno == ECONNABORTED;
        if (!passing && !(out_of_descriptors() && evict_one()))
            to.paused_until = now() + retry_interval;
        return;
    }
    Peer identity = identify(fd, peer, to.machines, to.machine_count);
    if (identity == Peer::unknown && out_of_descriptors() && evict_one())
        identity = identify(fd, peer, to.machines, to.machine_count);
    ServiceConnection *made = nullptr;
    Rejection why = Rejection::no_memory;
    if (identity != Peer::trusted)
        why = identity == Peer::unknown         ? Rejection::unknown
              : identity == Peer::other_machine ? Rejection::other_machine
                                                : Rejection::other_user;
    else if (!has_room() && !evict_one())
        why = Rejection::too_many;
    else
        made = make<ServiceConnection>(fd, peer, to);
    if (!made) {
        close(fd);
        if (identity != Peer::disconnected)
            to.report_rejection(why, peer);
        return;
    }
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    link(*made);
}

void serve_calls(Connection &connection)
{
    auto &on = static_cast<ServiceConnection &>(connection);
    on.depth++;
    bool goes = on.out.send(on.descriptor);
    if (goes && on.out.empty() && !on.in.has_record()) {
        const auto status = on.in.read(on.descriptor);
        goes = status != RecordReader::closed && status != RecordReader::broken;
    }
    // One turn answers the calls that one read brought, for a limited time, so that other
    // connections get their turns.
    for (Time turn = 0; goes && can_read(on) && on.in.has_record() && (!turn || now() < turn);) {
        goes = answer(on);
        if (!turn && on.in.has_record())
            turn = now() + turn_limit;
    }
    on.depth--;
    if (!goes || on.dead)
        end(on);
    else
        on.update_deadline();
}

bool can_read(const Connection &connection)
{
    const auto &on = static_cast<const ServiceConnection &>(connection);
    return !on.dead && on.out.empty() && !(on.call && !on.call->answered);
}

void drop(Connection &connection)
{
    end(static_cast<ServiceConnection &>(connection));
}

SVCXPRT *transport_listen(const ServiceCallbacks &service, in_addr_t interface)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = interface;
    socklen_t size = sizeof address;
    auto *where = reinterpret_cast<sockaddr *>(&address);
    Service *made = nullptr;
    if (fd >= 0 && bind(fd, where, size) == 0 && listen(fd, SOMAXCONN) == 0 &&
        getsockname(fd, where, &size) == 0)
        made = make<Service>(fd, service);
    if (!made) {
        if (fd >= 0)
            close(fd);
        return nullptr;
    }
    made->handle.xp_port = ntohs(address.sin_port);
    link(*made);
    return &made->handle;
}

void transport_set_program(SVCXPRT *service, rpcprog_t program, rpcvers_t version)
{
    Service &to = service_of(service);
    to.program = static_cast<std::uint32_t>(program);
    to.version = static_cast<std::uint32_t>(version);
}

void transport_allow(SVCXPRT *service, in_addr_t machine)
{
    Service &to = service_of(service);
    if (to.machine_count < Service::most_machines)
        to.machines[to.machine_count++] = machine;
}

} // namespace velt
