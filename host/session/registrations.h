// Registers the host's programs with the port mapper, and finds numbers for those of its clients.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "host/portmap/portmap.h"
#include "host/session/reports.h"

namespace velt::host
{

// Returns a program number that nobody uses, as far as the port mapper and `is_used` know. Throws
// Error.
UIntT free_program(PortMapper &mapper, const std::function<bool(UIntT)> &is_used = nullptr);

class Registrations
{
public:
    Registrations(std::shared_ptr<PortMapper> mapper, Reports &reports)
        : mapper_(std::move(mapper)), reports_(reports)
    {
    }

    PortMapper &mapper() { return *mapper_; }
    // Returns whether the port mapper is the machine's, which may be restarted and then has lost
    // what it was told before.
    bool are_the_machines() const { return mapper_->name().empty(); }

    // Registers a program of the host and returns its number. Throws Error.
    UIntT add(unsigned protocol, in_port_t port);
    // Registers again what the machine's port mapper has lost.
    void renew();
    // Does the same if enough time has passed since the last check.
    void renew_when_due();
    void remove_all();

private:
    std::shared_ptr<PortMapper> mapper_;
    Reports &reports_;
    std::vector<Registration> made_;
    std::chrono::steady_clock::time_point next_check_;
};

} // namespace velt::host
