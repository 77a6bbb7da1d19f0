#include "host/client_process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "host/descriptor.h"

namespace velt::host
{
namespace
{

[[noreturn]] void become(const std::string &path, const std::string &identity,
                         const std::string &port_mapper, int failure)
{
    setpgid(0, 0);
    for (int signal = 1; signal < NSIG; ++signal)
        std::signal(signal, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (null >= 0)
        dup2(null, STDIN_FILENO);
    close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    setenv("VQAPIX", identity.c_str(), 1);
    if (port_mapper.empty())
        unsetenv("VQPMAP");
    else
        setenv("VQPMAP", port_mapper.c_str(), 1);
    execl(path.c_str(), path.c_str(), nullptr);
    const int error = errno;
    if (write(failure, &error, sizeof error) < 0)
        _exit(126);
    _exit(127);
}

} // namespace

ClientProcess::ClientProcess(const std::string &path, const std::string &identity,
                             const std::string &port_mapper)
{
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    const Descriptor in(ends[0]);
    Descriptor out(ends[1]);
    group_ = fork();
    if (group_ < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (group_ == 0)
        become(path, identity, port_mapper, out.get());
    setpgid(group_, group_);
    out = Descriptor();
    int error = 0;
    ssize_t got;
    do
        got = read(in.get(), &error, sizeof error);
    while (got < 0 && errno == EINTR);
    if (got > 0) {
        while (waitpid(group_, nullptr, 0) < 0 && errno == EINTR)
            ;
        throw std::system_error(error, std::generic_category(), path);
    }
}

ClientProcess::~ClientProcess()
{
    ended();
    kill(SIGKILL);
    while (!ended_ && (waitpid(-group_, nullptr, 0) > 0 || errno == EINTR))
        ;
}

bool ClientProcess::ended()
{
    while (!ended_) {
        int status = 0;
        const pid_t pid = waitpid(-group_, &status, WNOHANG);
        if (pid == 0 || (pid < 0 && errno == EINTR))
            break;
        if (pid < 0)
            ended_ = true;
        else if (id_ == 0 || pid == id_)
            status_ = status; // of several that end before the client has told, the last
    }
    return ended_ || (id_ != 0 && status_);
}

void ClientProcess::kill(int signal)
{
    if (!ended_)
        ::kill(-group_, signal);
}

std::string describe_exit(std::optional<int> status)
{
    if (!status)
        return "has ended";
    if (WIFSIGNALED(*status))
        return "was killed by signal " + std::to_string(WTERMSIG(*status)) + " (" +
               strsignal(WTERMSIG(*status)) + ")";
    return "exited with status " + std::to_string(WEXITSTATUS(*status));
}

} // namespace velt::host
