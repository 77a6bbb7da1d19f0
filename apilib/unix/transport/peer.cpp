// Finds out whose process is at the other end of a connection. The kernel tells the owner of every
// TCP socket of this machine; a peer whose socket it does not know is on another machine.

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "apilib/unix/transport/connection.h"

namespace velt
{
namespace
{

Peer by_owner(unsigned owner, unsigned long inode)
{
    // The kernel names root as the owner of a socket that its process has closed.
    if (inode == 0)
        return Peer::disconnected;
    return owner == 0 || owner == geteuid() ? Peer::trusted : Peer::other_user;
}

// The kernel's socket diagnostics.
class Diagnostics
{
public:
    Diagnostics() : kernel_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG)) {}
    ~Diagnostics()
    {
        if (kernel_ >= 0)
            close(kernel_);
    }
    Diagnostics(const Diagnostics &) = delete;
    Diagnostics &operator=(const Diagnostics &) = delete;

    bool open() const { return kernel_ >= 0; }

    // Returns whose socket is at `local`: with a port in `remote` that which is connected to it,
    // else that which listens. Peer::other_machine when the kernel finds none, or answers no
    // questions.
    Peer owner(const sockaddr_in &local, const sockaddr_in &remote) const
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
        if (!open() || send(kernel_, &question, sizeof question, 0) != sizeof question)
            return Peer::other_machine;
        const ssize_t got = recv(kernel_, answer, sizeof answer, 0);
        const auto *header = reinterpret_cast<const nlmsghdr *>(answer);
        if (got < static_cast<ssize_t>(NLMSG_LENGTH(sizeof(inet_diag_msg))) ||
            header->nlmsg_type != SOCK_DIAG_BY_FAMILY)
            return Peer::other_machine;
        inet_diag_msg found;
        std::memcpy(&found, answer + NLMSG_HDRLEN, sizeof found);
        // When no socket is connected so, the kernel may name one that listens at `local`.
        if (found.id.idiag_sport != local.sin_port || found.id.idiag_dport != remote.sin_port)
            return Peer::other_machine;
        return by_owner(found.idiag_uid, found.idiag_inode);
    }

private:
    int kernel_;
};

// Looks for a socket in a table of /proc/net, whose lines name both ends as in `ends`.
Peer find_owner(const char *table, const char *ends)
{
    std::FILE *file = std::fopen(table, "re");
    if (!file)
        return Peer::unknown;
    Peer found = Peer::other_machine;
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

// Finds the owner in the tables of /proc/net, for kernels without socket diagnostics.
Peer read_tables(const sockaddr_in &local, const sockaddr_in &remote)
{
    char ends[160];
    std::snprintf(ends, sizeof ends, " %08X:%04X %08X:%04X", local.sin_addr.s_addr,
                  ntohs(local.sin_port), remote.sin_addr.s_addr, ntohs(remote.sin_port));
    const Peer found = find_owner("/proc/net/tcp", ends);
    if (found != Peer::other_machine)
        return found;
    // An IPv6 socket may have an IPv4 address, which is mapped.
    const unsigned mapped = htonl(0xFFFF);
    std::snprintf(ends, sizeof ends, " 0000000000000000%08X%08X:%04X 0000000000000000%08X%08X:%04X",
                  mapped, local.sin_addr.s_addr, ntohs(local.sin_port), mapped,
                  remote.sin_addr.s_addr, ntohs(remote.sin_port));
    const Peer six = find_owner("/proc/net/tcp6", ends);
    // A system without IPv6 has no such table.
    return six == Peer::unknown && errno == ENOENT ? Peer::other_machine : six;
}

Peer find_peer(const sockaddr_in &here, const sockaddr_in &peer)
{
    const Diagnostics kernel;
    if (!kernel.open() && (errno == EMFILE || errno == ENFILE))
        return Peer::unknown;
    const Peer found = kernel.owner(peer, here);
    // A kernel with socket diagnostics finds our own end of the connection in any case.
    return found != Peer::other_machine || kernel.owner(here, peer) == Peer::trusted
               ? found
               : read_tables(peer, here);
}

// Returns whether an address is this machine's: a socket can be bound to such an address only.
bool is_ours(in_addr address)
{
    const int probe = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_addr = address;
    // When no socket can be opened, the address counts as this machine's, which trusts nobody by
    // it.
    const bool ours =
        probe < 0 || bind(probe, reinterpret_cast<const sockaddr *>(&at), sizeof at) == 0;
    if (probe >= 0)
        close(probe);
    return ours;
}

// The states of sockets in the tables: UDP sockets match any, listening TCP sockets this one.
constexpr unsigned any_state = 0, listens = 0x0A;

// Counts the sockets bound to an address in a table: those of trusted owners, and the others.
// Several processes may share an address.
void count_owners(const char *table, const sockaddr_in &at, unsigned state, int &trusted,
                  int &others)
{
    std::FILE *file = std::fopen(table, "re");
    if (!file)
        return;
    // A mapped IPv6 address ends with the IPv4 address; a socket bound to all addresses has zeros.
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
            (by_owner(owner, inode) == Peer::trusted ? trusted : others)++;
    }
    std::fclose(file);
}

// Returns whether the address has sockets, and all belong to root or our own user.
bool all_trusted(const char *table, const char *table6, const sockaddr_in &at, unsigned state)
{
    int trusted = 0, others = 0;
    count_owners(table, at, state, trusted, others);
    count_owners(table6, at, state, trusted, others);
    return trusted > 0 && others == 0;
}

// Returns who listens at the address. All that listen at one address and port are of one user, whom
// the kernel, which has to look through all sockets for its tables, finds at once.
Callee listener(const sockaddr_in &service)
{
    const Peer found = Diagnostics().owner(service, {});
    int trusted = found == Peer::trusted, others = found == Peer::other_user;
    if (trusted + others == 0)
        for (const char *table : {"/proc/net/tcp", "/proc/net/tcp6"})
            count_owners(table, service, listens, trusted, others);
    return others > 0 ? Callee::refused : trusted > 0 ? Callee::unproven : Callee::gone;
}

} // namespace

bool transport_trusts(const sockaddr_in &sender)
{
    return all_trusted("/proc/net/udp", "/proc/net/udp6", sender, any_state) &&
           is_ours(sender.sin_addr);
}

bool transport_may_send(const sockaddr_in &receiver)
{
    return !is_ours(receiver.sin_addr) || transport_trusts(receiver);
}

Callee identify_callee(int descriptor, const sockaddr_in &service)
{
    switch (identify(descriptor, service, nullptr, 0)) {
    case Peer::trusted:
    case Peer::other_machine:
        return Callee::trusted;
    case Peer::disconnected:
        return listener(service);
    case Peer::unknown:
        return Callee::unknown;
    case Peer::other_user:
        break;
    }
    return Callee::refused;
}

int error_of(Callee callee)
{
    return callee == Callee::refused ? EACCES : callee == Callee::unknown ? errno : ECONNRESET;
}

Peer identify(int descriptor, const sockaddr_in &peer, const in_addr_t *machines, std::size_t count)
{
    sockaddr_in here{};
    socklen_t size = sizeof here;
    // The peer has reset the connection, and the kernel no longer knows either end.
    if (getpeername(descriptor, reinterpret_cast<sockaddr *>(&here), &size) != 0)
        return Peer::disconnected;
    if (getsockname(descriptor, reinterpret_cast<sockaddr *>(&here), &size) != 0)
        return Peer::unknown;
    const Peer found = find_peer(here, peer);
    if (found == Peer::other_machine && is_ours(peer.sin_addr))
        return Peer::disconnected;
    // The list comes last, because a machine in it may turn out to be this one.
    if (found == Peer::other_machine)
        for (std::size_t i = 0; i < count; i++)
            if (machines[i] == peer.sin_addr.s_addr)
                return Peer::trusted;
    return found;
}

} // namespace velt
