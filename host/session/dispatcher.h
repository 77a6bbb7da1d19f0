// Serves the host's program over RPC.
#pragma once

#include <rpc/rpc.h>

#include "host/session/clients.h"
#include "host/session/event_loop.h"

namespace velt::host
{

class Dispatcher
{
public:
    struct Session {
        Host &host;
        Options &options;
        Reports &reports;
        Clients &clients;
        EventLoop &loop;
        Responder &responder;
    };
    explicit Dispatcher(const Session &session) : s_(session) {}

    // Decodes one call, has it answered, and traces it. The transport calls it.
    static void dispatch(void *dispatcher, svc_req *request, SVCXPRT *transport) noexcept;

private:
    void dispatch(const svc_req &request, SVCXPRT *transport);
    void acknowledge(const Procedure &procedure, const svc_req &request, SVCXPRT *transport);
    std::string reply(Call &call, Message &result, SVCXPRT *transport);
    void hand_over(Client &client, bool bailout);
    void take_over(Client &client);

    Session s_;
};

} // namespace velt::host
