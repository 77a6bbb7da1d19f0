// The reference host: it starts clients, calls them, serves their calls, and watches that they
// take turns.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "host/client.h"
#include "host/context.h"
#include "host/portmap.h"
#include "host/procedures.h"
#include "host/trace.h"

namespace velt::host
{

// What has failed and why; the host itself goes on.
class HostError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// What becomes of a client's call.
enum class Reaction { answer, drop };

struct Options {
    std::chrono::milliseconds start_limit = std::chrono::seconds(10); // to the acknowledgement
    std::chrono::milliseconds turn_limit = std::chrono::seconds(30);  // to the hand-over
    std::chrono::milliseconds exit_limit = std::chrono::seconds(5);   // from quit to the exit
    TraceSink trace; // nothing is decoded for an empty one
    // Asked before each call of a client; a call that is dropped gets no reply.
    std::function<Reaction(rpcproc_t number, Client &client)> on_call;
    // Asked at every wait; true ends it with HostError, until the host is told to end.
    std::function<bool()> interrupted;
    // Null makes one of the session's own.
    std::shared_ptr<PortMapper> port_mapper;
    // The status for processes that ask to be taken in; 0 takes them in.
    IntT connect_refusal = 0;
};

// How a call of the host ended.
struct Outcome {
    enum Kind {
        handed_back, // for quit: the client has ended; for an old-style notification: it is sent
        queued,      // the client waits for an answer; the call is made once it has it
        busy,        // not called: the client holds control
        late,        // the time limit passed; the client may still hand over
        died,
        failed, // not delivered, or refused by the client's dispatcher
    };
    Kind kind = handed_back;
    std::string text = {}; // one line that names the client
    bool bailout = false;  // it hands control back for the last time

    explicit operator bool() const { return kind == handed_back; }
};

class Host
{
public:
    // Registers the host's program and its session program. Throws HostError.
    Host(Options options, Model &model, Desk &desk);
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;
    ~Host(); // ends

    // Starts a client and serves until it has acknowledged and is connected; with a code, also
    // initialises it. Throws HostError when it does not come up, and nothing of it is then left.
    Client &start(const std::string &path, std::optional<IntT> init_code, int number,
                  const std::string &name, bool detach = false);

    // Each calls the client and serves until control comes back, it dies or is late. Whatever is
    // not as it should be is reported at the desk too.
    Outcome initialise(Client &client, IntT code);
    Outcome command(Client &client, IntT number);
    Outcome notify(Client &client, IntT notification, UIntT object, const std::string &string,
                   IntT integer);
    Outcome message(Client &client, const std::string &text, UIntT id1, UIntT id2);
    Outcome dialog_event(Client &client, IntT dialog, IntT item, IntT detail);
    // Has no hand-over and no reply.
    Outcome old_notify(Client &client, IntT notification, UIntT object, const std::string &string);
    // Serves until the client has ended.
    Outcome quit(Client &client);

    void serve(std::chrono::milliseconds duration);
    // Serves until the client has ended; false when it has not within the limit.
    bool wait_for_exit(Client &client, std::chrono::milliseconds limit);
    // Done as soon as no call is being answered.
    void after_reply(std::function<void()> action);

    // Quits every client, kills what stays, and removes all registrations. Harmless when done.
    void end();

    // In order of their start, those that have ended included.
    std::list<Client> &clients() { return clients_; }
    Client *find(int number);
    bool running(const Client &client) const { return client.running; }

    UIntT program() const { return program_; }
    UIntT session_program() const { return session_program_; }
    Options &options() { return options_; }

    // Answers a procedure in place of the host: answer(client, argument, result), where what is
    // void is left out. Strings and lists of the result are allocated as a client's are.
    template <class Procedure, class Answer>
    void on(Answer answer)
    {
        scripted_[Procedure::number] = [answer](Client &client, void *argument, void *result) {
            using Argument = typename Procedure::Argument;
            using Result = typename Procedure::Result;
            auto *in = static_cast<Argument *>(argument);
            auto *out = static_cast<Result *>(result);
            if constexpr (std::is_void_v<Argument> && std::is_void_v<Result>)
                answer(client);
            else if constexpr (std::is_void_v<Argument>)
                answer(client, *out);
            else if constexpr (std::is_void_v<Result>)
                answer(client, *in);
            else
                answer(client, *in, *out);
        };
    }

private:
    friend class Dispatch;
    friend void serve_connect(svc_req *, SVCXPRT *);
    using Clock = std::chrono::steady_clock;
    struct Action {
        const Client *client; // that must be free to be called; null for any action
        std::function<void()> run;
    };

    UIntT free_program();
    UIntT register_service(const SVCXPRT *service, unsigned protocol);
    Client &add_client(int number, const std::string &name);
    [[noreturn]] void give_up(Client &client, const std::string &reason);

    template <class Argument>
    Outcome call(Client &client, unsigned number, Argument argument);
    template <class Argument>
    Outcome send(Client &client, unsigned number, Argument &argument);
    Outcome wait_for_turn(Client &client, std::size_t turn, std::string_view procedure);
    Outcome wrong(Outcome::Kind kind, const Client &client, const std::string &what);
    void trace_return(const Client &client, const Turn &turn, const std::string &outcome);

    // Serves until `done` or until the host has waited that long; whether it is done.
    bool serve_until(const std::function<bool()> &done, std::chrono::milliseconds limit);
    // Returns how long it has waited.
    Clock::duration wait_and_dispatch(Clock::duration limit);
    static void heard(void *host, const char *what);
    void turn_away_sender();
    static void connection_closed(void *host, SVCXPRT *connection);
    static void replied(void *client, const rpc_err &error);
    void connect(Client &client);
    void disconnect(Client &client);
    void look_after(Client &client);
    void gone(Client &client);
    void report(const Client &client, const std::string &what);
    void run_actions();

    void acknowledge(int connection, IntT pid);
    void take_in(const VqRpcApiConnectArgT &wish, VqRpcApiConnectReturnT &reply);
    Turn &begin_turn(Client &client, std::string_view procedure, unsigned number);
    void take_over(Client &client);
    void hand_over(Client &client, bool bailout);
    void begin_modal_wait(Client &client);
    void check_turn(Client &client, std::string_view procedure);
    Client *on_connection(int descriptor);

    Options options_;
    Model &model_;
    Desk &desk_;
    std::list<Client> clients_;
    std::map<rpcproc_t, std::function<void(Client &, void *, void *)>> scripted_;
    std::deque<Action> actions_;
    int answering_ = 0; // calls of clients
    bool sender_reported_ = false;
    SVCXPRT *service_ = nullptr;
    SVCXPRT *session_service_ = nullptr;
    UIntT program_ = 0;
    UIntT session_program_ = 0;
};

} // namespace velt::host
