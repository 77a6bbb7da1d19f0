// The host's programs at the port mapper, and numbers for those of its clients.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "host/portmap/portmap.h"
#include "host/session/reports.h"

namespace velt::host
{

class Registrations
{
public:
    Registrations(std::shared_ptr<PortMapper> mapper, Reports &reports)
        : mapper_(std::move(mapper)), reports_(reports)
    {
    }

    PortMapper &mapper() { return *mapper_; }
    // Whether the port mapper is the machine's, which may be started anew and then knows nothing of
    // what it was told before.
    bool are_the_machines() const { return mapper_->name().empty(); }

    // A number that nobody uses, as far as the port mapper and `is_used` know. Throws Error.
    UIntT free_program(const std::function<bool(UIntT)> &is_used = nullptr);
    // Registers a program of the host and returns its number. Throws Error.
    UIntT add(unsigned protocol, in_port_t port);
    // Registers again what the machine's port mapper has lost.
    void renew();
    // The same from time to time.
    void renew_when_due();
    void remove_all();

private:
    std::shared_ptr<PortMapper> mapper_;
    Reports &reports_;
    std::vector<Registration> made_;
    std::chrono::steady_clock::time_point next_check_;
};

} // namespace velt::host
