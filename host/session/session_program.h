// The program by which a process joins the session: it is called by datagrams.
#pragma once

#include <rpc/rpc.h>
#include <netinet/in.h>

#include <functional>
#include <string>

#include "velt/wire.h"

namespace velt::host
{

class SessionProgram
{
public:
    struct Owner {
        // Answers a process that asks to be admitted.
        std::function<void(const VqRpcApiConnectArgT &, VqRpcApiConnectReturnT &)> admit;
        // Called for a datagram whose sender may not ask.
        std::function<void()> rejected;
    };

    // Serves on one interface, or on all. Throws std::system_error.
    SessionProgram(in_addr_t interface, Owner owner);
    SessionProgram(const SessionProgram &) = delete;
    SessionProgram &operator=(const SessionProgram &) = delete;
    ~SessionProgram();

    in_port_t port() const { return port_; }
    void answer_to(UIntT program) { program_ = program; }

private:
    static void ready(void *self);
    void receive();
    void answer(const rpc_msg &call, XDR &arguments, const sockaddr_in &sender);

    Owner owner_;
    int descriptor_;
    in_port_t port_ = 0;
    UIntT program_ = 0;
};

} // namespace velt::host
