#include "tools/vqrecord/child.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "apilib/unix/process.h"
#include "common/printable.h"
#include "common/replace_file.h"

namespace velt::vqrecord
{

Child::Child()
    : child_before_(std::signal(SIGCHLD, SIG_DFL)), pipe_before_(std::signal(SIGPIPE, SIG_IGN))
{
    // What this process brings about itself is not for the client. A signal that is ignored is not
    // lost when it is caught.
    sigfillset(&caught_);
    for (const int own :
         {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS, SIGPIPE, SIGXFSZ})
        sigdelset(&caught_, own);
    sigprocmask(SIG_BLOCK, &caught_, &before_);
    signals_ = Descriptor(signalfd(-1, &caught_, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!signals_)
        throw std::system_error(errno, std::generic_category(), "signalfd");
}

void Child::start(const host::Startup &what, const std::string &description)
{
    const pid_t self = getpid();
    const host::Execution execution(what, {"VQAPIX=" + description});
    const std::string title = "vqrecord: " + printable(what.path);
    id_ = fork();
    if (id_ < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (id_ == 0)
        become(execution, self, title.c_str());
}

void Child::become(const host::Execution &what, pid_t parent, const char *title) const noexcept
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(EXIT_FAILURE);
    std::signal(SIGCHLD, child_before_);
    std::signal(SIGPIPE, pipe_before_);
    restore_file_size_limit();
    sigprocmask(SIG_SETMASK, &before_, nullptr);
    const int error = what.run();
    dprintf(STDERR_FILENO, "%s: %s\n", title, std::strerror(error));
    _exit(error == ENOENT ? 127 : 126);
}

void Child::serve()
{
    signalfd_siginfo got;
    while (read(signals_.get(), &got, sizeof got) == sizeof got) {
        // What a terminal sends, it sends to the whole group, in which the client is too.
        if (got.ssi_signo != SIGCHLD && got.ssi_code <= 0)
            kill(id_, static_cast<int>(got.ssi_signo));
    }
    int status;
    if (!status_ && waitpid(id_, &status, WNOHANG) == id_)
        status_ = status;
}

bool Child::is_ending() const
{
    ProcessFacts facts;
    return status_ || (read_process(id_, facts) && (facts.exiting || facts.state == 'Z'));
}

void Child::end_alike() const
{
    if (WIFEXITED(*status_))
        _exit(WEXITSTATUS(*status_));
    // The client has left a core file, if there is to be one.
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    const int signal = WTERMSIG(*status_);
    std::signal(signal, SIG_DFL);
    sigset_t just_this;
    sigemptyset(&just_this);
    sigaddset(&just_this, signal);
    sigprocmask(SIG_UNBLOCK, &just_this, nullptr);
    raise(signal);
    _exit(128 + signal);
}

} // namespace velt::vqrecord
