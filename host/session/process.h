// The process of a client, or of a program for one, that the host starts, with whatever it leaves
// behind.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velt::host
{

// The program to start, its arguments, and additions to its environment.
struct Startup {
    std::string path;
    std::vector<std::string> arguments = {};
    std::vector<std::string> environment = {}; // NAME=VALUE

    Startup(std::string what) : path(std::move(what)) {}
    Startup(const char *what) : path(what) {}
};

// A program as execve() takes it, with all of its words and variables: made before a fork, behind
// which nothing may fail that unwinds, or allocate.
class Execution
{
public:
    // The environment is that of this process, but for these variables and those of the startup:
    // NAME=VALUE sets one, NAME takes it out.
    Execution(const Startup &what, std::vector<std::string> variables);
    Execution(const Execution &) = delete;
    Execution &operator=(const Execution &) = delete;

    // Makes this process the program. Returns only when that fails, with the error.
    int run() const noexcept;

private:
    std::vector<std::string> texts_;
    std::vector<char *> words_, environment_;
};

// Returns whether a child of this process has ended that nobody has waited for.
bool a_child_has_ended();

// Waits for what has come to this process, as a subreaper, and has ended, apart from what a
// ClientProcess waits for, and from children in this process's own group, which others have
// started.
void reap_orphans();

// The time that a killed process may take to end, and those that come from it.
inline constexpr std::chrono::seconds kill_limit(5);

// The process leads a process group, in which the client stays when it detaches itself by a fork.
class ClientProcess
{
public:
    // Starts the program with VQAPIX set to `identity`, unless that is empty, VQPMAP set to the
    // port mapper if that has a name, default signals, an empty standard input, and no descriptors
    // but the standard ones. `stopped` has it wait for SIGCONT, or for a debugger, at its first
    // instruction. Throws std::system_error when it cannot be started.
    ClientProcess(const Startup &what, const std::string &identity, const std::string &port_mapper,
                  bool stopped = false);
    ClientProcess(const ClientProcess &) = delete;
    ClientProcess &operator=(const ClientProcess &) = delete;
    // Ends it.
    ~ClientProcess() { end(); }

    // Returns the id of the first process; a client that detaches has another id, in the same
    // group.
    pid_t group() const { return group_; }

    // Returns whether a process is the one that was started, or comes from it: a client may be
    // started by a debugger, or in a shell.
    bool includes(pid_t id) const;
    // Sets which process is the client, once the client has told.
    void set_id(pid_t id);
    // Returns whether the client has stopped running and only waits to be reaped.
    bool is_ending() const;

    // Returns whether the client has ended, even if others of its group have not. Before the client
    // has told its id, all have to end that were started with its description.
    bool ended();
    // Returns whether the whole group has.
    bool group_ended() { return ended() && ended_; }

    // Returns how the process that was started has ended, which may be another than the client.
    std::optional<int> first_status() const { return first_status_; }
    // Returns the client's own exit status as wait(2) gives it, or that of the process that was
    // started, if that has waited for the client; nothing while it is not known.
    std::optional<int> status() const { return status_ ? status_ : first_status_; }

    void kill(int signal);
    // Kills what is left of the client and its group, and waits for their end, once: up to the
    // limit, for a second more when a signal asks this program to end, and not at all when another
    // one does. Returns whether nothing is left.
    bool end();
    // Returns a text that tells of what end() could not end.
    std::string left_behind() const;

private:
    friend void reap_orphans();
    // Has the process in the list of all that there are.
    struct Listed {
        explicit Listed(const ClientProcess &which);
        ~Listed();
        const ClientProcess &process;
    };

    // Returns whether this process is a child that it waits for.
    bool awaits(pid_t id) const;
    // Returns whether a process has the description of this client.
    bool describes(pid_t id) const;
    // Looks for strays: children of this process that are described so and run outside of the
    // group; a process has left it, and the one that it came from has ended. Kills them if the
    // client has been killed.
    void look_for_strays();
    // Looks for a process that lives after end() has given up.
    void look_for_survivor();

    Listed listed_{*this};
    std::string description_; // in the environment, as NAME=VALUE; empty without one
    pid_t group_ = 0;
    pid_t id_ = 0;
    unsigned long long start_ = 0; // as start_of() returns it
    bool ended_ = false, killed_ = false, given_up_ = false;
    pid_t survivor_ = 0;        // 0 for none
    std::vector<pid_t> strays_; // an ended one stays here until its children have come to this one
    std::optional<int> status_, first_status_;
};

// Looks for a program that is given by its name alone, as a shell does, and returns its path;
// returns the name as it is when there is none.
std::string find_program(const std::string &name);

// Returns a text such as "exited with status 3" or "was killed by signal 9 (Killed)".
std::string describe_exit(std::optional<int> status);

} // namespace velt::host
