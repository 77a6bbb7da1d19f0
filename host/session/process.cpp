#include "host/session/process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <new>
#include <set>
#include <sstream>
#include <system_error>

#include "apilib/unix/process.h"
#include "common/descriptor.h"
#include "common/file.h"
#include "common/interrupts.h"

namespace velt::host
{
namespace
{

[[noreturn]] void become(const Execution &what, bool stopped, int failure) noexcept
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
    if (stopped) {
        // This lets any debugger trace the client where the system allows only parents to.
        prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    }
    const int error = what.run();
    if (write(failure, &error, sizeof error) < 0)
        _exit(126);
    _exit(127);
}

std::set<const ClientProcess *> processes;

using Clock = std::chrono::steady_clock;

void each_process(const std::function<void(pid_t, const ProcessFacts &)> &action)
try {
    ProcessFacts facts{};
    for (const std::string &name : names_in("/proc"))
        if (const pid_t id = std::atoi(name.c_str()); id > 0 && read_process(id, facts))
            action(id, facts);
} catch (const std::bad_alloc &) {
    // A destructor asks, too; without memory, no more are found.
}

// Does something with each child of this process.
void each_child(const std::function<void(pid_t, const ProcessFacts &)> &action)
{
    each_process([&](pid_t id, const ProcessFacts &facts) {
        if (facts.parent == getpid())
            action(id, facts);
    });
}

} // namespace

Execution::Execution(const Startup &what, std::vector<std::string> variables)
{
    variables.insert(variables.end(), what.environment.begin(), what.environment.end());
    const auto name_of = [](const std::string &variable) {
        return variable.substr(0, variable.find('='));
    };
    std::map<std::string, std::string> environment;
    for (char **each = environ; each && *each; each++)
        environment.emplace(name_of(*each), *each);
    for (const std::string &each : variables)
        if (const std::string name = name_of(each); name == each)
            environment.erase(name);
        else
            environment[name] = each;
    texts_ = {what.path};
    texts_.insert(texts_.end(), what.arguments.begin(), what.arguments.end());
    const std::size_t words = texts_.size();
    for (auto &[name, variable] : environment)
        texts_.push_back(std::move(variable));
    for (std::string &each : texts_)
        (words_.size() < words ? words_ : environment_).push_back(each.data());
    words_.push_back(nullptr);
    environment_.push_back(nullptr);
}

int Execution::run() const noexcept
{
    execve(words_[0], words_.data(), environment_.data());
    return errno;
}

ClientProcess::Listed::Listed(const ClientProcess &which) : process(which)
{
    processes.insert(&which);
}

ClientProcess::Listed::~Listed()
{
    processes.erase(&process);
}

ClientProcess::ClientProcess(const Startup &what, const std::string &identity,
                             const std::string &port_mapper, bool stopped)
    : description_(identity.empty() ? "" : "VQAPIX=" + identity)
{
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    const Descriptor in(ends[0]);
    Descriptor out(ends[1]);
    const Execution execution(what, {description_.empty() ? "VQAPIX" : description_,
                                     port_mapper.empty() ? "VQPMAP" : "VQPMAP=" + port_mapper});
    group_ = fork();
    if (group_ < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (group_ == 0)
        become(execution, stopped, out.get());
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
        const bool is_there = error == ENOENT && access(what.path.c_str(), F_OK) == 0;
        std::error_code unknown;
        const bool is_folder = std::filesystem::is_directory(what.path, unknown);
        const auto blank = what.path.find(' ');
        const bool has_arguments =
            error == ENOENT && blank != what.path.npos &&
            std::filesystem::is_regular_file(what.path.substr(0, blank), unknown) &&
            access(what.path.substr(0, blank).c_str(), X_OK) == 0;
        const bool is_nowhere = error == ENOENT && what.path.find('/') == what.path.npos;
        throw std::system_error(error, std::generic_category(),
                                what.path + (is_there    ? ": the program that is to run it"
                                             : is_folder ? ", which is a folder"
                                             : has_arguments
                                                 ? ", whose arguments are for --client-arg"
                                             : is_nowhere ? ", which is neither in PATH nor here"
                                                          : ""));
    }
    // A traced process stops when it has become another program; from then on it stays stopped for
    // whoever wants to trace it.
    if (stopped && waitpid(group_, nullptr, 0) == group_ &&
        ptrace(PTRACE_DETACH, group_, nullptr, SIGSTOP) == 0) {
        siginfo_t seen;
        waitid(P_PID, static_cast<id_t>(group_), &seen, WSTOPPED | WEXITED | WNOWAIT);
    }
}

bool ClientProcess::end()
{
    auto until = Clock::now() + kill_limit;
    auto interrupted = interrupts.count;
    std::chrono::seconds hurried_limit(1);
    if (!group_ended())
        kill(SIGKILL);
    while (!given_up_ && !group_ended()) {
        if (const auto count = interrupts.count; count != interrupted) {
            interrupted = count;
            until = std::min(until, Clock::now() + hurried_limit);
            hurried_limit = {};
        }
        given_up_ = Clock::now() >= until;
        if (given_up_)
            look_for_survivor();
        else
            poll(nullptr, 0, 1);
    }
    return survivor_ == 0;
}

// One that has not come to this process yet has not even been killed.
void ClientProcess::look_for_survivor()
{
    each_process([this](pid_t id, const ProcessFacts &facts) {
        if (facts.state != 'Z' &&
            (getpgid(id) == group_ || id == id_ || std::ranges::count(strays_, id) > 0 ||
             (id_ == 0 && describes(id))))
            survivor_ = id;
    });
}

std::string ClientProcess::left_behind() const
{
    return "has left processes behind that have not ended: see " + std::to_string(survivor_) +
           " in what ps -ejH shows, and end what goes on, perhaps as another user";
}

bool ClientProcess::includes(pid_t id) const
{
    ProcessFacts facts{};
    for (pid_t each = id; each > 1; each = facts.parent)
        if (each == group_ || getpgid(each) == group_)
            return true;
        else if (each == getpid())
            return describes(id);
        else if (!read_process(each, facts))
            break;
    return false;
}

bool ClientProcess::awaits(pid_t id) const
{
    return (!ended_ && getpgid(id) == group_) || (id == id_ && !status_);
}

bool ClientProcess::describes(pid_t id) const
{
    if (description_.empty())
        return false;
    std::ifstream environment("/proc/" + std::to_string(id) + "/environ", std::ios::binary);
    for (std::string each; std::getline(environment, each, '\0');)
        if (each == description_)
            return true;
    return false;
}

void ClientProcess::look_for_strays()
{
    std::erase_if(strays_, [](pid_t each) { return waitpid(each, nullptr, WNOHANG) != 0; });
    if (description_.empty())
        return;
    each_child([this](pid_t id, const ProcessFacts &) {
        if ((ended_ || getpgid(id) != group_) && std::ranges::count(strays_, id) == 0 &&
            describes(id))
            strays_.push_back(id);
    });
    if (killed_)
        for (const pid_t each : strays_)
            ::kill(each, SIGKILL);
}

void ClientProcess::set_id(pid_t id)
{
    id_ = id;
    start_ = start_of(id);
    status_.reset();
}

bool ClientProcess::is_ending() const
{
    ProcessFacts facts;
    // A client that has detached itself is the first process's child until that has ended.
    return read_process(id_, facts) && (facts.parent == getpid() || facts.parent == group_) &&
           (facts.exiting || facts.state == 'Z');
}

bool a_child_has_ended()
{
    siginfo_t info{};
    // Without children there is an error: those that were there have ended.
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid != 0;
}

void reap_orphans()
{
    const auto is_orphan = [](pid_t id) {
        return getpgid(id) != getpgrp() &&
               std::ranges::none_of(processes, [=](const auto *each) { return each->awaits(id); });
    };
    for (siginfo_t info{};; waitpid(info.si_pid, nullptr, WNOHANG), info = {}) {
        if (waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid == 0)
            return;
        if (!is_orphan(info.si_pid))
            break;
    }
    // The one that has to stay hides the others from the system's answer. To find them takes a look
    // at all processes, and it may stay for ever.
    static Clock::time_point next;
    if (Clock::now() < next)
        return;
    next = Clock::now() + std::chrono::seconds(1);
    each_child([&](pid_t id, const ProcessFacts &facts) {
        if (facts.state == 'Z' && is_orphan(id))
            waitpid(id, nullptr, WNOHANG);
    });
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
            status_ = status; // until the client has told its id, the last of several counts
        if (pid == group_)
            first_status_ = status;
    }
    if (id_ == 0) {
        if (ended_)
            look_for_strays();
        return ended_ && strays_.empty();
    }
    if (int status = 0; !status_ && id_ != group_) {
        const pid_t found = waitpid(id_, &status, WNOHANG);
        if (found == 0)
            return false; // its status comes to this process, also while it shows as ended already
        if (found == id_)
            status_ = status;
    }
    return status_ || (ended_ && !lives(id_, start_));
}

void ClientProcess::kill(int signal)
{
    killed_ = killed_ || signal == SIGKILL;
    if (!ended_)
        ::kill(-group_, signal);
    if (id_ == 0) {
        look_for_strays();
        for (const pid_t each : strays_)
            ::kill(each, signal);
    }
    if (id_ != 0 && !status_ && getpgid(id_) != group_ && lives(id_, start_))
        ::kill(id_, signal);
}

std::string find_program(const std::string &name)
{
    const char *path = std::getenv("PATH");
    if (name.find('/') != name.npos || !path)
        return name;
    std::istringstream folders(path);
    std::error_code unknown;
    for (std::string folder; std::getline(folders, folder, ':');)
        if (const std::string found = folder + "/" + name;
            access(found.c_str(), X_OK) == 0 && !std::filesystem::is_directory(found, unknown))
            return found;
    return name;
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
