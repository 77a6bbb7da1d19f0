// The connection on which the host calls one client.
#pragma once

#include <rpc/rpc.h>
#include <netinet/in.h>

#include <functional>

#include "host/wire/catalogue.h"

namespace velt::host
{

class Connection
{
public:
    // Called for each reply, in the order of the calls, and for the end of the connection.
    using Replied = std::function<void(const rpc_err &)>;

    Connection() = default;
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    ~Connection() { close(); }

    // Returns false with rpc_createerr set when the client's service cannot be reached.
    bool open(const sockaddr_in &service, UIntT program, UIntT version, Replied replied);
    // Takes a handle on which a call is over as soon as it is sent.
    void open(CLIENT *handle) { handle_ = handle; }
    void close();
    bool is_open() const { return handle_ != nullptr; }

    // Sends a call without waiting for the reply, because the client may have a call of its own
    // under way, which comes first. Returns RPC_SUCCESS once the call is sent.
    clnt_stat send(const Procedure &procedure, void *argument);

private:
    static void reply(void *connection, const rpc_err &error);

    CLIENT *handle_ = nullptr;
    Replied replied_;
};

} // namespace velt::host
