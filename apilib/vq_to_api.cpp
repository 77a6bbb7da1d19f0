// The dispatcher of the program that a client serves: decodes the host's calls and runs their
// handlers. A handler may serve the host in turn, so the dispatcher is re-entrant and keeps
// everything on the stack.

#include <cstdio>
#include <cstdlib>

#include "apilib/unix/transport/transport.h"
#include "apilib/wire/routines.h"

namespace
{

void empty_reply(SVCXPRT *transport)
{
    if (!velt::send_result(transport, velt::routine<void>(), nullptr))
        velt::send_error(transport, SYSTEM_ERR);
}

template <class Arg>
void serve(svc_req *request, SVCXPRT *transport, void *(*handler)(Arg *, svc_req *))
{
    Arg argument{};
    if (!svc_getargs(transport, velt::routine<Arg>(), reinterpret_cast<char *>(&argument))) {
        velt::free_decoded(argument);
        velt::send_error(transport, GARBAGE_ARGS);
        return;
    }
    if (handler(&argument, request))
        empty_reply(transport);
    if (!velt::free_decoded(argument)) {
        std::fputs("unable to free arguments", stderr);
        std::exit(1);
    }
}

template <>
void serve<void>(svc_req *request, SVCXPRT *transport, void *(*handler)(void *, svc_req *))
{
    if (handler(nullptr, request))
        empty_reply(transport);
}

} // namespace

void vq_api_prog_1(svc_req *request, SVCXPRT *transport)
{
    switch (request->rq_proc) {
    case NULLPROC:
        empty_reply(transport);
        break;
#define V_CALLBACK(number, handler, argument)                                                      \
    case number:                                                                                   \
        serve<argument>(request, transport, handler);                                              \
        break;
#include "velt/tables/callbacks.def"
    default:
        velt::send_error(transport, PROC_UNAVAIL);
    }
}
