#include "host/portmap/portmap.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <rpc/pmap_prot.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <system_error>

#include "apilib/unix/transport/transport.h"
#include "apilib/wire/routines.h"
#include "common/descriptor.h"

namespace velt::host
{
namespace
{

constexpr timeval time_to_answer{3, 0};

// The limit is far above the number of clients in one person's session.
constexpr std::size_t most_registrations = 4096;

} // namespace

bool MachinePortMapper::answers()
{
    return mapper_answers(time_to_answer);
}

std::string MachinePortMapper::hindrance()
{
    if (!answers())
        return "the machine's port mapper does not answer: start rpcbind";
    // Clients reach the port mapper by the machine's name.
    char name[HOST_NAME_MAX + 1] = "";
    gethostname(name, sizeof name - 1);
    if (!gethostbyname(name))
        return "this machine's name, " + std::string(name) +
               ", has no address: give it one in /etc/hosts";
    return {};
}

bool MachinePortMapper::set(const Registration &registration)
{
    return mapper_set(registration.program, registration.version, registration.protocol,
                      registration.port);
}

bool MachinePortMapper::unset(UIntT program, UIntT version)
{
    using Clock = std::chrono::steady_clock;
    if (patience_ <= Clock::duration::zero())
        return false;
    const auto began = Clock::now();
    const bool removed = mapper_unset(program, version);
    patience_ = removed ? most_patience : patience_ - (Clock::now() - began);
    return removed;
}

in_port_t MachinePortMapper::find(UIntT program, UIntT version, unsigned protocol)
{
    return mapper_find(on_loopback(), program, version, protocol, time_to_answer);
}

SessionPortMapper::SessionPortMapper(Report report)
    : report_(std::move(report)),
      service_(transport_listen({dispatch, turned_away, nullptr, this}, htonl(INADDR_LOOPBACK)))
{
    if (!service_)
        throw std::system_error(errno, std::generic_category(),
                                "no port mapper on the loopback interface");
    transport_set_program(service_, PMAPPROG, PMAPVERS);
    // The interface may have its address and still carry no packets.
    const Descriptor probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_in here = on_loopback(service_->xp_port);
    if (probe &&
        connect(probe.get(), reinterpret_cast<const sockaddr *>(&here), sizeof here) != 0) {
        const int error = errno;
        svc_destroy(service_);
        throw std::system_error(error, std::generic_category(),
                                "the loopback interface does not work (ip link set lo up)");
    }
}

SessionPortMapper::~SessionPortMapper()
{
    svc_destroy(service_);
}

bool SessionPortMapper::set(const Registration &wanted)
{
    const auto same = std::ranges::find_if(registrations_, [&](const Registration &each) {
        return each.program == wanted.program && each.version == wanted.version &&
               each.protocol == wanted.protocol;
    });
    if (same != registrations_.end())
        return same->port == wanted.port;
    if (wanted.port == 0 || registrations_.size() == most_registrations)
        return false;
    registrations_.push_back(wanted);
    return true;
}

bool SessionPortMapper::unset(UIntT program, UIntT version)
{
    return std::erase_if(registrations_, [=](const Registration &each) {
               return each.program == program && each.version == version;
           }) > 0;
}

in_port_t SessionPortMapper::find(UIntT program, UIntT version, unsigned protocol)
{
    in_port_t found = 0;
    for (const Registration &each : registrations_)
        if (each.program == program && each.protocol == protocol &&
            (found == 0 || each.version == version))
            found = each.port;
    if (found == 0)
        rpc_createerr.cf_stat = RPC_PROGNOTREGISTERED;
    return found;
}

// No exception may leave this function: the transport does not handle any.
void SessionPortMapper::dispatch(void *context, svc_req *request, SVCXPRT *connection)
try {
    const auto answer = [&](u_int word) {
        svc_sendreply(connection, routine<UIntT>(), reinterpret_cast<char *>(&word));
    };
    auto &mapper = *static_cast<SessionPortMapper *>(context);
    const rpcproc_t procedure = request->rq_proc;
    if (procedure == PMAPPROC_NULL) {
        svc_sendreply(connection, routine<void>(), nullptr);
        return;
    }
    if (procedure != PMAPPROC_SET && procedure != PMAPPROC_UNSET && procedure != PMAPPROC_GETPORT)
        return svcerr_noproc(connection);
    pmap map{};
    if (!svc_getargs(connection, reinterpret_cast<xdrproc_t>(xdr_pmap),
                     reinterpret_cast<char *>(&map)))
        return svcerr_decode(connection);
    const auto program = static_cast<UIntT>(map.pm_prog), version = static_cast<UIntT>(map.pm_vers);
    const auto protocol = static_cast<unsigned>(map.pm_prot);
    if (procedure == PMAPPROC_GETPORT)
        answer(mapper.find(program, version, protocol));
    else if (procedure == PMAPPROC_UNSET)
        answer(mapper.unset(program, version));
    else
        answer((protocol == IPPROTO_TCP || protocol == IPPROTO_UDP) && map.pm_port <= 0xFFFF &&
               mapper.set({program, version, protocol, static_cast<in_port_t>(map.pm_port)}));
} catch (const std::exception &) {
    svcerr_systemerr(connection);
}

void SessionPortMapper::turned_away(void *context, const char *what)
try {
    const auto &mapper = *static_cast<SessionPortMapper *>(context);
    if (mapper.report_)
        mapper.report_(what);
} catch (const std::exception &) {
    return;
}

} // namespace velt::host
