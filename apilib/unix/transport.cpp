#include "apilib/unix/transport.h"

#include <csignal>
#include <netinet/tcp.h>
#include <poll.h>

namespace
{

bool took_sigpipe;

} // namespace

namespace velt
{

SVCXPRT *transport_listen()
{
    return svctcp_create(RPC_ANYSOCK, 0, 0);
}

CLIENT *transport_connect(sockaddr_in address, rpcprog_t program, rpcvers_t version, int *socket)
{
    *socket = RPC_ANYSOCK;
    CLIENT *client = clnttcp_create(&address, program, version, socket, 0, 0);
    if (client) {
        clnt_control(client, CLSET_FD_NCLOSE, nullptr);
        // A call goes out in one record; its last segment must not wait for an acknowledgement.
        int on = 1;
        setsockopt(*socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    return client;
}

fd_set transport_descriptors()
{
    return svc_fdset;
}

void transport_dispatch(fd_set ready)
{
    // One at a time: what one request leads to may serve another descriptor, or close it, and a
    // read that finds nothing would wait.
    for (int fd = 0; fd < FD_SETSIZE; fd++) {
        pollfd now = {fd, POLLIN, 0};
        if (!FD_ISSET(fd, &ready) || !FD_ISSET(fd, &svc_fdset) || poll(&now, 1, 0) <= 0)
            continue;
        fd_set one;
        FD_ZERO(&one);
        FD_SET(fd, &one);
        svc_getreqset(&one);
    }
}

void transport_ignore_broken_pipes()
{
    struct sigaction now {
    };
    if (sigaction(SIGPIPE, nullptr, &now) != 0 || now.sa_handler != SIG_DFL)
        return;
    took_sigpipe = std::signal(SIGPIPE, SIG_IGN) != SIG_ERR;
}

void transport_restore_broken_pipes()
{
    if (took_sigpipe)
        std::signal(SIGPIPE, SIG_DFL);
    took_sigpipe = false;
}

} // namespace velt
