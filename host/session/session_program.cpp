#include "host/session/session_program.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "apilib/unix/transport/transport.h"
#include "apilib/wire/routines.h"
#include "common/descriptor.h"
#include "host/session/client.h"

namespace velt::host
{
namespace
{

// The buffer is large enough: a request or a reply holds a name and a few numbers.
using Datagram = std::array<char, 8800>;

} // namespace

SessionProgram::SessionProgram(in_addr_t interface, Owner owner) : owner_(std::move(owner))
{
    Descriptor fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = interface;
    auto *where = reinterpret_cast<sockaddr *>(&address);
    socklen_t size = sizeof address;
    if (!fd || bind(fd.get(), where, size) != 0 || getsockname(fd.get(), where, &size) != 0 ||
        !transport_watch(fd.get(), ready, this))
        throw std::system_error(errno, std::generic_category(), "cannot create the host's service");
    port_ = ntohs(address.sin_port);
    descriptor_ = fd.release();
}

SessionProgram::~SessionProgram()
{
    transport_unwatch(descriptor_);
    close(descriptor_);
}

// No exception may leave this function: the transport does not handle any.
void SessionProgram::ready(void *self)
try {
    static_cast<SessionProgram *>(self)->receive();
} catch (const std::exception &) {
    return; // the process will ask again
}

void SessionProgram::receive()
{
    Datagram bytes;
    sockaddr_in sender{};
    socklen_t size = sizeof sender;
    const ssize_t got = recvfrom(descriptor_, bytes.data(), bytes.size(), 0,
                                 reinterpret_cast<sockaddr *>(&sender), &size);
    if (got <= 0)
        return;
    if (!transport_trusts(sender))
        return owner_.rejected();
    std::array<char, MAX_AUTH_BYTES> credentials, verifier;
    rpc_msg call{};
    call.rm_call.cb_cred.oa_base = credentials.data();
    call.rm_call.cb_verf.oa_base = verifier.data();
    XDR arguments;
    xdrmem_create(&arguments, bytes.data(), static_cast<u_int>(got), XDR_DECODE);
    if (xdr_callmsg(&arguments, &call))
        answer(call, arguments, sender);
}

void SessionProgram::answer(const rpc_msg &call, XDR &arguments, const sockaddr_in &sender)
{
    VqRpcApiConnectArgT request{};
    VqRpcApiConnectReturnT answer{};
    rpc_msg message{};
    message.rm_xid = call.rm_xid;
    message.rm_direction = REPLY;
    accepted_reply &reply = message.acpted_rply;
    reply.ar_verf = _null_auth;
    reply.ar_results.proc = routine<void>();
    const call_body &body = call.rm_call;
    if (body.cb_prog != program_) {
        reply.ar_stat = PROG_UNAVAIL;
    } else if (body.cb_vers != service_version) {
        reply.ar_stat = PROG_MISMATCH;
        reply.ar_vers = {service_version, service_version};
    } else if (body.cb_proc == VQ_RPC_SESSION_CONNECT) {
        if (typed_routine<VqRpcApiConnectArgT>(&arguments, &request)) {
            owner_.admit(request, answer);
            reply.ar_results = {reinterpret_cast<caddr_t>(&answer),
                                routine<VqRpcApiConnectReturnT>()};
        } else {
            reply.ar_stat = GARBAGE_ARGS;
        }
    } else if (body.cb_proc != NULLPROC) {
        reply.ar_stat = PROC_UNAVAIL;
    }
    Datagram bytes;
    XDR out;
    xdrmem_create(&out, bytes.data(), bytes.size(), XDR_ENCODE);
    // A reply that cannot be sent counts as lost: the process will ask again.
    if (xdr_replymsg(&out, &message))
        sendto(descriptor_, bytes.data(), xdr_getpos(&out), 0,
               reinterpret_cast<const sockaddr *>(&sender), sizeof sender);
    free_decoded(request);
    free_decoded(answer);
}

} // namespace velt::host
