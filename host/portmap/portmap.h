// Port mappers, with which the programs of a host and its clients are registered and found by their
// numbers.
#pragma once

#include <rpc/rpc.h>
#include <netinet/in.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "velt/scalars.h"

namespace velt::host
{

struct Registration {
    UIntT program;
    UIntT version;
    unsigned protocol; // IPPROTO_TCP or IPPROTO_UDP
    in_port_t port;

    bool operator==(const Registration &) const = default;
};

class PortMapper
{
public:
    virtual ~PortMapper() = default;

    // Adds a registration. Returns false when the port mapper cannot be told, or has another port
    // for that program.
    virtual bool set(const Registration &registration) = 0;
    // Removes the program's registrations with all protocols; returns false when there is none.
    virtual bool unset(UIntT program, UIntT version) = 0;
    // Returns the program's port, or that of another version of it, or 0 with rpc_createerr set
    // when there is none.
    virtual in_port_t find(UIntT program, UIntT version, unsigned protocol) = 0;
    // Returns the value of VQPMAP by which clients find the port mapper; empty for the machine's.
    virtual std::string name() const = 0;
};

// For a session without sockets, in which nobody looks for a program.
class NoPortMapper : public PortMapper
{
public:
    bool set(const Registration &) override { return true; }
    bool unset(UIntT, UIntT) override { return true; }
    in_port_t find(UIntT, UIntT, unsigned) override { return 0; }
    std::string name() const override { return "none"; }
};

// The machine's own port mapper, on port 111.
class MachinePortMapper : public PortMapper
{
public:
    // Returns whether it answers, for which it has a limited time.
    static bool answers();
    // Returns why clients cannot use it and what helps; empty when they can.
    static std::string hindrance();

    bool set(const Registration &registration) override;
    bool unset(UIntT program, UIntT version) override;
    in_port_t find(UIntT program, UIntT version, unsigned protocol) override;
    std::string name() const override { return {}; }

private:
    // The time that removals may still take while the port mapper does not answer.
    std::chrono::steady_clock::duration patience_ = most_patience;
    static constexpr std::chrono::seconds most_patience{3};
};

// A port mapper that this process serves, together with the transport, on a port of the loopback
// interface, for root and the same user.
class SessionPortMapper : public PortMapper
{
public:
    using Report = std::function<void(const char *)>;

    // `report` is called for each sender that is turned away. Throws std::system_error.
    explicit SessionPortMapper(Report report = nullptr);
    ~SessionPortMapper() override;
    SessionPortMapper(const SessionPortMapper &) = delete;
    SessionPortMapper &operator=(const SessionPortMapper &) = delete;

    bool set(const Registration &registration) override;
    bool unset(UIntT program, UIntT version) override;
    in_port_t find(UIntT program, UIntT version, unsigned protocol) override;
    std::string name() const override { return std::to_string(service_->xp_port); }

    const std::vector<Registration> &registrations() const { return registrations_; }

private:
    static void dispatch(void *mapper, svc_req *request, SVCXPRT *connection);
    static void turned_away(void *mapper, const char *what);

    Report report_;
    std::vector<Registration> registrations_;
    SVCXPRT *service_;
};

} // namespace velt::host
