// Who answers the calls of clients.
#pragma once

#include <functional>

#include "host/session/client.h"

namespace velt::host
{

class Host;

// One call of a client, decoded.
struct Call {
    Host &host;
    Client &client;
    const Procedure &procedure;
    void *argument;
    // Zeros, to be filled in; strings and lists in it are allocated as a client's are.
    void *result;
    // What is to be done once the call has been answered and traced; empty for nothing.
    std::function<void()> after = {};
};

class Responder
{
public:
    enum class Reaction { answer, drop };

    virtual ~Responder() = default;

    // A call that is dropped gets no reply. What is thrown becomes an RPC error.
    virtual Reaction respond(Call &call) = 0;
    // The status for a process that asks to be taken in; 0 takes it in.
    virtual IntT admit(IntT) { return 0; }
    // Nothing is sent to the client of the number any more.
    virtual void client_gone(int number) = 0;
};

} // namespace velt::host
