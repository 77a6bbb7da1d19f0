// A client as a process, whose log, errors and a descriptor of its own come and go through sockets;
// and a caller of its service.
#pragma once

#include "apilib/unix/transport/transport.h"
#include "support/raw_host.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

inline constexpr int own_descriptor = 20;
inline constexpr int log_descriptor = 21;

using Environment = std::map<std::string, std::string>;

class ClientProcess
{
public:
    explicit ClientProcess(Environment environment)
    {
        environment["SESSION_LOG"] = std::to_string(log_descriptor);
        id = fork();
        if (id == 0) {
            unsetenv("VQAPIX");
            for (auto &[name, value] : environment)
                setenv(name.c_str(), value.c_str(), 1);
            dup2(errors.theirs, STDERR_FILENO);
            dup2(own.theirs, own_descriptor);
            dup2(log.theirs, log_descriptor);
            execl(SESSION_CLIENT, SESSION_CLIENT, nullptr);
            _exit(127);
        }
        for (const Link *link : {&errors, &own, &log})
            close(link->theirs);
    }
    ~ClientProcess()
    {
        if (id > 0) {
            kill(id, SIGKILL);
            waitpid(id, nullptr, 0);
        }
    }

    // The next line of the client's log or error stream; empty at the end, or when none comes.
    std::string line() { return log.line(); }
    std::string error() { return errors.line(); }
    // Makes its own descriptor readable.
    void poke() { EXPECT_TRUE(own.send("x")); }
    int exit_status()
    {
        int status = -1;
        EXPECT_EQ(waitpid(id, &status, 0), id);
        id = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    struct Link : velt::test::Peer {
        explicit Link(std::pair<int, int> ends = velt::test::connected_sockets())
            : Peer(ends.first), theirs(fcntl(ends.second, F_DUPFD_CLOEXEC, 64))
        {
            close(ends.second);
        }
        std::string line()
        {
            std::string line;
            for (std::string byte; (byte = receive(1)) != "\n" && !byte.empty();)
                line += byte;
            return line;
        }
        int theirs; // not one of those that the client has it as
    };

    Link own, log, errors;
    pid_t id;
};

inline constexpr rpcprog_t client_program = 0x20000101;
inline constexpr rpcvers_t client_version = 3;

// The host's connection to a client's service, as plain bytes.
struct Caller : velt::test::Peer {
    explicit Caller(const RawMapper *mapper = nullptr)
        : Peer(mapper ? mapper->registered()
                      : velt::mapper_find(velt::on_loopback(), client_program, client_version,
                                          IPPROTO_TCP, {120, 0}))
    {
    }
    // The same call several times over goes in one segment.
    void call_of(UIntT procedure, const std::string &arguments, int times = 1)
    {
        std::string calls;
        while (times-- > 0)
            calls += velt::test::fragment(
                velt::test::head(procedure, ++last, client_program, client_version) +
                hex(arguments));
        EXPECT_TRUE(send(calls));
    }
    // The accept status of the next reply, which is to the last call.
    int status()
    {
        const std::string reply = receive_record();
        EXPECT_EQ(reply.substr(0, 20), words({last, 1, 0, 0, 0}));
        return reply.at(23);
    }
    int call(UIntT procedure, const std::string &arguments)
    {
        call_of(procedure, arguments);
        return status();
    }

    UIntT last = 100;
};
