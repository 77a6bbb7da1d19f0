#include "host/helper_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <vector>

namespace velt::host
{
namespace
{

void default_signals()
{
    for (int signal = 1; signal < NSIG; ++signal)
        std::signal(signal, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

void close_all_but(std::vector<unsigned> keep)
{
    std::ranges::sort(keep);
    unsigned next = STDERR_FILENO + 1;
    for (unsigned fd : keep) {
        if (fd > next)
            close_range(next, fd - 1, 0);
        next = std::max(next, fd + 1);
    }
    close_range(next, ~0U, 0);
}

void separate(std::span<const int> keep)
{
    setsid();
    default_signals();
    close_all_but({keep.begin(), keep.end()});
    if (const int null = open("/dev/null", O_RDWR | O_CLOEXEC); null >= 0) {
        dup2(null, STDIN_FILENO);
        dup2(null, STDOUT_FILENO);
        close(null);
    }
    if (chdir("/") != 0)
        _exit(1);
}

// An exception must not unwind into the caller's frames a second time, hence noexcept.
[[noreturn]] void run(pid_t parent, std::span<const int> keep, const std::function<void()> &body,
                      int end_signal) noexcept
{
    separate(keep);
    // The parent may have ended before the death signal was asked for.
    if (prctl(PR_SET_PDEATHSIG, end_signal) == 0 && getppid() == parent)
        body();
    _exit(0);
}

} // namespace

HelperProcess::HelperProcess(std::span<const int> keep, const std::function<void()> &body,
                             int end_signal)
    : owner_(getpid()), end_signal_(end_signal)
{
    id_ = fork();
    if (id_ == 0)
        run(owner_, keep, body, end_signal);
    if (id_ < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
}

HelperProcess::~HelperProcess()
{
    if (id_ <= 0 || getpid() != owner_)
        return;
    kill(id_, end_signal_);
    while (waitpid(id_, nullptr, 0) < 0 && errno == EINTR)
        ;
}

bool HelperProcess::running()
{
    if (id_ > 0 && waitpid(id_, nullptr, WNOHANG) != 0)
        id_ = -1;
    return id_ > 0;
}

} // namespace velt::host
