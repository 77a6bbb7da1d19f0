// Where host and client find each other: the machine itself, if its port mapper answers, or a
// private place with a loopback interface, a host name and a port mapper of its own.
#ifndef VELT_HOST_PLACE_H
#define VELT_HOST_PLACE_H

#include "host/helper_process.h"
#include "host/portmap.h"

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

namespace velt::host
{

// The text says which step failed, why, and what to do next.
class PlaceError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct PlaceOptions {
    // With this name the machine's own name resolves to 127.0.0.1, so that a client takes the
    // host to be on its own machine. Empty: the name stays.
    std::string host_name = "localhost";
    // How long the private port mapper waits for a peer to complete a record.
    std::chrono::milliseconds patience = PortMapperOptions{}.patience;
    // The real rpcbind to start in place of the private port mapper; needs root.
    std::string rpcbind_program;
};

// Throws PlaceError for a file that a private place hides.
void check_reachable(const std::string &path);

// Whether the port mapper of the machine, or of the place, answers; takes a second at most.
bool rpcbind_answers();

// Moves this process, which must have one thread, into network, mount and host name namespaces of
// its own (for a user who may not make them, inside a user namespace that keeps the user's id)
// and starts a port mapper there, which ends with the returned object. /run is empty in the place,
// and nothing in the place is seen from outside. There is no way back; when it fails, the process
// is of no further use. Throws PlaceError.
[[nodiscard]] HelperProcess enter_private_place(const PlaceOptions &options = {});

struct RegisteredProgram {
    unsigned long program;
    unsigned long version;
    unsigned long protocol; // IPPROTO_TCP or IPPROTO_UDP
    unsigned long port;

    bool operator==(const RegisteredProgram &) const = default;
};

// What the port mapper lists, itself left out. Throws PlaceError when it does not answer.
std::vector<RegisteredProgram> registered_programs();

} // namespace velt::host

#endif
