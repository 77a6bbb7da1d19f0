// The clients of a host: how they come, which of them calls, and how they go.
#pragma once

#include <chrono>
#include <list>
#include <string>
#include <unordered_map>

#include "host/session/options.h"
#include "host/session/registrations.h"
#include "host/session/responder.h"
#include "velt/wire.h"

namespace velt::host
{

class Clients
{
public:
    Clients(Options &options, Reports &reports, Registrations &registrations, Responder &responder)
        : options_(options), reports_(reports), registrations_(registrations), responder_(responder)
    {
    }
    Clients(const Clients &) = delete;
    Clients &operator=(const Clients &) = delete;

    // Returns the clients in order of their start, including those that have exited.
    std::list<Client> &all() { return all_; }
    // Returns the last client of the number, or null.
    Client *find(int number);
    // Returns the client that calls on the descriptor, or null.
    Client *calling_on(int descriptor);
    bool any_running() const;

    Client &add(int number, const std::string &name);
    // Ends the process of the client, if the host has started it, with what that has left behind.
    void end_process(Client &client);
    // Has the client enter a state. Nothing else sets it.
    void enter(Client &client, Client::State state);
    // Sets the descriptor on which the client calls, -1 for none. Nothing else does.
    void set_caller(Client &client, int descriptor);
    // Removes the client from the list, with its process, its connection and its registrations.
    void remove(Client &client);

    // Handles an acknowledgement: the caller on the descriptor says that it is the process `pid`.
    void acknowledge(int descriptor, IntT pid);
    // Answers a process that asks to be admitted; the reply tells it the host's own program.
    void admit(const VqRpcApiConnectArgT &request, UIntT host_program,
               VqRpcApiConnectReturnT &reply);
    void connection_closed(int descriptor);
    // Checks on each client: connects to new ones, and notes those that have ended.
    void look_after();
    void note_exit(Client &client);

private:
    void look_after(Client &client, bool ends);
    void connect(Client &client);
    void replied(Client &client, const rpc_err &error);
    bool may_yet_end(Client &client) const;
    void note_loss(Client &client);
    void break_off_turns(Client &client, const std::string &outcome);

    Options &options_;
    Reports &reports_;
    Registrations &registrations_;
    Responder &responder_;
    std::list<Client> all_;
    std::unordered_map<int, Client *> callers_; // by their descriptors
    std::size_t unsettled_ = 0; // clients that neither are connected nor have exited
    std::chrono::steady_clock::time_point look_again_{}; // when processes are looked at next
};

} // namespace velt::host
