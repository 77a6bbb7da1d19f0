// Whose process is at the other end of a connection. The kernel knows every TCP socket of this
// machine with its owner: a peer that it knows is on this machine.

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <sys/socket.h>
#include <unistd.h>

#include "apilib/unix/transport/connection.h"

namespace velt
{
namespace
{

Speaker by_owner(unsigned owner, unsigned long inode)
{
    // A socket that its process has closed is said to be root's.
    if (inode == 0)
        return Speaker::gone;
    return owner == 0 || owner == geteuid() ? Speaker::trusted : Speaker::stranger;
}

// Asks for the socket that is at `local` and connected to `remote`.
Speaker ask_kernel(int kernel, const sockaddr_in &local, const sockaddr_in &remote)
{
    struct {
        nlmsghdr header;
        inet_diag_req_v2 request;
    } question{};
    question.header.nlmsg_len = sizeof question;
    question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    question.header.nlmsg_flags = NLM_F_REQUEST;
    question.request.sdiag_family = AF_INET;
    question.request.sdiag_protocol = IPPROTO_TCP;
    question.request.idiag_states = ~0U;
    inet_diag_sockid &id = question.request.id;
    id.idiag_sport = local.sin_port;
    id.idiag_dport = remote.sin_port;
    id.idiag_src[0] = local.sin_addr.s_addr;
    id.idiag_dst[0] = remote.sin_addr.s_addr;
    id.idiag_cookie[0] = id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;

    alignas(nlmsghdr) char answer[1024];
    if (send(kernel, &question, sizeof question, 0) != sizeof question)
        return Speaker::unknown;
    const ssize_t got = recv(kernel, answer, sizeof answer, 0);
    const auto *header = reinterpret_cast<const nlmsghdr *>(answer);
    if (got < static_cast<ssize_t>(NLMSG_LENGTH(sizeof(inet_diag_msg))) ||
        header->nlmsg_type != SOCK_DIAG_BY_FAMILY)
        return Speaker::elsewhere;
    inet_diag_msg found;
    std::memcpy(&found, answer + NLMSG_HDRLEN, sizeof found);
    // Where there is none, a socket that listens there may be named.
    if (found.id.idiag_dport != remote.sin_port)
        return Speaker::elsewhere;
    return by_owner(found.idiag_uid, found.idiag_inode);
}

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
        found = by_owner(owner, inode);
        break;
    }
    std::fclose(file);
    return found;
}

// The same where the kernel is built to be read only.
Speaker read_tables(const sockaddr_in &local, const sockaddr_in &remote)
{
    char ends[160];
    std::snprintf(ends, sizeof ends, " %08X:%04X %08X:%04X", local.sin_addr.s_addr,
                  ntohs(local.sin_port), remote.sin_addr.s_addr, ntohs(remote.sin_port));
    const Speaker found = find_owner("/proc/net/tcp", ends);
    if (found != Speaker::elsewhere)
        return found;
    // A process may reach an address of version 4 through a socket of version 6.
    const unsigned mapped = htonl(0xFFFF);
    std::snprintf(ends, sizeof ends, " 0000000000000000%08X%08X:%04X 0000000000000000%08X%08X:%04X",
                  mapped, local.sin_addr.s_addr, ntohs(local.sin_port), mapped,
                  remote.sin_addr.s_addr, ntohs(remote.sin_port));
    const Speaker six = find_owner("/proc/net/tcp6", ends);
    // A system without version 6 has no such table.
    return six == Speaker::unknown && errno == ENOENT ? Speaker::elsewhere : six;
}

Speaker find_speaker(const sockaddr_in &here, const sockaddr_in &peer)
{
    const int kernel = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
    if (kernel < 0 && (errno == EMFILE || errno == ENFILE))
        return Speaker::unknown;
    // A kernel that answers at all knows our own end.
    const bool answers = kernel >= 0 && ask_kernel(kernel, here, peer) == Speaker::trusted;
    const Speaker found = answers ? ask_kernel(kernel, peer, here) : read_tables(peer, here);
    if (kernel >= 0)
        close(kernel);
    return found;
}

// Whether an address is this machine's: then a socket can have it.
bool is_ours(in_addr address)
{
    const int probe = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_addr = address;
    // Without a socket to try it with, nobody is trusted by an address.
    const bool ours =
        probe < 0 || bind(probe, reinterpret_cast<const sockaddr *>(&at), sizeof at) == 0;
    if (probe >= 0)
        close(probe);
    return ours;
}

// In which state the tables have a socket for datagrams, and one that listens.
constexpr unsigned any_state = 0, listens = 0x0A;

// Counts the sockets in a table that have an address: those that may speak, and the others. More
// than one process may have the same.
void count_owners(const char *table, const sockaddr_in &at, unsigned state, int &trusted,
                  int &others)
{
    std::FILE *file = std::fopen(table, "re");
    if (!file)
        return;
    // Addresses of version 6 end with one of version 4; all zero is any.
    char address[9];
    std::snprintf(address, sizeof address, "%08X", at.sin_addr.s_addr);
    char line[512];
    while (std::fgets(line, sizeof line, file)) {
        char host[33];
        unsigned port, found, owner;
        unsigned long inode;
        if (std::sscanf(line, " %*[^:]: %32[^:]:%x %*s %x %*s %*s %*s %u %*s %lu", host, &port,
                        &found, &owner, &inode) != 5 ||
            port != ntohs(at.sin_port) || (state != any_state && found != state) ||
            std::strlen(host) < 8)
            continue;
        const char *tail = host + std::strlen(host) - 8;
        if (std::strcmp(tail, address) == 0 || std::strcmp(tail, "00000000") == 0)
            (by_owner(owner, inode) == Speaker::trusted ? trusted : others)++;
    }
    std::fclose(file);
}

// Whether all sockets of an address are of root or of our own user.
bool is_trusted(const char *table, const char *table6, const sockaddr_in &at, unsigned state)
{
    int trusted = 0, others = 0;
    count_owners(table, at, state, trusted, others);
    count_owners(table6, at, state, trusted, others);
    return trusted > 0 && others == 0;
}

} // namespace

bool transport_trusts(const sockaddr_in &sender)
{
    return is_trusted("/proc/net/udp", "/proc/net/udp6", sender, any_state) &&
           is_ours(sender.sin_addr);
}

bool transport_may_send(const sockaddr_in &receiver)
{
    return !is_ours(receiver.sin_addr) || transport_trusts(receiver);
}

Callee identify_callee(int descriptor, const sockaddr_in &service)
{
    switch (identify(descriptor, service, nullptr, 0)) {
    case Speaker::trusted:
    case Speaker::elsewhere:
        return Callee::trusted;
    case Speaker::gone:
        return is_trusted("/proc/net/tcp", "/proc/net/tcp6", service, listens) ? Callee::unproven
                                                                               : Callee::refused;
    default:
        return Callee::refused;
    }
}

Speaker identify(int descriptor, const sockaddr_in &peer, const in_addr_t *machines,
                 std::size_t count)
{
    sockaddr_in here{};
    socklen_t size = sizeof here;
    // The peer has broken the connection off, and the kernel has forgotten both ends.
    if (getpeername(descriptor, reinterpret_cast<sockaddr *>(&here), &size) != 0)
        return Speaker::gone;
    if (getsockname(descriptor, reinterpret_cast<sockaddr *>(&here), &size) != 0)
        return Speaker::unknown;
    const Speaker found = find_speaker(here, peer);
    if (found == Speaker::elsewhere && is_ours(peer.sin_addr))
        return Speaker::gone;
    // Only now: a machine that was named may be this one.
    if (found == Speaker::elsewhere)
        for (std::size_t i = 0; i < count; i++)
            if (machines[i] == peer.sin_addr.s_addr)
                return Speaker::trusted;
    return found;
}

} // namespace velt
