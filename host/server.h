// What the host serves over RPC: its program.
#pragma once

#include <rpc/rpc.h>

namespace velt::host
{

// Decodes one call of a client, answers and traces it.
void serve_call(svc_req *request, SVCXPRT *transport);

} // namespace velt::host
