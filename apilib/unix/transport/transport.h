// The RPC transport over TCP: connections that never wait for a peer beyond a time limit, a CLIENT
// and an SVCXPRT on them, and one wait for all of them. The client library and the host both call
// and serve with it. All of it belongs to one thread.
#pragma once

#include <rpc/rpc.h>
#include <netinet/in.h>

#include "velt/scalars.h"

namespace velt
{

// What a service calls. All but `dispatch` may be null. Only `dispatch` may run the wait again or
// end the service.
struct ServiceCallbacks {
    void (*dispatch)(void *context, svc_req *, SVCXPRT *connection);
    void (*report)(void *context, const char *what); // one line on a peer that is refused
    // `error` is why the connection was ended here while something came, else 0.
    void (*closed)(void *context, SVCXPRT *connection, int error);
    void *context;
};

// Starts a TCP service on a port of the system's choosing, of one interface or of all; null on
// failure. svc_destroy ends it with all its connections.
SVCXPRT *transport_listen(const ServiceCallbacks &service, in_addr_t interface = INADDR_ANY);
// Sets the program and the version whose calls the service answers.
void transport_set_program(SVCXPRT *service, rpcprog_t program, rpcvers_t version);
// Lets the processes of a machine call the service. On this machine those of root and of the user's
// own may always, and no others.
void transport_allow(SVCXPRT *service, in_addr_t machine);

// Connects to a program at an address. When the port there is 0, the address's port mapper is asked
// for it. The limit is for both together. Null on failure, with rpc_createerr set. clnt_control
// with CLSET_FD_NCLOSE leaves the socket to the caller.
CLIENT *transport_connect(sockaddr_in address, rpcprog_t program, rpcvers_t version, timeval limit);
// One call over UDP. The request is sent once; false when no result has come in time.
bool transport_ask(const sockaddr_in &service, rpcprog_t program, rpcvers_t version,
                   rpcproc_t procedure, xdrproc_t encode, void *argument, xdrproc_t decode,
                   void *result, timeval limit);

// From now on calls with a time limit of 0 return as soon as they are queued, and
// transport_dispatch calls `replied` with the outcome of each, in their order. An error that is not
// the call's own ends the connection.
void transport_on_reply(CLIENT *client, void (*replied)(void *context, const rpc_err &error),
                        void *context);

// From now on transport_wait also returns when the peer has ended the connection; transport_ended
// tells whether it has.
void transport_watch_end(CLIENT *client);
bool transport_ended(CLIENT *client);

// Answer the call that is being served: with a result, which returns whether it could be sent; with
// an error, PROG_MISMATCH naming the one version that there is; with a refusal of the caller's
// credentials. The RPC library's own routines for this bring all of its security along.
bool send_result(SVCXPRT *connection, xdrproc_t encode, void *result);
void send_error(SVCXPRT *connection, accept_stat why, rpcvers_t version = 0);
void send_refusal(SVCXPRT *connection, auth_stat why);

// Returns whether transport_connect has made the handle. Another, whose host is in this process,
// has calls for the client only when it is asked by clnt_control with serve_request, which returns
// whether there were any, and sets with name_request a const char * to the client's name;
// transport_ended is false for it.
bool transport_made(const CLIENT *client);
inline constexpr u_int serve_request = 0x56454c54, name_request = serve_request + 1;

// The address of a port on the loopback interface; transport_connect looks port 0 up.
sockaddr_in on_loopback(in_port_t port = 0);

// The calls of the port mapper: the session's own, if the environment names one, else the
// machine's. mapper_find returns 0, with rpc_createerr set, for a program that is not registered.
bool session_has_mapper();
bool mapper_set(rpcprog_t program, rpcvers_t version, unsigned protocol, in_port_t port);
bool mapper_unset(rpcprog_t program, rpcvers_t version);
in_port_t mapper_find(sockaddr_in machine, rpcprog_t program, rpcvers_t version, unsigned protocol,
                      timeval limit);
// While one exists, these calls and transport_connect share one connection to the port mapper that
// registers programs, and do not open one for each. Where mapper_unset of a session is the first of
// them, it does not wait for the answer, and returns whether the call could be sent.
struct KeptMapper {
    KeptMapper();
    ~KeptMapper();
    KeptMapper(const KeptMapper &) = delete;
    KeptMapper &operator=(const KeptMapper &) = delete;
};
// Returns whether the machine has a port mapper with which this user may register programs.
bool mapper_answers(timeval limit);

// Returns whether the sender of a datagram is a process of root or of the user's own on this
// machine.
bool transport_trusts(const sockaddr_in &sender);
// Returns whether a datagram may go to an address: its receiver is such a process, or on another
// machine.
bool transport_may_send(const sockaddr_in &receiver);

// Adds a descriptor of another part of the process to the wait; transport_dispatch calls `ready`
// when it is readable. False when memory runs out.
bool transport_watch(int descriptor, void (*ready)(void *context), void *context);
void transport_unwatch(int descriptor);

// Masks of the descriptors below 32 of services and their connections: all of them, and those that
// the last wait found ready.
UIntT transport_mask();
UIntT transport_ready();
// Waits for all descriptors of the transport and for those in the mask *others, if not null, and
// leaves the ready ones in that mask. Returns the number of ready descriptors; 0 when the time is
// over; -1 with errno when interrupted.
int transport_wait(UIntT *others, int milliseconds);
// Serves the event sources that the last wait found ready.
void transport_dispatch();
// Serves the calls that have been read whole already, so that poll() no longer reports them.
void transport_dispatch_rest();

} // namespace velt
