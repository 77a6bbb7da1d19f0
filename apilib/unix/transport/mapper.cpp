// The calls of the port mapper, which registers programs and tells their ports.

#include <rpc/rpc.h> // first, since pmap_prot.h needs it
#include <arpa/inet.h>
#include <netinet/in.h>
#include <rpc/pmap_prot.h>
#include <rpc/rpcb_prot.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "apilib/unix/transport/connection.h"
#include "apilib/unix/transport/limits.h"
#include "apilib/wire/routines.h"
#include "velt/api.h"

namespace velt
{
namespace
{

// Removing a registration at the end of the process is not worth a longer wait.
constexpr std::uint32_t removal_seconds = 3;

// The port of the session's own port mapper; -1 when there is none, 0 when VQPMAP is no port
// number.
int session_mapper()
{
    const char *name = std::getenv("VQPMAP");
    if (!name || !*name)
        return -1;
    char *end;
    const long port = std::strtol(name, &end, 10);
    return *name >= '0' && *name <= '9' && *end == '\0' && port > 0 && port <= 0xFFFF
               ? static_cast<int>(port)
               : 0;
}

// The connection that KeptMapper keeps.
int keepers;
CLIENT *kept;

// Calls the port mapper to which `connect` connects; false with rpc_createerr set when it does not
// answer, to `failure` when it was reached. Without a result, the answer is not waited for.
template <class Connect, class Argument, class Result>
bool ask(Connect connect, bool may_keep, rpcproc_t procedure, bool_t (*encode)(XDR *, Argument *),
         Argument argument, bool_t (*decode)(XDR *, Result *), Result *result, clnt_stat failure,
         Time deadline)
{
    for (;;) {
        const bool reused = may_keep && kept;
        CLIENT *mapper = reused ? std::exchange(kept, nullptr) : connect(deadline);
        if (!mapper)
            return false;
        const clnt_stat status =
            clnt_call(mapper, procedure, reinterpret_cast<xdrproc_t>(encode),
                      reinterpret_cast<char *>(&argument),
                      result ? reinterpret_cast<xdrproc_t>(decode) : nullptr,
                      reinterpret_cast<char *>(result), result ? left_until(deadline) : timeval{});
        if (status == RPC_SUCCESS && may_keep && keepers) {
            kept = mapper;
            return true;
        }
        if (status != RPC_SUCCESS) {
            no_client(failure, 0);
            clnt_geterr(mapper, &rpc_createerr.cf_error);
        }
        clnt_destroy(mapper);
        // A port mapper may end a connection after each answer.
        if (!reused || (status != RPC_CANTSEND && status != RPC_CANTRECV))
            return status == RPC_SUCCESS;
    }
}

CLIENT *connect_to_session(Time deadline)
{
    return connect_to(on_loopback(static_cast<in_port_t>(session_mapper())), PMAPPROG, PMAPVERS,
                      deadline);
}

// Calls a procedure of the session's port mapper that registers or unregisters.
bool tell_session(rpcproc_t procedure, const pmap &registration, bool waits, Time deadline)
{
    bool_t done = !waits;
    return ask(connect_to_session, true, procedure, xdr_pmap, registration, xdr_bool,
               waits ? &done : nullptr, RPC_SYSTEMERROR, deadline) &&
           done;
}

// Connects to the machine's port mapper through its local socket, which tells it the user of the
// registration. Where that socket is missing, its TCP port is used.
CLIENT *connect_to_machine(Time deadline)
{
    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    std::strcpy(local.sun_path, _PATH_RPCBINDSOCK);
    CLIENT *mapper = connect_to(local, RPCBPROG, RPCBVERS, deadline);
    return mapper ? mapper
                  : connect_to(on_loopback(PMAPPORT), RPCBPROG, RPCBVERS, deadline, Port::reserved);
}

bool tell_machine(rpcproc_t procedure, rpcprog_t program, rpcvers_t version, unsigned protocol,
                  char *address, Time deadline)
{
    char network[4], owner[16];
    std::snprintf(network, sizeof network, protocol == IPPROTO_UDP ? "udp" : "tcp");
    std::snprintf(owner, sizeof owner, "%u", geteuid());
    bool_t done = FALSE;
    return ask(connect_to_machine, true, procedure, xdr_rpcb,
               rpcb{program, version, network, address, owner}, xdr_bool, &done, RPC_SYSTEMERROR,
               deadline) &&
           done;
}

bool answers(CLIENT *mapper, Time deadline)
{
    if (!mapper)
        return false;
    const clnt_stat status = clnt_call(mapper, NULLPROC, routine<void>(), nullptr, routine<void>(),
                                       nullptr, left_until(deadline));
    clnt_destroy(mapper);
    return status == RPC_SUCCESS;
}

bool is_loopback(const sockaddr_in &address)
{
    return address.sin_addr.s_addr == htonl(INADDR_LOOPBACK);
}

} // namespace

sockaddr_in on_loopback(in_port_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

bool session_has_mapper()
{
    return session_mapper() >= 0;
}

bool mapper_set(rpcprog_t program, rpcvers_t version, unsigned protocol, in_port_t port)
{
    const Time deadline = after_seconds(limits.connect_seconds);
    if (session_has_mapper())
        return tell_session(PMAPPROC_SET, {program, version, protocol, port}, true, deadline);
    char address[24];
    std::snprintf(address, sizeof address, "0.0.0.0.%u.%u", port / 256U, port % 256U);
    return tell_machine(RPCBPROC_SET, program, version, protocol, address, deadline);
}

bool mapper_unset(rpcprog_t program, rpcvers_t version)
{
    const Time deadline = after_seconds(removal_seconds);
    // What follows goes through the same connection and is answered afterwards, unless the port
    // mapper may have ended that already.
    const bool waits = keepers == 0 || kept;
    if (session_has_mapper())
        return tell_session(PMAPPROC_UNSET, {program, version, 0, 0}, waits, deadline);
    char any[] = "";
    const bool udp = tell_machine(RPCBPROC_UNSET, program, version, IPPROTO_UDP, any, deadline);
    const bool tcp = tell_machine(RPCBPROC_UNSET, program, version, IPPROTO_TCP, any, deadline);
    return udp || tcp;
}

in_port_t mapper_find(sockaddr_in machine, rpcprog_t program, rpcvers_t version, unsigned protocol,
                      timeval limit)
{
    const Time deadline = std::min(after(limit), after_seconds(limits.connect_seconds));
    const bool sessions = session_has_mapper() && is_loopback(machine);
    machine.sin_port = htons(PMAPPORT);
    const auto connect = [&](Time until) {
        return sessions ? connect_to_session(until)
                        : connect_to(machine, PMAPPROG, PMAPVERS, until);
    };
    u_short port = 0;
    if (ask(connect, sessions, PMAPPROC_GETPORT, xdr_pmap, pmap{program, version, protocol, 0},
            xdr_u_short, &port, RPC_PMAPFAILURE, deadline) &&
        port == 0)
        no_client(RPC_PROGNOTREGISTERED, 0);
    return port;
}

KeptMapper::KeptMapper()
{
    keepers++;
}

KeptMapper::~KeptMapper()
{
    if (--keepers == 0 && kept) {
        clnt_destroy(kept);
        kept = nullptr;
    }
}

bool mapper_answers(timeval limit)
{
    const Time deadline = after(limit);
    return answers(connect_to_machine(deadline), deadline) &&
           answers(connect_to(on_loopback(PMAPPORT), PMAPPROG, PMAPVERS, deadline), deadline);
}

} // namespace velt
