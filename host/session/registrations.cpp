#include "host/session/registrations.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "common/error.h"

namespace velt::host
{
namespace
{

using Clock = std::chrono::steady_clock;

// Program numbers come from the range that nobody assigns; each process begins at another place in
// it.
constexpr UIntT transient_programs = 0x40000000;
constexpr UIntT transient_count = 0x20000000;
constexpr UIntT programs_per_process = 128;
constexpr int most_programs = 4096;

} // namespace

UIntT free_program(PortMapper &mapper, const std::function<bool(UIntT)> &is_used)
{
    static UIntT next;
    const UIntT first = (static_cast<UIntT>(getpid()) & 0x3FFFFF) * programs_per_process;
    for (int tries = 0; tries < most_programs; tries++) {
        const UIntT program = transient_programs + (first + next++) % transient_count;
        const auto is_registered = [&](unsigned protocol) {
            return mapper.find(program, service_version, protocol) != 0;
        };
        if (!(is_used && is_used(program)) && !is_registered(IPPROTO_TCP) &&
            !is_registered(IPPROTO_UDP))
            return program;
    }
    throw Error(no_mapper, "no free program number: this process has started too many clients");
}

UIntT Registrations::add(unsigned protocol, in_port_t port)
{
    const Registration made{free_program(*mapper_), service_version, protocol, port};
    if (!mapper_->set(made))
        throw Error(no_mapper, "cannot register program " + std::to_string(made.program) +
                                   " with the port mapper: see that rpcbind runs and lets you, or "
                                   "take --port-mapper own");
    made_.push_back(made);
    return made.program;
}

void Registrations::renew()
{
    if (!are_the_machines())
        return;
    const auto began = Clock::now();
    for (const Registration &each : made_) {
        const in_port_t found = mapper_->find(each.program, each.version, each.protocol);
        const bool missing =
            found == 0 ? rpc_createerr.cf_stat == RPC_PROGNOTREGISTERED : found != each.port;
        if (missing && !mapper_->set(each))
            reports_.unknown_process("registration of " + std::to_string(each.program),
                                     "the port mapper has lost program " +
                                         std::to_string(each.program) +
                                         ", and another holds it: clients do not find the host");
    }
    // A port mapper that takes long to answer is asked less often.
    const auto took = Clock::now() - began;
    next_check_ = Clock::now() + std::max<Clock::duration>(std::chrono::seconds(5), 20 * took);
}

void Registrations::renew_when_due()
{
    if (Clock::now() >= next_check_)
        renew();
}

void Registrations::remove_all()
{
    for (const Registration &each : std::exchange(made_, {}))
        mapper_->unset(each.program, each.version);
}

} // namespace velt::host
