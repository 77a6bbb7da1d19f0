// The handle on which calls are made.

#include <rpc/rpc.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <type_traits>

#include "apilib/unix/transport/connection.h"
#include "apilib/unix/transport/limits.h"
#include "apilib/wire/routines.h"
#include "apilib/wire/streams.h"
#include "velt/api.h"

namespace velt
{
namespace
{

// The authenticator of every handle. It adds and checks nothing, so that calls go past it, unless
// the client gives its handle another. The RPC library's brings the table of that library's
// services along, which must be the client's own.

void no_verifier(AUTH *) {}

bool_t no_credentials(AUTH *, XDR *xdrs)
{
    opaque_auth nothing{};
    return xdr_opaque_auth(xdrs, &nothing) && xdr_opaque_auth(xdrs, &nothing);
}

bool_t accept(AUTH *, opaque_auth *)
{
    return TRUE;
}

bool_t no_refresh(AUTH *, void *)
{
    return FALSE;
}

void keep(AUTH *) {}

int code_plainly(AUTH *, XDR *xdrs, xdrproc_t routine, caddr_t value)
{
    return (*routine)(xdrs, value);
}

std::remove_pointer_t<decltype(AUTH::ah_ops)> nobody_operations = {
    no_verifier, no_credentials, accept, no_refresh, keep, code_plainly, code_plainly};

AUTH nobody = {{}, {}, {}, &nobody_operations, nullptr};

struct ClientConnection : Connection {
    sockaddr_in address;
    std::uint32_t program;
    std::uint32_t version;
    std::uint32_t id;
    rpc_err error{};
    bool limit_set = false;
    timeval limit{};
    Time receive_timeout = 0; // the socket's SO_RCVTIMEO
    bool close_descriptor = true;
    bool dead = false; // a record was cut off in either direction
    bool unproven =
        false; // the service has not accepted the connection yet, so its owner is not known
    bool ended = false; // the peer ended the connection while no call was under way
    void (*replied)(void *, const rpc_err &) = nullptr;
    void *context = nullptr;

    ClientConnection(int fd, const sockaddr_in &peer, rpcprog_t prog, rpcvers_t vers)
        : Connection(EventKind::async_client, fd), address(peer),
          program(static_cast<std::uint32_t>(prog)), version(static_cast<std::uint32_t>(vers)),
          id(static_cast<std::uint32_t>(now()))
    {
        // A reply above the limit fails its own call only.
        in.skip_long_records();
    }

    clnt_stat fail(clnt_stat status, int system_error = 0)
    {
        error = {};
        error.re_status = status;
        error.re_errno = system_error;
        return status;
    }
    clnt_stat lose(clnt_stat status, int system_error)
    {
        dead = true;
        return fail(status, system_error);
    }
    clnt_stat send(AUTH *auth, rpcproc_t procedure, xdrproc_t encode, void *argument, Time until);
    bool is_proven();
    bool read_may_wait(Time whole, Time until);
    clnt_stat receive(AUTH *auth, xdrproc_t decode, void *result, Time whole, Time until);
};

ClientConnection &connection_of(CLIENT *client)
{
    return *static_cast<ClientConnection *>(client->cl_private);
}

// The head of nearly every reply: accepted, an empty verifier, success. Returns whether it is one,
// after which come the results.
bool is_plain_success(XDR *xdrs)
{
    Rest rest(xdrs);
    enum { id, direction, status, verifier, verifier_size, outcome, words };
    UIntT head[words];
    if (!take_words(rest, head) || head[direction] != REPLY || head[status] != MSG_ACCEPTED ||
        head[verifier_size] != 0 || head[outcome] != SUCCESS)
        return false;
    rest.put_back(xdrs);
    return true;
}

// Decodes the header of a reply and, with a routine for them, the results. Without an authenticator
// none are checked.
void decode_reply(const Message &record, AUTH *auth, xdrproc_t decode, void *result, rpc_err *error)
{
    XDR xdrs;
    record.open(xdrs);
    *error = {};
    rpc_msg message{};
    message.acpted_rply.ar_results.proc = routine<void>();
    if (record.cut) {
        error->re_status = RPC_CANTDECODERES;
        error->re_errno = EMSGSIZE;
    } else if (!auth && is_plain_success(&xdrs)) {
        error->re_status = RPC_SUCCESS;
    } else if (xdr_replymsg(&xdrs, &message)) {
        _seterr_reply(&message, error);
    } else {
        error->re_status = RPC_CANTDECODERES;
    }
    if (error->re_status == RPC_SUCCESS && auth &&
        !AUTH_VALIDATE(auth, &message.acpted_rply.ar_verf)) {
        error->re_status = RPC_AUTHERROR;
        error->re_why = AUTH_INVALIDRESP;
    }
    if (error->re_status == RPC_SUCCESS && decode &&
        !(auth ? AUTH_UNWRAP(auth, &xdrs, decode, static_cast<char *>(result))
               : (*decode)(&xdrs, result)))
        error->re_status = RPC_CANTDECODERES;
    if (message.rm_reply.rp_stat == MSG_ACCEPTED && message.acpted_rply.ar_verf.oa_base) {
        XDR freeing{};
        freeing.x_op = XDR_FREE;
        xdr_opaque_auth(&freeing, &message.acpted_rply.ar_verf);
    }
}

clnt_stat ClientConnection::send(AUTH *auth, rpcproc_t procedure, xdrproc_t encode, void *argument,
                                 Time until)
{
    RecordWriter writer(descriptor, chunk, replied ? &out : nullptr, until);
    id++;
    UIntT head[] = {id, CALL, RPC_MSG_VERSION, program, version, static_cast<UIntT>(procedure)};
    // No credentials and no verifier are four words of zero.
    UIntT no_authentication[] = {AUTH_NONE, 0, AUTH_NONE, 0};
    bool encoded = put_words(writer.xdrs(), head);
    if (auth == &nobody)
        encoded = encoded && put_words(writer.xdrs(), no_authentication) &&
                  (*encode)(writer.xdrs(), argument);
    else
        encoded = encoded && AUTH_MARSHALL(auth, writer.xdrs()) &&
                  AUTH_WRAP(auth, writer.xdrs(), encode, static_cast<char *>(argument));
    const bool sent = encoded && writer.finish();
    if (replied)
        update_deadline();
    if (sent)
        return RPC_SUCCESS;
    const int failure = writer.error();
    const clnt_stat status = failure == 0 || failure == EMSGSIZE ? RPC_CANTENCODEARGS
                             : failure == ETIMEDOUT              ? RPC_TIMEDOUT
                                                                 : RPC_CANTSEND;
    return writer.begun() || status == RPC_CANTSEND ? lose(status, failure) : fail(status, failure);
}

// Returns whether the first read of a reply may block on the socket, which saves a call of poll().
// The socket's own time limit is that of whole calls, so it serves only while nearly all of the
// time is left.
bool ClientConnection::read_may_wait(Time whole, Time until)
{
    if (until - now() < whole - whole / 64)
        return false;
    if (receive_timeout != whole) {
        const Time time = whole / 1000;
        const timeval wait = {time / 1'000'000, std::max<Time>(time % 1'000'000, 1)};
        if (setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait) != 0)
            return false;
        receive_timeout = whole;
    }
    return true;
}

// Bytes of the peer prove that the service has accepted the connection, so its owner is known now.
// If that is nobody to be trusted, errno says why.
bool ClientConnection::is_proven()
{
    if (!unproven)
        return true;
    const Callee callee = identify_callee(descriptor, address);
    unproven = callee != Callee::trusted;
    if (unproven)
        errno = error_of(callee);
    return !unproven;
}

clnt_stat ClientConnection::receive(AUTH *auth, xdrproc_t decode, void *result, Time whole,
                                    Time until)
{
    bool waits = in.at_rest() && read_may_wait(whole, until);
    for (;;) {
        while (!in.has_record()) {
            if (!waits && !wait_until(descriptor, POLLIN, until))
                return fail(errno == ETIMEDOUT ? RPC_TIMEDOUT : RPC_CANTRECV, errno);
            // A peer that sends without end gets no more time than one that sends nothing.
            if (!waits && now() >= until)
                return fail(RPC_TIMEDOUT, ETIMEDOUT);
            const auto status = in.read(descriptor, waits ? 0 : MSG_DONTWAIT);
            waits = false;
            if (status == RecordReader::closed)
                return lose(RPC_CANTRECV, ECONNRESET);
            if (status == RecordReader::broken)
                return lose(RPC_CANTRECV, errno);
        }
        if (!is_proven())
            return lose(RPC_CANTRECV, errno);
        Message record = in.take();
        // A reply to an earlier call that timed out is discarded.
        const bool ours = record.id() == id;
        if (ours)
            decode_reply(record, auth == &nobody ? nullptr : auth, decode, result, &error);
        in.give_back(std::move(record));
        if (ours)
            return error.re_status;
    }
}

clnt_stat call(CLIENT *client, rpcproc_t procedure, xdrproc_t encode, void *argument,
               xdrproc_t decode, void *result, timeval given)
{
    ClientConnection &to = connection_of(client);
    if (to.dead)
        return to.fail(RPC_CANTSEND, EPIPE);
    const timeval limit = to.limit_set ? to.limit : given;
    const bool wait = limit.tv_sec != 0 || limit.tv_usec != 0;
    const Time began = now();
    const Time deadline = after(limit, began);
    for (int refreshes = 2;; refreshes--) {
        if (const clnt_stat sent = to.send(client->cl_auth, procedure, encode, argument, deadline);
            sent != RPC_SUCCESS)
            return sent;
        if (!wait)
            return decode ? to.fail(RPC_TIMEDOUT) : to.fail(RPC_SUCCESS);
        const clnt_stat status =
            to.receive(client->cl_auth, decode, result, deadline - began, deadline);
        if (status != RPC_AUTHERROR || refreshes == 0 || !AUTH_REFRESH(client->cl_auth, nullptr))
            return status;
    }
}

void abort_call(CLIENT *) {}

void get_error(CLIENT *client, rpc_err *error)
{
    *error = connection_of(client).error;
}

bool_t free_results(CLIENT *, xdrproc_t decode, void *result)
{
    XDR xdrs{};
    xdrs.x_op = XDR_FREE;
    return (*decode)(&xdrs, result);
}

void destroy(CLIENT *client)
{
    ClientConnection &to = connection_of(client);
    unlink(to);
    if (to.close_descriptor)
        close(to.descriptor);
    unmake(&to);
    unmake(client);
}

bool_t control(CLIENT *client, u_int request, void *info)
{
    ClientConnection &to = connection_of(client);
    auto *number = static_cast<std::uint32_t *>(info);
    switch (request) {
    case CLSET_TIMEOUT:
        to.limit = *static_cast<timeval *>(info);
        to.limit_set = true;
        return TRUE;
    case CLGET_TIMEOUT:
        *static_cast<timeval *>(info) = to.limit;
        return TRUE;
    case CLGET_SERVER_ADDR:
        *static_cast<sockaddr_in *>(info) = to.address;
        return TRUE;
    case CLGET_FD:
        *static_cast<int *>(info) = to.descriptor;
        return TRUE;
    case CLSET_FD_CLOSE:
    case CLSET_FD_NCLOSE:
        to.close_descriptor = request == CLSET_FD_CLOSE;
        return TRUE;
    case CLGET_XID:
        *number = to.id;
        return TRUE;
    case CLSET_XID:
        to.id = *number - 1;
        return TRUE;
    case CLGET_VERS:
        *number = to.version;
        return TRUE;
    case CLSET_VERS:
        to.version = *number;
        return TRUE;
    case CLGET_PROG:
        *number = to.program;
        return TRUE;
    case CLSET_PROG:
        to.program = *number;
        return TRUE;
    default:
        return FALSE;
    }
}

std::remove_pointer_t<decltype(CLIENT::cl_ops)> operations = {call,         abort_call, get_error,
                                                              free_results, destroy,    control};

int open_connection(const sockaddr *address, socklen_t size, Time deadline, Port from)
{
    const int fd = socket(address->sa_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    // A process that may not bind a reserved port connects from another.
    if (from == Port::reserved)
        bindresvport(fd, nullptr);
    int error = connect(fd, address, size) == 0 ? 0 : errno;
    // The system does not signal when the full queue of a local socket has room again.
    while (error == EAGAIN && now() < deadline) {
        poll(nullptr, 0, 10);
        error = connect(fd, address, size) == 0 ? 0 : errno;
    }
    if (error == EINPROGRESS || error == EINTR) {
        socklen_t length = sizeof error;
        if (!wait_until(fd, POLLOUT, deadline))
            error = errno;
        else if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0)
            error = errno;
    }
    if (error) {
        close(fd);
        errno = error;
        return -1;
    }
    // The last segment of a record must not wait for an acknowledgement.
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    // The socket blocks from here on; all but the first read of a reply pass MSG_DONTWAIT.
    fcntl(fd, F_SETFL, 0);
    return fd;
}

CLIENT *make_client(int fd, const sockaddr_in &address, rpcprog_t program, rpcvers_t version)
{
    if (fd < 0)
        return no_client(errno == ETIMEDOUT ? RPC_TIMEDOUT : RPC_SYSTEMERROR, errno);
    auto *made = make<ClientConnection>(fd, address, program, version);
    auto *handle = make<CLIENT>();
    if (!made || !handle) {
        std::free(made);
        std::free(handle);
        close(fd);
        return no_client(RPC_SYSTEMERROR, ENOMEM);
    }
    handle->cl_auth = &nobody;
    handle->cl_ops = &operations;
    handle->cl_private = made;
    return handle;
}

template <class Address>
int open_connection(const Address &address, Time deadline, Port from)
{
    return open_connection(reinterpret_cast<const sockaddr *>(&address), sizeof address, deadline,
                           from);
}

} // namespace

CLIENT *no_client(clnt_stat status, int system_error)
{
    rpc_createerr.cf_stat = status;
    rpc_createerr.cf_error.re_errno = system_error;
    return nullptr;
}

timeval left_until(Time deadline)
{
    const Time left = deadline - now();
    // A time limit of 0 would not wait for the reply at all.
    const Time time = left > 1000 ? left / 1000 : 1;
    return {time / 1'000'000, time % 1'000'000};
}

CLIENT *connect_to(const sockaddr_in &address, rpcprog_t program, rpcvers_t version, Time deadline,
                   Port from)
{
    const int fd = open_connection(address, deadline, from);
    auto callee = Callee::trusted;
    // The machine's port mapper may run as another user than root.
    if (fd >= 0 && ntohs(address.sin_port) != PMAPPORT)
        callee = identify_callee(fd, address);
    if (callee < Callee::unproven) {
        const int error = error_of(callee);
        close(fd);
        return no_client(RPC_SYSTEMERROR, error);
    }
    CLIENT *client = make_client(fd, address, program, version);
    if (client)
        connection_of(client).unproven = callee == Callee::unproven;
    return client;
}

CLIENT *connect_to(const sockaddr_un &address, rpcprog_t program, rpcvers_t version, Time deadline)
{
    return make_client(open_connection(address, deadline, Port::any), {}, program, version);
}

void receive_replies(Connection &connection)
{
    auto &from = static_cast<ClientConnection &>(connection);
    auto status = RecordReader::broken;
    if (from.out.send(from.descriptor))
        status = from.in.has_record() ? RecordReader::whole : from.in.read(from.descriptor);
    if (status == RecordReader::more)
        return from.update_deadline();
    if (status == RecordReader::whole && from.is_proven()) {
        Message record = from.in.take();
        decode_reply(record, nullptr, nullptr, nullptr, &from.error);
        from.in.give_back(std::move(record));
        from.update_deadline();
    } else {
        from.lose(RPC_CANTRECV, status == RecordReader::closed ? ECONNRESET : errno);
        unlink(from);
    }
    // The callback may destroy the handle, so nothing may follow.
    from.replied(from.context, from.error);
}

void time_out_replies(Connection &connection)
{
    auto &from = static_cast<ClientConnection &>(connection);
    from.lose(RPC_TIMEDOUT, ETIMEDOUT);
    unlink(from);
    from.replied(from.context, from.error);
}

CLIENT *transport_connect(sockaddr_in address, rpcprog_t program, rpcvers_t version, timeval limit)
{
    const Time deadline = std::min(after(limit), after_seconds(limits.connect_seconds));
    if (address.sin_port == 0)
        address.sin_port =
            htons(mapper_find(address, program, version, IPPROTO_TCP, left_until(deadline)));
    return address.sin_port ? connect_to(address, program, version, deadline) : nullptr;
}

void transport_on_reply(CLIENT *client, void (*replied)(void *context, const rpc_err &error),
                        void *context)
{
    ClientConnection &to = connection_of(client);
    unlink(to);
    to.kind = EventKind::async_client;
    link(to);
    to.replied = replied;
    to.context = context;
}

void note_end(Connection &connection)
{
    auto &client = static_cast<ClientConnection &>(connection);
    client.lose(RPC_CANTRECV, ECONNRESET);
    client.ended = true;
    unlink(client);
}

void transport_watch_end(CLIENT *client)
{
    ClientConnection &to = connection_of(client);
    to.kind = EventKind::idle_client;
    link(to);
}

bool transport_ended(CLIENT *client)
{
    return transport_made(client) && connection_of(client).ended;
}

bool transport_made(const CLIENT *client)
{
    return client->cl_ops == &operations;
}

} // namespace velt
