// As much of a host as the benchmarks need: it answers the acknowledgement, the hand-over of
// control and one call of each shape, in the one thread that there is.
#pragma once

#include <functional>
#include <netinet/in.h>
#include <rpc/rpc.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace velt::bench
{

// How many calls of each kind have been answered.
struct Served {
    std::size_t acknowledgements = 0;
    std::size_t hand_overs = 0;
};

// The service of this process, which can have one; its port. Throws std::runtime_error.
in_port_t open_service(rpcprog_t program);
[[noreturn]] void serve_forever();
// Serves until one more call of the kind has been answered. Throws when none comes.
void serve_one(std::size_t Served::*kind);

// Procedures of the host go by their stubs' names.
constexpr rpcproc_t number_of(std::string_view stub)
{
#define V_PROCEDURE(number, name, argument, result)                                                \
    if (stub == #name)                                                                             \
        return number;
#include "velt/tables/procedures.def"
    throw std::logic_error("no such stub");
}

// A process that serves: it tells its port first. It does not outlive this object.
class Server
{
public:
    explicit Server(void (*serve)(const std::function<void(in_port_t)> &tell));
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    pid_t id() const { return id_; }
    const sockaddr_in &address() const { return address_; }

private:
    pid_t id_;
    sockaddr_in address_{};
};

// The start-up description for a client that does not fork.
std::string description(rpcprog_t client, rpcprog_t host, pid_t host_process);

} // namespace velt::bench
