// The interface that answers the calls of clients.
#pragma once

#include <functional>
#include <memory>

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
    // The result, filled with zeros, for the responder to fill in; strings and lists in it are
    // allocated as a client's are.
    void *result;
    // What is sent in place of the result: bytes, or null.
    std::shared_ptr<Message> bytes = {};
    // The action to run once the call has been answered and traced; it may be empty.
    std::function<void()> after = {};
};

class Responder
{
public:
    enum class Reaction {
        answer,
        drop,      // no reply is sent
        rpc_error, // the reply says that the host has failed
        half,      // the connection ends within the reply
        close,     // the connection ends instead of a reply
        undecoded, // the reply says that the arguments do not decode
        unknown,   // the reply says that there is no such procedure
    };

    virtual ~Responder() = default;

    // Answers a call. An exception becomes an RPC error.
    virtual Reaction respond(Call &call) = 0;
    // Answers a call whose arguments do not decode, and are bytes.
    virtual Reaction respond_to_bytes(Call &call)
    {
        return is_bytes(call.procedure.result.shape) ? Reaction::unknown : Reaction::undecoded;
    }
    // Returns the status for a process that asks to be admitted; 0 admits it.
    virtual IntT admit(IntT) { return 0; }
    // Called when the client of the number has exited: nothing is sent to it any more.
    virtual void client_exited(int number) = 0;
};

} // namespace velt::host
