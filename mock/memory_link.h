// A connection in memory: calls on its handle are encoded, served by a function of this process,
// and their replies decoded, as if there were a socket between the two.
#pragma once

#include <rpc/rpc.h>

#include <functional>
#include <new>
#include <string>

namespace velt::mock
{

class MemoryLink
{
public:
    struct Owner {
        // Serves a call, as the dispatcher of a program does. A call that it does not reply to has
        // timed out. Throws nothing but std::bad_alloc.
        std::function<void(svc_req &)> serve;
        // Called once, when the one who serves ends the connection, or breaks a reply off. Throws
        // nothing.
        std::function<void()> ended = nullptr;
        // Called for the request serve_request of clnt_control.
        std::function<bool()> wait = nullptr;
        // What the client is called, for the request name_request.
        const char *name = nullptr;
        // Called for each call when the connection has ended. Throws nothing.
        std::function<void()> ignored = nullptr;
        // Called when the link has no memory for a call. Throws nothing.
        std::function<void(const std::bad_alloc &)> failed = nullptr;
    };

    // The descriptor is what those who serve know the connection by; there is none behind it.
    MemoryLink(int descriptor, Owner owner);
    MemoryLink(const MemoryLink &) = delete;
    MemoryLink &operator=(const MemoryLink &) = delete;
    ~MemoryLink() = default;

    // The handle lives as long as the link; clnt_destroy ends the connection only.
    CLIENT *handle() { return &handle_; }

    // Makes a call of which the arguments are encoded already; its result is dropped.
    clnt_stat send(rpcproc_t procedure, const std::string &arguments);
    // Returns the encoded arguments of a call that is being served.
    static const std::string &arguments(const svc_req &request);

private:
    struct Exchange;
    static MemoryLink &of(CLIENT *handle) { return *static_cast<MemoryLink *>(handle->cl_private); }
    static clnt_stat call(CLIENT *handle, rpcproc_t procedure, xdrproc_t encode, void *argument,
                          xdrproc_t decode, void *result, timeval limit);
    static bool_t reply(SVCXPRT *transport, rpc_msg *message);
    static void break_off(SVCXPRT *transport);

    void serve(rpcproc_t procedure, Exchange &exchange);
    void end();
    void lack_memory(const std::bad_alloc &error) const;

    int descriptor_;
    Owner owner_;
    CLIENT handle_{};
    rpc_err error_{};
    bool ended_ = false;
};

} // namespace velt::mock
