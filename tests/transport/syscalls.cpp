// The system calls of one remote call, counted from outside: no more than are needed.

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <map>
#include <string>

#include "apilib/wire/routines.h"
#include "support/service_process.h"

using namespace velt::test;

namespace
{

// What the call of an integer makes, between two signals that mark it.
[[noreturn]] void make_call(in_port_t port)
{
    const Client client = our_client(port);
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    // The first allocates what later ones use again.
    for (int i = 0; i < 2; i++) {
        if (call_echo(client.get(), "a", nullptr, {3600, 0}) != RPC_SUCCESS)
            _exit(1);
        kill(getpid(), SIGSTOP);
    }
    _exit(0);
}

// "write read" and the like for every call between the first and the second stop.
std::string calls_of(pid_t process)
{
    std::string calls;
    int status = 0;
    waitpid(process, &status, 0);
    ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACESYSGOOD);
    for (;;) {
        ptrace(PTRACE_SYSCALL, process, nullptr, nullptr);
        waitpid(process, &status, 0);
        if (!WIFSTOPPED(status) || WSTOPSIG(status) == SIGSTOP)
            return calls;
        if (WSTOPSIG(status) != (SIGTRAP | 0x80))
            continue;
        __ptrace_syscall_info info{};
        ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof info, &info);
        // The clock of these tests asks the system, others do not.
        const std::map<std::uint64_t, std::string> names = {
            {SYS_kill, ""},         {SYS_getpid, ""},        {SYS_clock_gettime, ""},
            {SYS_sendto, "write "}, {SYS_sendmsg, "write "}, {SYS_recvfrom, "read "},
            {SYS_poll, "poll "}};
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY)
            calls += names.contains(info.entry.nr) ? names.at(info.entry.nr)
                                                   : std::to_string(info.entry.nr) + " ";
    }
}

} // namespace

int main()
{
    const ServiceProcess service;
    const pid_t caller = fork();
    if (caller == 0)
        make_call(service.port());
    const std::string calls = calls_of(caller);
    kill(caller, SIGKILL);
    waitpid(caller, nullptr, 0);
    std::printf("a remote call makes the system calls: %s\n", calls.c_str());
    return calls == "write read " || calls == "write poll read " ? 0 : 1;
}
