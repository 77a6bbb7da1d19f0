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

// Tells the descriptor watcher which descriptors were added or removed.
void call_fd_func();

} // namespace velt
