// A call over UDP.

#include <rpc/rpc.h>
#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "apilib/unix/transport/record.h"
#include "apilib/unix/transport/transport.h"

namespace velt
{
namespace
{

// Waits for the answer to the call with this id from that port. Answers to others, and what is no
// answer, are passed over, as long as there is time.
bool receive(int descriptor, in_port_t port, std::uint32_t id, xdrproc_t decode, void *result,
             Time deadline)
{
    while (wait_until(descriptor, POLLIN, deadline) && now() < deadline) {
        char bytes[UDPMSGSIZE];
        sockaddr_in from{};
        socklen_t from_size = sizeof from;
        const ssize_t size = recvfrom(descriptor, bytes, sizeof bytes, MSG_DONTWAIT,
                                      reinterpret_cast<sockaddr *>(&from), &from_size);
        // Nothing listens there, or the network leads nowhere.
        if (size < 0 && errno != EAGAIN && errno != EINTR)
            return false;
        std::uint32_t got;
        if (size < static_cast<ssize_t>(sizeof got) || from.sin_port != port)
            continue;
        std::memcpy(&got, bytes, sizeof got);
        if (ntohl(got) != id)
            continue;
        XDR xdrs;
        xdrmem_create(&xdrs, bytes, static_cast<u_int>(size), XDR_DECODE);
        char verifier[MAX_AUTH_BYTES];
        rpc_msg answer{};
        answer.acpted_rply.ar_verf.oa_base = verifier;
        answer.acpted_rply.ar_results = {static_cast<char *>(result), decode};
        return xdr_replymsg(&xdrs, &answer) && answer.rm_reply.rp_stat == MSG_ACCEPTED &&
               answer.acpted_rply.ar_stat == SUCCESS;
    }
    return false;
}

} // namespace

bool transport_ask(const sockaddr_in &service, rpcprog_t program, rpcvers_t version,
                   rpcproc_t procedure, xdrproc_t encode, void *argument, xdrproc_t decode,
                   void *result, timeval limit)
{
    const Time began = now();
    rpc_msg call{};
    call.rm_xid = static_cast<std::uint32_t>(began);
    call.rm_direction = CALL;
    call.rm_call.cb_rpcvers = RPC_MSG_VERSION;
    call.rm_call.cb_prog = program;
    call.rm_call.cb_vers = version;
    call.rm_call.cb_proc = procedure;
    char bytes[UDPMSGSIZE];
    XDR xdrs;
    xdrmem_create(&xdrs, bytes, sizeof bytes, XDR_ENCODE);
    if (!xdr_callmsg(&xdrs, &call) || !(*encode)(&xdrs, argument))
        return false;

    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return false;
    // A machine may answer from another of its addresses, so the socket is not connected; it learns
    // all the same that nothing listens there.
    const int on = 1;
    setsockopt(descriptor, IPPROTO_IP, IP_RECVERR, &on, sizeof on);
    const bool done =
        sendto(descriptor, bytes, XDR_GETPOS(&xdrs), 0,
               reinterpret_cast<const sockaddr *>(&service), sizeof service) >= 0 &&
        receive(descriptor, service.sin_port, call.rm_xid, decode, result, after(limit, began));
    close(descriptor);
    return done;
}

} // namespace velt
