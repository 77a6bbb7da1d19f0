// The handle on which calls are made.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <new>
#include <poll.h>
#include <rpc/rpc.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <type_traits>
#include <unistd.h>

#include "apilib/unix/transport/connection.h"
#include "apilib/unix/transport/limits.h"
#include "apilib/wire/routines.h"
#include "velt/api.h"

namespace velt
{
namespace
{

struct Caller : Connection {
    sockaddr_in address;
    std::uint32_t program;
    std::uint32_t version;
    std::uint32_t id;
    rpc_err error{};
    bool limit_set = false;
    timeval limit{};
    Time patience = 0; // of a read that waits
    bool close_descriptor = true;
    bool dead = false;     // a record is cut off in one direction or the other
    bool unproven = false; // until there is an answer, it is not certain who answers
    bool ended = false;    // by the peer, while nothing was waited for
    void (*replied)(void *, const rpc_err &) = nullptr;
    void *context = nullptr;

    Caller(int fd, const sockaddr_in &peer, rpcprog_t prog, rpcvers_t vers)
        : Connection(calling, fd), address(peer), program(static_cast<std::uint32_t>(prog)),
          version(static_cast<std::uint32_t>(vers)), id(static_cast<std::uint32_t>(now()))
    {
        // Such an answer fails its own call, and no other.
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

Caller &caller(CLIENT *client)
{
    return *static_cast<Caller *>(client->cl_private);
}

// Has the head of an answer decoded, and, with an authenticator, its results.
void read_reply(const Message &record, AUTH *auth, xdrproc_t decode, void *result, rpc_err *error)
{
    XDR xdrs;
    record.open(xdrs);
    rpc_msg message{};
    message.acpted_rply.ar_results.proc = routine<void>();
    *error = {};
    error->re_errno = record.cut ? EMSGSIZE : 0;
    if (!record.cut && xdr_replymsg(&xdrs, &message))
        _seterr_reply(&message, error);
    else
        error->re_status = RPC_CANTDECODERES;
    if (error->re_status == RPC_SUCCESS && auth) {
        if (!AUTH_VALIDATE(auth, &message.acpted_rply.ar_verf)) {
            error->re_status = RPC_AUTHERROR;
            error->re_why = AUTH_INVALIDRESP;
        } else if (decode && !AUTH_UNWRAP(auth, &xdrs, decode, static_cast<char *>(result))) {
            error->re_status = RPC_CANTDECODERES;
        }
    }
    if (message.rm_reply.rp_stat == MSG_ACCEPTED && message.acpted_rply.ar_verf.oa_base) {
        XDR freeing{};
        freeing.x_op = XDR_FREE;
        xdr_opaque_auth(&freeing, &message.acpted_rply.ar_verf);
    }
    xdr_destroy(&xdrs);
}

clnt_stat Caller::send(AUTH *auth, rpcproc_t procedure, xdrproc_t encode, void *argument,
                       Time until)
{
    RecordWriter writer(descriptor, chunk, replied ? &out : nullptr, until);
    id++;
    long head[] = {static_cast<long>(id),
                   CALL,
                   RPC_MSG_VERSION,
                   static_cast<long>(program),
                   static_cast<long>(version),
                   static_cast<long>(procedure)};
    bool encoded = true;
    for (const long &word : head)
        encoded = encoded && XDR_PUTLONG(writer.xdrs(), &word);
    encoded = encoded && AUTH_MARSHALL(auth, writer.xdrs()) &&
              AUTH_WRAP(auth, writer.xdrs(), encode, static_cast<char *>(argument));
    if (encoded && writer.finish()) {
        if (replied)
            pace();
        return RPC_SUCCESS;
    }
    const int failure = writer.error();
    const clnt_stat status = failure == 0 || failure == EMSGSIZE ? RPC_CANTENCODEARGS
                             : failure == ETIMEDOUT              ? RPC_TIMEDOUT
                                                                 : RPC_CANTSEND;
    return writer.begun() || status == RPC_CANTSEND ? lose(status, failure) : fail(status, failure);
}

// The first read of an answer waits by itself, which saves the call that waits: the socket knows
// the time limit of calls, as long as hardly anything of it is over.
bool Caller::read_may_wait(Time whole, Time until)
{
    if (until - now() < whole - whole / 64)
        return false;
    if (patience != whole) {
        const Time time = whole / 1000;
        const timeval wait = {time / 1'000'000, std::max<Time>(time % 1'000'000, 1)};
        if (setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait) != 0)
            return false;
        patience = whole;
    }
    return true;
}

// What has come shows that the connection has been accepted.
bool Caller::is_proven()
{
    if (unproven)
        unproven = identify_callee(descriptor, address) != Callee::trusted;
    return !unproven;
}

clnt_stat Caller::receive(AUTH *auth, xdrproc_t decode, void *result, Time whole, Time until)
{
    bool waits = in.at_rest() && read_may_wait(whole, until);
    for (;;) {
        while (!in.has_record()) {
            if (!waits && !wait_until(descriptor, POLLIN, until))
                return fail(errno == ETIMEDOUT ? RPC_TIMEDOUT : RPC_CANTRECV, errno);
            // A peer that sends without end has no more time than one that sends nothing.
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
            return lose(RPC_CANTRECV, EACCES);
        Message record = in.take();
        // An answer to a call that was given up is not this one's.
        const bool ours = record.id() == id;
        if (ours)
            read_reply(record, auth, decode, result, &error);
        in.give_back(std::move(record));
        if (ours)
            return error.re_status;
    }
}

clnt_stat call(CLIENT *client, rpcproc_t procedure, xdrproc_t encode, void *argument,
               xdrproc_t decode, void *result, timeval given)
{
    Caller &to = caller(client);
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
    *error = caller(client).error;
}

bool_t free_results(CLIENT *, xdrproc_t decode, void *result)
{
    XDR xdrs{};
    xdrs.x_op = XDR_FREE;
    return (*decode)(&xdrs, result);
}

void destroy(CLIENT *client)
{
    Caller &to = caller(client);
    unlink(to);
    if (to.close_descriptor)
        close(to.descriptor);
    unmake(&to);
    unmake(client);
}

bool_t control(CLIENT *client, u_int request, void *info)
{
    Caller &to = caller(client);
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
    // Who may not have such a port tries with another.
    if (from == Port::reserved)
        bindresvport(fd, nullptr);
    int error = connect(fd, address, size) == 0 ? 0 : errno;
    // A local socket whose queue is full tells nobody when it is so no more.
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
    // From here on only a read that says so waits.
    fcntl(fd, F_SETFL, 0);
    return fd;
}

CLIENT *make_client(int fd, const sockaddr_in &address, rpcprog_t program, rpcvers_t version)
{
    if (fd < 0)
        return no_client(errno == ETIMEDOUT ? RPC_TIMEDOUT : RPC_SYSTEMERROR, errno);
    auto *made = make<Caller>(fd, address, program, version);
    auto *handle = make<CLIENT>();
    AUTH *nobody = authnone_create();
    if (!made || !handle || !nobody) {
        std::free(made);
        std::free(handle);
        close(fd);
        return no_client(RPC_SYSTEMERROR, ENOMEM);
    }
    handle->cl_auth = nobody;
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
    // 0 would not wait for the answer at all.
    const Time time = left > 1000 ? left / 1000 : 1;
    return {time / 1'000'000, time % 1'000'000};
}

CLIENT *connect_to(const sockaddr_in &address, rpcprog_t program, rpcvers_t version, Time deadline,
                   Port from)
{
    const int fd = open_connection(address, deadline, from);
    auto callee = Callee::trusted;
    // The machine's port mapper may have given up being root.
    if (fd >= 0 && ntohs(address.sin_port) != PMAPPORT)
        callee = identify_callee(fd, address);
    if (callee == Callee::refused) {
        close(fd);
        return no_client(RPC_SYSTEMERROR, EACCES);
    }
    CLIENT *client = make_client(fd, address, program, version);
    if (client)
        caller(client).unproven = callee == Callee::unproven;
    return client;
}

CLIENT *connect_to(const sockaddr_un &address, rpcprog_t program, rpcvers_t version, Time deadline)
{
    return make_client(open_connection(address, deadline, Port::any), {}, program, version);
}

void serve_replies(Connection &connection)
{
    auto &from = static_cast<Caller &>(connection);
    auto status = RecordReader::broken;
    if (from.out.send(from.descriptor))
        status = from.in.has_record() ? RecordReader::whole : from.in.read(from.descriptor);
    if (status == RecordReader::more)
        return from.pace();
    if (status == RecordReader::whole && from.is_proven()) {
        Message record = from.in.take();
        read_reply(record, nullptr, nullptr, nullptr, &from.error);
        from.in.give_back(std::move(record));
        from.pace();
    } else {
        from.lose(RPC_CANTRECV, status == RecordReader::closed ? ECONNRESET : errno);
        unlink(from);
    }
    // The last thing here: the handle may be destroyed now.
    from.replied(from.context, from.error);
}

void give_up_replies(Connection &connection)
{
    auto &from = static_cast<Caller &>(connection);
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
    Caller &to = caller(client);
    unlink(to);
    to.kind = Waiter::calling;
    link(to);
    to.replied = replied;
    to.context = context;
}

void end_rest(Connection &connection)
{
    auto &gone = static_cast<Caller &>(connection);
    gone.lose(RPC_CANTRECV, ECONNRESET);
    gone.ended = true;
    unlink(gone);
}

void transport_watch_end(CLIENT *client)
{
    Caller &to = caller(client);
    to.kind = Waiter::resting;
    link(to);
}

bool transport_ended(CLIENT *client)
{
    return caller(client).ended;
}

} // namespace velt
