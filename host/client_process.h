// The process of a client that the host starts, with whatever it leaves behind.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace velt::host
{

// The process leads a process group, in which it stays when it detaches itself by a fork.
class ClientProcess
{
public:
    // Starts `path` with VQAPIX set to `identity` and VQPMAP to the port mapper, if that has a
    // name, default signals, an empty standard input, and no descriptors but the standard ones.
    // Throws std::system_error when it cannot.
    ClientProcess(const std::string &path, const std::string &identity,
                  const std::string &port_mapper);
    ClientProcess(const ClientProcess &) = delete;
    ClientProcess &operator=(const ClientProcess &) = delete;
    // Nothing of it is left.
    ~ClientProcess();

    // The first process; a client that detaches has another id, in the same group.
    pid_t group() const { return group_; }

    // Which process is the client, once it has told.
    void set_id(pid_t id)
    {
        id_ = id;
        status_.reset();
    }

    // Whether the client has ended, be it that others of its group have not.
    bool ended();

    // The client's own exit status as wait(2) gives it; nothing while it is not known.
    std::optional<int> status() const { return status_; }

    void kill(int signal);

private:
    pid_t group_;
    pid_t id_ = 0;
    bool ended_ = false;
    std::optional<int> status_;
};

// "exited with status 3", "was killed by signal 9 (Killed)".
std::string describe_exit(std::optional<int> status);

} // namespace velt::host
