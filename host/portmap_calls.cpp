#include "host/portmap_calls.h"

#include <arpa/inet.h>
#include <netconfig.h>
#include <netinet/in.h>
#include <rpc/pmap_prot.h>
#include <rpc/rpcb_prot.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>

namespace velt::host
{
namespace
{

constexpr std::array<Transport, 5> transports{{
    {"tcp", IPPROTO_TCP, AF_INET, NC_TPI_COTS_ORD, NC_INET, NC_TCP},
    {"udp", IPPROTO_UDP, AF_INET, NC_TPI_CLTS, NC_INET, NC_UDP},
    {"tcp6", IPPROTO_TCP, AF_INET6, NC_TPI_COTS_ORD, NC_INET6, NC_TCP},
    {"udp6", IPPROTO_UDP, AF_INET6, NC_TPI_CLTS, NC_INET6, NC_UDP},
    {"local", 0, AF_UNIX, NC_TPI_COTS_ORD, NC_LOOPBACK, NC_NOPROTO},
}};

// Bounds what the mapper keeps; a list of all of it is one record.
constexpr std::size_t max_registrations = 256;
constexpr std::size_t longest_address = sizeof(sockaddr_un::sun_path);
// An entry takes most room in a list of entries: seven words, three short names, an address.
static_assert(max_registrations * (7 * 4 + 3 * 16 + longest_address + 4) < max_portmap_record);

constexpr rpcvers_t portmap_version = PMAPVERS;
constexpr uid_t superuser = 0;
constexpr std::string_view any_ipv4 = "0.0.0.0.";

const Transport *find_ipv4_transport(unsigned long protocol)
{
    const auto found = std::ranges::find_if(transports, [&](const Transport &transport) {
        return transport.family == AF_INET && transport.protocol == protocol;
    });
    return found == transports.end() ? nullptr : &*found;
}

// A universal address of the IP family is a host address and the port's two bytes, in decimal and
// with points between them.
struct IpAddress {
    std::string host;
    unsigned port;
};

std::optional<unsigned> parse_byte(std::string_view text)
{
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value > 255)
        return std::nullopt;
    return value;
}

std::optional<IpAddress> parse_address(std::string_view text)
{
    const std::size_t low = text.rfind('.');
    if (low == text.npos || low == 0)
        return std::nullopt;
    const std::size_t high = text.rfind('.', low - 1);
    if (high == text.npos)
        return std::nullopt;
    const auto low_byte = parse_byte(text.substr(low + 1));
    const auto high_byte = parse_byte(text.substr(high + 1, low - high - 1));
    if (!low_byte || !high_byte)
        return std::nullopt;
    return IpAddress{std::string(text.substr(0, high)), *high_byte * 256 + *low_byte};
}

std::string any_address(unsigned port)
{
    return std::string(any_ipv4) + std::to_string(port / 256) + "." + std::to_string(port % 256);
}

bool valid_address(const Transport &transport, std::string_view address)
{
    if (address.size() >= longest_address)
        return false;
    if (transport.family == AF_UNIX)
        return address.starts_with('/');
    const auto parsed = parse_address(address);
    in6_addr host{};
    return parsed && inet_pton(transport.family, parsed->host.c_str(), &host) == 1;
}

// The address under which a caller on this machine reaches a program that listens everywhere.
std::string reachable(const std::string &address)
{
    if (address.starts_with(any_ipv4))
        return "127.0.0.1." + address.substr(any_ipv4.size());
    return address;
}

std::string owner_name(std::optional<uid_t> owner)
{
    if (!owner)
        return "unknown";
    return *owner == superuser ? "superuser" : std::to_string(*owner);
}

// What was registered over the loopback interface has no known owner and is anyone's.
bool may_remove(const Registrant &caller, std::optional<uid_t> owner)
{
    return !owner || caller.uid == owner || caller.uid == superuser;
}

template <typename T, bool_t (*Code)(XDR *, T *)>
class Decoded
{
public:
    explicit Decoded(XDR *in) : valid_(Code(in, &value_)) {}
    Decoded(const Decoded &) = delete;
    Decoded &operator=(const Decoded &) = delete;
    ~Decoded()
    {
        XDR release{};
        release.x_op = XDR_FREE;
        Code(&release, &value_);
    }

    explicit operator bool() const { return valid_; }
    const T *operator->() const { return &value_; }

private:
    T value_{};
    bool valid_;
};

using PmapArgs = Decoded<pmap, xdr_pmap>;
using RpcbArgs = Decoded<rpcb, xdr_rpcb>;

accept_stat outcome(bool encoded)
{
    return encoded ? SUCCESS : SYSTEM_ERR;
}

bool put(XDR *out, bool value)
{
    bool_t flag = value;
    return xdr_bool(out, &flag);
}

bool put(XDR *out, unsigned value)
{
    return xdr_u_int(out, &value);
}

bool put(XDR *out, std::string text)
{
    char *chars = text.data();
    return xdr_wrapstring(out, &chars);
}

// A record to encode points at its strings by plain `char *`, though they are only read.
char *text(const char *chars)
{
    return const_cast<char *>(chars);
}
char *text(const std::string &chars)
{
    return text(chars.c_str());
}

bool_t no_results(XDR *, ...)
{
    return TRUE;
}

bool put_reply(XDR *out, u_int32_t xid, accept_stat status)
{
    rpc_msg reply{};
    reply.rm_xid = xid;
    reply.rm_direction = REPLY;
    reply.rm_reply.rp_stat = MSG_ACCEPTED;
    accepted_reply &accepted = reply.acpted_rply;
    accepted.ar_stat = status;
    if (status == PROG_MISMATCH) {
        accepted.ar_vers.low = portmap_version;
        accepted.ar_vers.high = RPCBVERS4;
    } else {
        // The procedure puts its results behind the header.
        accepted.ar_results.proc = no_results;
    }
    return xdr_replymsg(out, &reply);
}

} // namespace

const Transport *find_transport(std::string_view netid)
{
    const auto found = std::ranges::find(transports, netid, &Transport::netid);
    return found == transports.end() ? nullptr : &*found;
}

Registrations::Registrations(const std::string &socket_path)
{
    const auto add = [&](const char *netid, const std::string &address, rpcvers_t lowest) {
        for (rpcvers_t version = RPCBVERS4; version >= lowest; --version)
            entries_.push_back({RPCBPROG, version, find_transport(netid), address, superuser});
    };
    add("tcp", any_address(PMAPPORT), portmap_version);
    add("udp", any_address(PMAPPORT), portmap_version);
    add("local", socket_path, RPCBVERS);
}

bool Registrations::set(rpcprog_t program, rpcvers_t version, const Transport *transport,
                        std::string_view address, const Registrant &caller)
{
    if (transport == nullptr || !valid_address(*transport, address))
        return false;
    if (const Entry *old = find(program, version, transport, Versions::exact))
        return old->address == address;
    if (entries_.size() == max_registrations)
        return false;
    entries_.push_back({program, version, transport, std::string(address), caller.uid});
    return true;
}

// True when there was something to remove and all of it was the caller's to remove.
template <typename Covers>
bool Registrations::unset(rpcprog_t program, rpcvers_t version, const Registrant &caller,
                          Covers covers)
{
    bool refused = false;
    const std::size_t removed = std::erase_if(entries_, [&](const Entry &entry) {
        if (entry.program != program || entry.version != version || !covers(*entry.transport))
            return false;
        const bool allowed = may_remove(caller, entry.owner);
        refused |= !allowed;
        return allowed;
    });
    return removed > 0 && !refused;
}

const Registrations::Entry *Registrations::find(rpcprog_t program, rpcvers_t version,
                                                const Transport *transport, Versions versions) const
{
    const Entry *other_version = nullptr;
    for (const Entry &entry : entries_) {
        if (entry.program != program || entry.transport != transport)
            continue;
        if (entry.version == version)
            return &entry;
        if (other_version == nullptr)
            other_version = &entry;
    }
    return versions == Versions::any ? other_version : nullptr;
}

// The lists are chains of optional records: a flag before each, and one at the end.

bool Registrations::list_ports(XDR *out) const
{
    for (const Entry &entry : entries_) {
        if (entry.transport->family != AF_INET)
            continue;
        const auto address = parse_address(entry.address);
        pmap map{entry.program, entry.version, entry.transport->protocol,
                 address ? address->port : 0};
        if (!put(out, true) || !xdr_pmap(out, &map))
            return false;
    }
    return put(out, false);
}

bool Registrations::list_addresses(XDR *out) const
{
    for (const Entry &entry : entries_) {
        const std::string owner = owner_name(entry.owner);
        rpcb map{entry.program, entry.version, text(entry.transport->netid), text(entry.address),
                 text(owner)};
        if (!put(out, true) || !xdr_rpcb(out, &map))
            return false;
    }
    return put(out, false);
}

bool Registrations::list_entries(XDR *out, rpcprog_t program, rpcvers_t version) const
{
    for (const Entry &entry : entries_) {
        if (entry.program != program || entry.version != version)
            continue;
        const std::string address = reachable(entry.address);
        const Transport &transport = *entry.transport;
        rpcb_entry item{text(address), text(transport.netid), transport.semantics,
                        text(transport.family_name), text(transport.protocol_name)};
        if (!put(out, true) || !xdr_rpcb_entry(out, &item))
            return false;
    }
    return put(out, false);
}

accept_stat Registrations::run_portmap(rpcproc_t procedure, XDR *in, XDR *out,
                                       const Registrant &caller)
{
    switch (procedure) {
    case PMAPPROC_NULL:
        return SUCCESS;
    case PMAPPROC_DUMP:
        return outcome(list_ports(out));
    case PMAPPROC_SET:
    case PMAPPROC_UNSET:
    case PMAPPROC_GETPORT:
        break;
    default:
        return PROC_UNAVAIL;
    }

    const PmapArgs args(in);
    if (!args)
        return GARBAGE_ARGS;
    const auto program = static_cast<rpcprog_t>(args->pm_prog);
    const auto version = static_cast<rpcvers_t>(args->pm_vers);
    const Transport *transport = find_ipv4_transport(args->pm_prot);
    if (procedure == PMAPPROC_SET) {
        const bool valid = args->pm_port <= 0xFFFF;
        const auto port = static_cast<unsigned>(args->pm_port);
        return outcome(
            put(out, valid && set(program, version, transport, any_address(port), caller)));
    }
    if (procedure == PMAPPROC_UNSET) {
        // Of the argument, only program and version count.
        const auto covers = [](const Transport &each) { return each.family == AF_INET; };
        return outcome(put(out, unset(program, version, caller, covers)));
    }
    const Entry *found = find(program, version, transport, Versions::any);
    const auto address = found ? parse_address(found->address) : std::nullopt;
    return outcome(put(out, address ? address->port : 0U));
}

accept_stat Registrations::run_rpcbind(rpcvers_t version, rpcproc_t procedure, XDR *in, XDR *out,
                                       const Registrant &caller)
{
    switch (procedure) {
    case NULLPROC:
        return SUCCESS;
    case RPCBPROC_DUMP:
        return outcome(list_addresses(out));
    case RPCBPROC_GETTIME:
        return outcome(put(out, static_cast<unsigned>(std::time(nullptr))));
    case RPCBPROC_SET:
    case RPCBPROC_UNSET:
    case RPCBPROC_GETADDR:
        break;
    case RPCBPROC_GETVERSADDR:
    case RPCBPROC_GETADDRLIST:
        if (version >= RPCBVERS4)
            break;
        [[fallthrough]];
    default:
        return PROC_UNAVAIL;
    }

    const RpcbArgs args(in);
    if (!args)
        return GARBAGE_ARGS;
    const std::string_view netid = args->r_netid;
    switch (procedure) {
    case RPCBPROC_SET:
        return outcome(
            put(out, set(args->r_prog, args->r_vers, find_transport(netid), args->r_addr, caller)));
    case RPCBPROC_UNSET: {
        // No transport named means all of them.
        const auto covers = [&](const Transport &each) {
            return netid.empty() || netid == each.netid;
        };
        return outcome(put(out, unset(args->r_prog, args->r_vers, caller, covers)));
    }
    case RPCBPROC_GETADDRLIST:
        return outcome(list_entries(out, args->r_prog, args->r_vers));
    default:
        break;
    }
    // An address is asked for on the transport over which the caller will reach the program; the
    // argument's own naming of it is ignored.
    const Versions versions = procedure == RPCBPROC_GETADDR ? Versions::any : Versions::exact;
    const Entry *found = find(args->r_prog, args->r_vers, caller.via, versions);
    return outcome(put(out, found ? reachable(found->address) : std::string()));
}

accept_stat Registrations::run(rpcvers_t version, rpcproc_t procedure, XDR *in, XDR *out,
                               const Registrant &caller)
{
    if (version == portmap_version)
        return run_portmap(procedure, in, out, caller);
    if (version == RPCBVERS || version == RPCBVERS4)
        return run_rpcbind(version, procedure, in, out, caller);
    return PROG_MISMATCH;
}

std::size_t Registrations::answer(std::span<char> call, const Registrant &caller,
                                  std::span<char> reply)
{
    XDR in{};
    xdrmem_create(&in, call.data(), static_cast<u_int>(call.size()), XDR_DECODE);
    XDR out{};
    xdrmem_create(&out, reply.data(), static_cast<u_int>(reply.size()), XDR_ENCODE);

    std::array<char, MAX_AUTH_BYTES> credentials;
    std::array<char, MAX_AUTH_BYTES> verifier;
    rpc_msg message{};
    call_body &body = message.rm_call;
    body.cb_cred.oa_base = credentials.data();
    body.cb_verf.oa_base = verifier.data();
    if (!xdr_callmsg(&in, &message))
        return 0;

    accept_stat status = SUCCESS;
    if (!put_reply(&out, message.rm_xid, status))
        return 0;
    if (body.cb_prog != RPCBPROG)
        status = PROG_UNAVAIL;
    else
        status = run(body.cb_vers, body.cb_proc, &in, &out, caller);
    if (status != SUCCESS) {
        xdr_setpos(&out, 0);
        if (!put_reply(&out, message.rm_xid, status))
            return 0;
    }
    return xdr_getpos(&out);
}

} // namespace velt::host
