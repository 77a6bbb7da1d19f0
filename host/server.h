// What the host serves over RPC: its program, and the program by which a process joins the session.
#pragma once

#include <rpc/rpc.h>

#include <map>

#include "velt/scalars.h"

namespace velt::host
{

class Host;

// The hosts of this process by their session programs.
std::map<rpcprog_t, Host *> &sessions();

// Decodes one call of a client, answers and traces it.
void serve_call(svc_req *request, SVCXPRT *transport);

// The same for the session program: a process asks to be taken in as a client.
void serve_connect(svc_req *request, SVCXPRT *transport);

} // namespace velt::host
