// The clients of a host: how they come, which of them calls, and how they go.
#pragma once

#include <list>
#include <string>

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

    // In order of their start, those that have exited included.
    std::list<Client> &all() { return all_; }
    // The last of the number; null when there is none.
    Client *find(int number);
    // Which calls on this descriptor; null when none does.
    Client *calling_on(int descriptor);
    bool any_running() const;

    Client &add(int number, const std::string &name);
    // As if it had never been there.
    void remove(Client &client);

    // Whoever calls on the descriptor says that it is this process.
    void acknowledge(int descriptor, IntT pid);
    // A process asks to be taken in; the host's own program is told to it.
    void admit(const VqRpcApiConnectArgT &wish, UIntT host_program, VqRpcApiConnectReturnT &reply);
    void connection_closed(int descriptor);
    // Finds out what has become of each: connects to new ones, and notes ends.
    void look_after();
    void note_exit(Client &client);

private:
    void look_after(Client &client);
    void connect(Client &client);
    void replied(Client &client, const rpc_err &error);
    void note_loss(Client &client);
    void break_off_turns(Client &client, const std::string &outcome);

    Options &options_;
    Reports &reports_;
    Registrations &registrations_;
    Responder &responder_;
    std::list<Client> all_;
};

} // namespace velt::host
