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

// Waits for the answer to the call with this id. Answers to others, and what is no answer, are
// passed over.
bool receive(int descriptor, std::uint32_t id, xdrproc_t decode, void *result, Time deadline)
{
    while (wait_until(descriptor, POLLIN, deadline)) {
        char bytes[UDPMSGSIZE];
        const ssize_t size = recv(descriptor, bytes, sizeof bytes, MSG_DONTWAIT);
        // Nothing listens there, or the network leads nowhere.
        if (size < 0 && errno != EAGAIN && errno != EINTR)
            return false;
        std::uint32_t got;
        if (size < static_cast<ssize_t>(sizeof got))
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
    const bool done = sendto(descriptor, bytes, XDR_GETPOS(&xdrs), 0,
                             reinterpret_cast<const sockaddr *>(&service), sizeof service) >= 0 &&
                      receive(descriptor, call.rm_xid, decode, result, after(limit, began));
    close(descriptor);
    return done;
}

} // namespace velt
