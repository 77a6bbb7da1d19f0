// A child process that serves this one and ends with it.
#ifndef VELT_HOST_HELPER_PROCESS_H
#define VELT_HOST_HELPER_PROCESS_H

#include <sys/types.h>

#include <csignal>
#include <functional>
#include <span>
#include <utility>

namespace velt::host
{

class HelperProcess
{
public:
    // Forks a child that runs `body` and then ends with status 0. The child gets `end_signal`
    // when this process ends or this object is destroyed. It has a session of its own (a
    // terminal's interrupt does not reach it), default signal handling, and of this process's
    // descriptors only standard error and those in `keep`. It is bound to the life of the calling
    // thread, which should be the main one. Throws std::system_error when there can be no child.
    HelperProcess(std::span<const int> keep, const std::function<void()> &body,
                  int end_signal = SIGKILL);

    HelperProcess(HelperProcess &&other) noexcept
        : id_(std::exchange(other.id_, -1)), owner_(other.owner_), end_signal_(other.end_signal_)
    {
    }
    HelperProcess &operator=(HelperProcess &&) = delete;

    // Ends the child and waits for it; in another child of the same process it does nothing.
    ~HelperProcess();

    pid_t id() const { return id_; }
    // False once the child has ended; its status is then taken.
    bool running();

private:
    pid_t id_;
    pid_t owner_;
    int end_signal_;
};

} // namespace velt::host

#endif
