// The client as a child of this process, which stands for it before the host: signals are handed
// on, and it ends as the client has ended.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <optional>

#include "common/descriptor.h"
#include "host/session/process.h"

namespace velt::vqrecord
{

class Child
{
public:
    // From here on signals wait for serve(). Throws std::system_error.
    Child();

    // Starts the program with VQAPIX set to the description and, apart from that, as this process
    // was started. It is killed when this process ends. Throws std::system_error.
    void start(const host::Startup &what, const std::string &description);
    // The descriptor that is readable when serve() has something to do.
    int signals() const { return signals_.get(); }
    // Hands signals on, and notes the end of the client.
    void serve();
    // Returns whether the client is exiting, or has exited.
    bool is_ending() const;
    // Returns how it has ended, as wait(2) gives it; nothing while it runs.
    std::optional<int> status() const { return status_; }
    // Ends this process in the same way, at once.
    [[noreturn]] void end_alike() const;

private:
    [[noreturn]] void become(const host::Execution &what, pid_t parent,
                             const char *title) const noexcept;

    sigset_t caught_, before_;
    void (*child_before_)(int);
    void (*pipe_before_)(int);
    Descriptor signals_;
    pid_t id_ = 0;
    std::optional<int> status_;
};

} // namespace velt::vqrecord
