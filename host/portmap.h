// A small port mapper (RPC program 100000): it answers what the RPC library asks, over the local
// socket and over port 111 of the loopback interface, where no system service does.
#ifndef VELT_HOST_PORTMAP_H
#define VELT_HOST_PORTMAP_H

#include "host/helper_process.h"

#include <chrono>
#include <cstddef>
#include <string>

namespace velt::host
{

struct PortMapperOptions {
    // The local socket; an old one at this path is replaced.
    std::string socket_path;
    // A peer must complete each of its records within this time.
    std::chrono::milliseconds patience = std::chrono::seconds(30);
};

// Connections served at once; one more and the one that has been silent longest is closed.
inline constexpr std::size_t port_mapper_connections = 64;

// Starts the port mapper, which already listens when this returns and ends with the returned
// object. Throws std::system_error, whose text names the address.
[[nodiscard]] HelperProcess start_port_mapper(const PortMapperOptions &options);

} // namespace velt::host

#endif
