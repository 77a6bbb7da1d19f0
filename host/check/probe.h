// A connection of its own to a client's service, on which a point makes calls that are no turns.
#pragma once

#include <vector>

#include "host/session/host.h"

namespace velt::host
{

class Probe
{
public:
    // Throws Violation when the service cannot be reached.
    Probe(Host &host, Client &client, in_port_t port, std::chrono::milliseconds limit);

    // Makes a call without an argument, and serves until it is answered. Returns the status of the
    // answer. Throws Violation when none comes.
    clnt_stat call(rpcproc_t number);

private:
    Host &host_;
    Client &client_;
    std::chrono::milliseconds limit_;
    Connection connection_;
    std::vector<clnt_stat> replies_;
};

} // namespace velt::host
