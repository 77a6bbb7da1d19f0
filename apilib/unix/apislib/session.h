// The state of the session, which the files of this directory share. A process has one session and
// serves it in one thread.
#pragma once

#include "apilib/unix/transport/transport.h"
#include "velt/wire.h"

namespace velt
{

struct Session {
    UIntT myprog = 0; // 0: not registered with the port mapper
    UIntT myvers = 0;
    UIntT hisprog = 0;
    UIntT hisvers = 0;
    IntT hispid = 0;                   // below 1: whether the host is alive cannot be checked
    unsigned long long host_start = 0; // as start_of() tells it
    char myname[256] = "???";
    SVCXPRT *client_transp = nullptr;
    int client_socket = -1;
};

extern Session session;

// Removes the client's registration with the port mapper, once.
void un_portmap();

// A null name counts as the empty one.
bool strEqual(const char *a, const char *b);
// This machine's name.
const char *thishost();
// Fills an address without a port; 0, or -1 for a name that is not known.
int hostnameToRealAddr(const char *name, sockaddr_in *address);
// The time limit of a call to the host.
timeval get_VA_TimeOut();
// Opens the session; null, or why that failed.
const char *hookup(UIntT myprog, UIntT myvers, UIntT hisprog, UIntT hisvers, IntT hispid,
                   const char *hostName);

// The services that the client itself has registered with the RPC library, and what serves those
// that are ready; null where the client does not use that library.
struct ForeignServices {
    const fd_set *set = nullptr;
    decltype(&svc_getreq_poll) serve = nullptr;
};
ForeignServices foreign_services();

// Tells the descriptor watcher which descriptors were added or removed.
void call_fd_func();

} // namespace velt
