// Whose process is at the other end of a connection. The kernel lists every TCP socket of this
// machine with its owner: a peer that stands there is on this machine.

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

#include "apilib/unix/transport/connection.h"

namespace velt
{
namespace
{

// Looks for the peer's socket in a table, whose lines name both ends as in `ends`.
Speaker find_owner(const char *table, const char *ends)
{
    std::FILE *file = std::fopen(table, "re");
    if (!file)
        return Speaker::unknown;
    Speaker found = Speaker::elsewhere;
    char line[512];
    while (std::fgets(line, sizeof line, file)) {
        const char *at = std::strstr(line, ends);
        unsigned owner;
        unsigned long inode;
        if (!at ||
            std::sscanf(at + std::strlen(ends), " %*s %*s %*s %*s %u %*s %lu", &owner, &inode) != 2)
            continue;
        // A socket that its process has closed is said to be root's.
        found = inode == 0                         ? Speaker::gone
                : owner == 0 || owner == geteuid() ? Speaker::trusted
                                                   : Speaker::stranger;
        break;
    }
    std::fclose(file);
    return found;
}

} // namespace

Speaker identify(int descriptor, const sockaddr_in &peer, const in_addr_t *machines,
                 std::size_t count)
{
    sockaddr_in here{};
    socklen_t size = sizeof here;
    if (getsockname(descriptor, reinterpret_cast<sockaddr *>(&here), &size) != 0)
        return Speaker::unknown;
    char ends[160];
    std::snprintf(ends, sizeof ends, " %08X:%04X %08X:%04X", peer.sin_addr.s_addr,
                  ntohs(peer.sin_port), here.sin_addr.s_addr, ntohs(here.sin_port));
    Speaker found = find_owner("/proc/net/tcp", ends);
    if (found == Speaker::elsewhere) {
        // A process may reach an address of version 4 through a socket of version 6.
        const unsigned mapped = htonl(0xFFFF);
        std::snprintf(ends, sizeof ends,
                      " 0000000000000000%08X%08X:%04X 0000000000000000%08X%08X:%04X", mapped,
                      peer.sin_addr.s_addr, ntohs(peer.sin_port), mapped, here.sin_addr.s_addr,
                      ntohs(here.sin_port));
        found = find_owner("/proc/net/tcp6", ends);
        // A system without version 6 has no such table.
        if (found == Speaker::unknown && errno == ENOENT)
            found = Speaker::elsewhere;
    }
    // Only now: a machine that was named may be this one.
    if (found == Speaker::elsewhere)
        for (std::size_t i = 0; i < count; i++)
            if (machines[i] == peer.sin_addr.s_addr)
                return Speaker::trusted;
    return found;
}

} // namespace velt
