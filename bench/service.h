// A host that is just enough for the benchmarks: it answers the acknowledgement, the hand-over of
// control and one call of each shape, in a single thread.
#pragma once

#include <rpc/rpc.h>
#include <netinet/in.h>
#include <sys/types.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace velt::bench
{

// The numbers of calls of each kind that have been answered.
struct AnsweredCalls {
    std::size_t acknowledgements = 0;
    std::size_t hand_overs = 0;
};

// Starts the service of this process, which can have only one; returns its port. Throws
// std::runtime_error.
in_port_t open_service(rpcprog_t program);
[[noreturn]] void serve_forever();
// Serves until one more call of the kind has been answered. Throws when none comes.
void serve_one(std::size_t AnsweredCalls::*kind);

// The number of a procedure of the host, by the name of its stub.
constexpr rpcproc_t number_of(std::string_view stub)
{
#define V_PROCEDURE(number, name, argument, result)                                                \
    if (stub == #name)                                                                             \
        return number;
#include "velt/tables/procedures.def"
    throw std::logic_error("no such stub");
}

// A child process with a service, whose port it tells first. It ends with this object.
class ServiceProcess
{
public:
    explicit ServiceProcess(void (*serve)(const std::function<void(in_port_t)> &tell));
    ~ServiceProcess();
    ServiceProcess(const ServiceProcess &) = delete;
    ServiceProcess &operator=(const ServiceProcess &) = delete;

    pid_t id() const { return id_; }
    const sockaddr_in &address() const { return address_; }

private:
    pid_t id_;
    sockaddr_in address_{};
};

// The value of VQAPIX for a client that does not fork.
std::string description(rpcprog_t client, rpcprog_t host, pid_t host_process);

} // namespace velt::bench
