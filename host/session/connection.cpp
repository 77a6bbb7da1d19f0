#include "host/session/connection.h"

#include "apilib/unix/transport/transport.h"
#include "apilib/wire/routines.h"

namespace velt::host
{
namespace
{

constexpr timeval connect_limit{5, 0};

} // namespace

bool Connection::open(const sockaddr_in &service, UIntT program, UIntT version, Replied replied)
{
    handle_ = transport_connect(service, program, version, connect_limit);
    if (!handle_)
        return false;
    replied_ = std::move(replied);
    transport_on_reply(handle_, reply, this);
    return true;
}

void Connection::close()
{
    if (handle_)
        clnt_destroy(handle_);
    handle_ = nullptr;
}

clnt_stat Connection::send(const Procedure &procedure, void *argument)
{
    constexpr timeval no_wait{0, 0};
    char nothing = 0;
    const clnt_stat sent =
        clnt_call(handle_, procedure.number, procedure.argument.routine(),
                  static_cast<caddr_t>(argument), routine<void>(), &nothing, no_wait);
    return sent == RPC_TIMEDOUT ? RPC_SUCCESS : sent;
}

// No exception may leave this function: the transport does not handle any.
void Connection::reply(void *connection, const rpc_err &error)
try {
    static_cast<Connection *>(connection)->replied_(error);
} catch (const std::exception &) {
    return;
}

} // namespace velt::host
