// Start-up, connection and shutdown.

#include <arpa/inet.h>
#include <netdb.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "apilib/unix/apislib/session.h"
#include "apilib/unix/descriptors.h"
#include "apilib/unix/process.h"
#include "apilib/wire/routines.h"
#include "velt/api.h"

IntT VA_errno = 0;
V_TimeT VA_TimeOut = {0, 0};
IntT VA_clientno = -1;
CLIENT *velt_client = nullptr;

namespace velt
{

Session session;

void un_portmap()
{
    if (session.myprog != 0)
        mapper_unset(session.myprog, session.myvers);
    session.myprog = 0;
}

namespace
{

constexpr IntT no_host_process = -223;

// Lets a machine call the service from all of its addresses, of which `first` is known already.
void allow_machine(const char *name, in_addr_t first)
{
    transport_allow(session.client_transp, first);
    const hostent *found = gethostbyname(name);
    for (int i = 1; found && found->h_addrtype == AF_INET && found->h_addr_list[i - 1]; i++) {
        in_addr_t address;
        std::memcpy(&address, found->h_addr_list[i - 1], sizeof address);
        transport_allow(session.client_transp, address);
    }
}

// Returns whether the name is this machine's and the session is confined to it: then the loopback
// address is meant.
bool is_this_session(const char *name)
{
    char here[sizeof session.myname] = "";
    return session_has_mapper() && gethostname(here, sizeof here - 1) == 0 && strEqual(name, here);
}

void dispatch(void *, svc_req *request, SVCXPRT *connection)
{
    vq_api_prog_1(request, connection);
}

void report_stranger(void *, const char *what)
{
    V_ApiErr(what);
}

// Reports a service of another user, and a lack of descriptors, separately, because the message of
// the failure that follows is the same for all causes.
void tell_refusal(const char *what)
{
    const int error =
        rpc_createerr.cf_stat == RPC_SYSTEMERROR ? rpc_createerr.cf_error.re_errno : 0;
    if (error == EACCES)
        V_ApiErr(what);
    else if (error == EMFILE || error == ENFILE)
        V_ApiErr("there are no more file descriptors");
}

} // namespace

bool strEqual(const char *a, const char *b)
{
    static const char emptystring[] = "";
    return std::strcmp(a ? a : emptystring, b ? b : emptystring) == 0;
}

const char *thishost()
{
    // A session with its own port mapper is confined to this machine, whatever the machine's name
    // is.
    if (session_has_mapper())
        return "localhost";
    static char h[256];
    if (!h[0])
        gethostname(h, sizeof h - 1);
    return h;
}

int hostnameToRealAddr(const char *name, sockaddr_in *address)
{
    *address = {};
    address->sin_family = AF_INET;
    if (strEqual(name, nullptr) || strEqual(name, "localhost") || is_this_session(name)) {
        address->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return 0;
    }
    address->sin_addr.s_addr = inet_addr(name);
    if (address->sin_addr.s_addr != INADDR_NONE)
        return 0;
    const hostent *found = gethostbyname(name);
    if (!found || found->h_addrtype != AF_INET)
        return -1;
    std::memcpy(&address->sin_addr, found->h_addr_list[0], sizeof address->sin_addr);
    return 0;
}

timeval get_VA_TimeOut()
{
    if (VA_TimeOut.seconds == 0 && VA_TimeOut.microseconds == 0)
        VA_TimeOut.seconds = 604800;
    return {VA_TimeOut.seconds, VA_TimeOut.microseconds};
}

const char *hookup(UIntT myprog, UIntT myvers, UIntT hisprog, UIntT hisvers, IntT hispid,
                   const char *hostName)
{
    session.myprog = myprog;
    session.myvers = myvers;
    session.hisprog = hisprog;
    session.hisvers = hisvers;
    session.hispid = hispid;

    const KeptMapper mapper;
    mapper_unset(myprog, myvers);
    session.client_transp =
        transport_listen({dispatch, report_stranger, nullptr, nullptr},
                         session_has_mapper() ? htonl(INADDR_LOOPBACK) : INADDR_ANY);
    if (!session.client_transp)
        return "unable to create TCP service";
    transport_set_program(session.client_transp, myprog, myvers);
    rpc_createerr = {};
    if (!mapper_set(myprog, myvers, IPPROTO_TCP, session.client_transp->xp_port)) {
        tell_refusal("the session's port mapper is another user's");
        return "unable to register TCP client).";
    }

    sockaddr_in here;
    sockaddr_in host;
    if (hostnameToRealAddr(thishost(), &here) != 0 || hostnameToRealAddr(hostName, &host) != 0)
        return "unable to gethostbyname";
    if (here.sin_addr.s_addr == host.sin_addr.s_addr) {
        hostnameToRealAddr(nullptr, &host);
    } else {
        session.hispid = no_host_process;
        if (hostName)
            allow_machine(hostName, host.sin_addr.s_addr);
    }
    session.host_start = session.hispid < 1 ? 0 : start_of(session.hispid);

    session.client_socket = -1;
    timeval limit = get_VA_TimeOut();
    velt_client = transport_connect(host, hisprog, hisvers, limit);
    if (!velt_client) {
        tell_refusal("the host's program is another user's");
        return "unable to create TCP client";
    }
    clnt_control(velt_client, CLGET_FD, reinterpret_cast<char *>(&session.client_socket));
    clnt_control(velt_client, CLSET_FD_NCLOSE, nullptr);
    clnt_control(velt_client, CLSET_TIMEOUT, reinterpret_cast<char *>(&limit));

    IntT pid = getpid();
    if (!Vapivq_InitAck(&pid))
        return "unable to make initial contact";
    transport_watch_end(velt_client);
    return nullptr;
}

} // namespace velt

using velt::session;

void V_ApiErr(const char *message)
{
    const char *name = session.myname;
    if (velt_client && !velt::transport_made(velt_client))
        clnt_control(velt_client, velt::name_request, reinterpret_cast<char *>(&name));
    std::fprintf(stderr, "Velt API client \"%s\": %s.\n", name, message);
}

const char *V_ApiStartUp(V_FdFuncT fdFunc)
{
    velt::fill_standard_descriptors();
    std::setbuf(stdout, nullptr);
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_UNBLOCK, &all, nullptr);
    V_ApiSetFdFunc(fdFunc);

    const char *description = std::getenv("VQAPIX");
    int myprog, myvers, hisprog, hisvers, hispid, number;
    char name[sizeof session.myname];
    if (!description || std::sscanf(description, "%d.%d %d.%d %d.%d.%255s", &myprog, &myvers,
                                    &hisprog, &hisvers, &hispid, &number, name) != 7)
        return "not called by a Velt product";
    std::memcpy(session.myname, name, sizeof name);
    VA_clientno = number >= 0 ? number : ~number;

    if (number >= 0) {
        pid_t child = fork();
        if (child < 0)
            return "unable to fork";
        if (child > 0)
            _exit(0);
    }

    const char *failure =
        velt::hookup(static_cast<UIntT>(myprog), static_cast<UIntT>(myvers),
                     static_cast<UIntT>(hisprog), static_cast<UIntT>(hisvers), hispid, nullptr);
    if (!failure)
        velt::call_fd_func();
    return failure;
}

void V_ApiShutDown(void)
{
    velt::un_portmap();
    if (session.client_transp) {
        svc_destroy(session.client_transp);
        session.client_transp = nullptr;
    }
    if (session.client_socket >= 0) {
        close(session.client_socket);
        session.client_socket = -1;
    }
    if (velt_client) {
        clnt_destroy(velt_client);
        velt_client = nullptr;
    }
}

IntT V_ApiRun(int, char **)
{
    if (const char *failure = V_ApiStartUp(nullptr)) {
        V_ApiErr(failure);
        V_ApiShutDown();
        return 1;
    }
    while (!VA_bailout)
        V_ApiService(nullptr);
    V_ApiShutDown();
    return 0;
}
