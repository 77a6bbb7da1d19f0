// How records travel: the one seam between this system and the RPC library's TCP transports, for
// the client library in both directions and for the host.
#pragma once

#include <rpc/rpc.h>
#include <sys/select.h>

namespace velt
{

// A TCP service on a port of the system's choosing; null on failure.
SVCXPRT *transport_listen();

// A client handle for a program at an address, whose port mapper is asked for the port. The socket
// is stored for the caller, who closes it; null on failure.
CLIENT *transport_connect(sockaddr_in address, rpcprog_t program, rpcvers_t version, int *socket);

// The descriptors that the services of this process wait on.
fd_set transport_descriptors();

// Reads and dispatches the requests on descriptors that are ready.
void transport_dispatch(fd_set ready);

// A write to a connection that the peer has closed must fail and not end the process. Takes the
// signal over only where nobody else has; `restore` gives it back.
void transport_ignore_broken_pipes();
void transport_restore_broken_pipes();

} // namespace velt
