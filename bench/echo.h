// A service in a process of its own, which answers a call of an integer property and sends strings
// and lists of them back, and a client of it: both by the RPC library's transport, or both by ours.
#pragma once

#include <rpc/rpc.h>

#include <memory>
#include <string>

#include "bench/service.h"
#include "velt/wire.h"

namespace velt::bench
{

class Echo
{
public:
    enum Transport { rpc_library, ours };
    // Throws std::runtime_error.
    explicit Echo(Transport transport);

    // Returns the process of the service.
    pid_t service() const { return service_.id(); }

    void get_int() const;
    void send(const std::string &text) const;
    void send(const V_StringsT &list) const;

private:
    struct Destroy {
        void operator()(CLIENT *client) const { clnt_destroy(client); }
    };

    ServiceProcess service_;
    std::unique_ptr<CLIENT, Destroy> client_;
};

} // namespace velt::bench
