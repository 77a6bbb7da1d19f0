// A session's own port mapper in a process of its own.
#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "apilib/unix/transport/transport.h"
#include "host/portmap/portmap.h"

namespace velt::test
{

// It lives as long as this object, and so long the environment names it.
class MapperProcess
{
public:
    explicit MapperProcess(uid_t user = geteuid())
    {
        int told[2];
        EXPECT_EQ(pipe(told), 0);
        id_ = fork();
        if (id_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            host::SessionPortMapper mapper;
            if (user != geteuid() && setuid(user) != 0)
                _exit(1);
            port = static_cast<in_port_t>(std::stoi(mapper.name()));
            if (::write(told[1], &port, sizeof port) != sizeof port)
                _exit(1);
            for (;;) {
                transport_wait(nullptr, -1);
                transport_dispatch();
            }
        }
        EXPECT_EQ(::read(told[0], &port, sizeof port), static_cast<ssize_t>(sizeof port));
        close(told[0]);
        close(told[1]);
        setenv("VQPMAP", std::to_string(port).c_str(), 1);
    }
    ~MapperProcess()
    {
        kill(id_, SIGKILL);
        waitpid(id_, nullptr, 0);
        unsetenv("VQPMAP");
    }
    MapperProcess(const MapperProcess &) = delete;
    MapperProcess &operator=(const MapperProcess &) = delete;

    in_port_t port = 0;

private:
    pid_t id_;
};

} // namespace velt::test
