// A client as a process: its log, its errors and a descriptor of its own come and go through pipes.
#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

inline constexpr int own_descriptor = 20;
inline constexpr int log_descriptor = 21;
inline constexpr int hang = 300'000; // milliseconds that pass only when something hangs

using Environment = std::map<std::string, std::string>;

class ClientProcess
{
public:
    explicit ClientProcess(Environment environment)
    {
        int out[2], err[2], own[2];
        for (int *ends : {out, err, own})
            EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        environment["SESSION_LOG"] = std::to_string(log_descriptor);
        id = fork();
        if (id == 0) {
            unsetenv("VQAPIX");
            for (auto &[name, value] : environment)
                setenv(name.c_str(), value.c_str(), 1);
            dup2(err[1], STDERR_FILENO);
            dup2(own[0], own_descriptor);
            dup2(out[1], log_descriptor);
            execl(SESSION_CLIENT, SESSION_CLIENT, nullptr);
            _exit(127);
        }
        close(out[1]);
        close(err[1]);
        close(own[0]);
        log = out[0];
        errors = err[0];
        own_end = own[1];
    }
    ~ClientProcess()
    {
        if (id > 0) {
            kill(id, SIGKILL);
            waitpid(id, nullptr, 0);
        }
        for (int fd : {log, errors, own_end})
            close(fd);
    }
    ClientProcess(const ClientProcess &) = delete;
    ClientProcess &operator=(const ClientProcess &) = delete;

    // The next line of the client's log or error stream; empty at the end, or when none comes.
    std::string line() { return line_of(log); }
    std::string error() { return line_of(errors); }
    int exit_status()
    {
        int status = -1;
        EXPECT_EQ(waitpid(id, &status, 0), id);
        id = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    int own_end;

private:
    static std::string line_of(int fd)
    {
        std::string line;
        char byte;
        for (;;) {
            pollfd wait{fd, POLLIN, 0};
            if (poll(&wait, 1, hang) != 1)
                return line + " (and no more)";
            if (read(fd, &byte, 1) != 1 || byte == '\n')
                return line;
            line += byte;
        }
    }

    pid_t id;
    int log;
    int errors;
};
