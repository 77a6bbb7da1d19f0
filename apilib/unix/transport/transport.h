// How records travel: connections that never wait for a peer beyond a limit, a CLIENT and an
// SVCXPRT on them, and the one wait for all of them. The client library uses it in both directions,
// and the host too. One thread.
#pragma once

#include <netinet/in.h>
#include <rpc/rpc.h>

#include "velt/scalars.h"

namespace velt
{

// Who answers on a service, and who hears of what befalls it. All but `dispatch` may be null, and
// none but `dispatch` may serve others or end the service.
struct Service {
    void (*dispatch)(void *context, svc_req *, SVCXPRT *connection);
    void (*report)(void *context, const char *what); // one line, of a peer that is turned away
    void (*closed)(void *context, SVCXPRT *connection);
    void *context;
};

// A TCP service on a port of the system's choosing, of one interface or of all; null on failure.
// svc_destroy ends it with all its connections.
SVCXPRT *transport_listen(const Service &service, in_addr_t interface = INADDR_ANY);
// What the service answers to.
void transport_answer(SVCXPRT *service, rpcprog_t program, rpcvers_t version);
// Lets a machine speak to the service. This one may always, by the processes of root and of the
// user's own.
void transport_allow(SVCXPRT *service, in_addr_t machine);

// A handle for a program at an address, whose port mapper is asked for the port when it is 0. The
// limit is one for all of it. Null on failure, with rpc_createerr set. clnt_control with
// CLSET_FD_NCLOSE leaves the socket to the caller.
CLIENT *transport_connect(sockaddr_in address, rpcprog_t program, rpcvers_t version, timeval limit);
// From now on calls with a time limit of 0 are sent without waiting for anything, and what becomes
// of them is told in their order as they are served in transport_dispatch. An error other than one
// of the call's own ends the connection.
void transport_on_reply(CLIENT *client, void (*replied)(void *context, const rpc_err &error),
                        void *context);

// From now on a wait ends when the peer has ended the connection; whether it has.
void transport_watch_end(CLIENT *client);
bool transport_ended(CLIENT *client);

// On this machine; port 0 is found by the port mapper.
sockaddr_in on_loopback(in_port_t port = 0);

// The port mapper: the session's own, if the environment names one, else the machine's. The port of
// an unknown program is 0, with rpc_createerr set.
bool session_has_mapper();
bool mapper_set(rpcprog_t program, rpcvers_t version, unsigned protocol, in_port_t port);
bool mapper_unset(rpcprog_t program, rpcvers_t version);
in_port_t mapper_find(sockaddr_in machine, rpcprog_t program, rpcvers_t version, unsigned protocol,
                      timeval limit);
// Whether the machine has one, to which this user may tell something.
bool mapper_answers(timeval limit);

// Whether a datagram comes from a process of root or of the user's own on this machine.
bool transport_trusts(const sockaddr_in &sender);
// Whether a datagram to an address is for such a process, or for another machine.
bool transport_may_send(const sockaddr_in &receiver);

// Descriptors of others that are waited for too. False when there is no memory.
bool transport_watch(int descriptor, void (*ready)(void *context), void *context);
void transport_unwatch(int descriptor);

// The descriptors of the services, those below 32; of these, what the last wait has found ready.
UIntT transport_mask();
UIntT transport_ready();
// Waits for all descriptors, and for those of `others` that are given, which is left with those of
// them that are ready. Returns the number of ready descriptors; 0 when the time is over; -1 with
// errno when interrupted.
int transport_wait(UIntT *others, int milliseconds);
// Serves what the last wait has found.
void transport_dispatch();
// Serves the calls that lie whole in memory, of which no descriptor tells.
void transport_dispatch_rest();

} // namespace velt
