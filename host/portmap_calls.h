// What is registered with the port mapper, and how one call about it is answered: versions 2
// (portmap), 3 and 4 (rpcbind) of RPC program 100000.
#ifndef VELT_HOST_PORTMAP_CALLS_H
#define VELT_HOST_PORTMAP_CALLS_H

#include <rpc/rpc.h>
#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velt::host
{

// A way to reach a program. The names are those of /etc/netconfig.
struct Transport {
    const char *netid;
    unsigned protocol; // of the IP family; 0 for a local socket
    int family;
    unsigned semantics;
    const char *family_name;
    const char *protocol_name;
};

const Transport *find_transport(std::string_view netid);

// Who calls: over what, and as which user, which only a local socket tells.
struct Registrant {
    const Transport *via = nullptr;
    std::optional<uid_t> uid;
};

// The longest record, in and out.
inline constexpr std::size_t max_portmap_record = std::size_t{64} * 1024;

class Registrations
{
public:
    // With the port mapper itself registered, as reached at `socket_path` and at port 111.
    explicit Registrations(const std::string &socket_path);

    // Answers the call into `reply` and returns the length of the answer; 0 if there is none to
    // give, because `call` is no RPC call.
    std::size_t answer(std::span<char> call, const Registrant &caller, std::span<char> reply);

private:
    struct Entry {
        rpcprog_t program;
        rpcvers_t version;
        const Transport *transport;
        std::string address; // a universal address
        std::optional<uid_t> owner;
    };
    enum class Versions { exact, any };

    accept_stat run(rpcvers_t version, rpcproc_t procedure, XDR *in, XDR *out,
                    const Registrant &caller);
    accept_stat run_portmap(rpcproc_t procedure, XDR *in, XDR *out, const Registrant &caller);
    accept_stat run_rpcbind(rpcvers_t version, rpcproc_t procedure, XDR *in, XDR *out,
                            const Registrant &caller);

    bool set(rpcprog_t program, rpcvers_t version, const Transport *transport,
             std::string_view address, const Registrant &caller);
    template <typename Covers>
    bool unset(rpcprog_t program, rpcvers_t version, const Registrant &caller, Covers covers);
    const Entry *find(rpcprog_t program, rpcvers_t version, const Transport *transport,
                      Versions versions) const;

    bool list_ports(XDR *out) const;
    bool list_addresses(XDR *out) const;
    bool list_entries(XDR *out, rpcprog_t program, rpcvers_t version) const;

    std::vector<Entry> entries_;
};

} // namespace velt::host

#endif
