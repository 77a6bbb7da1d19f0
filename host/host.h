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
#include "host/session_program.h"
#include "host/trace.h"

namespace velt::host
{

// What has failed and why; the host itself goes on.
class HostError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// For the limits of Options: longer than any session lasts.
inline constexpr std::chrono::milliseconds no_limit = std::chrono::hours(24 * 365 * 100);

// What becomes of a client's call.
enum class Reaction { answer, drop };

struct Options {
    std::chrono::milliseconds start_limit = std::chrono::seconds(10); // to the acknowledgement
    std::chrono::milliseconds turn_limit = std::chrono::seconds(30);  // to the hand-over
    std::chrono::milliseconds exit_limit = std::chrono::seconds(5);   // from quit to the exit
    TraceSink trace; // nothing is decoded for an empty one
    // Asked before each call of a client; a call that is dropped gets no reply.
    std::function<Reaction(rpcproc_t number, Client &client)> on_call;
    // How often the host has been told to end, asked at every wait: once ends what it does with
    // HostError, and once more while it ends leaves clients no time to do so.
    std::function<int()> interrupts;
    // Each client is stopped before it begins, for a debugger.
    bool stop_at_start = false;
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
        undelivered, // or refused by the client's dispatcher
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
    Client &start(const Startup &what, std::optional<IntT> init_code, int number,
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
    // Serves what has come by now.
    void serve_pending();

    void serve(std::chrono::milliseconds duration);
    // Serves until it is done; false when it is not within the limit.
    bool serve_until(const std::function<bool()> &done, std::chrono::milliseconds limit);
    // Serves until the client has ended; false when it has not within the limit.
    bool wait_for_exit(Client &client, std::chrono::milliseconds limit);
    // Done as soon as no call is being answered.
    void after_reply(std::function<void()> action);

    // Quits all clients at once, kills what stays, and removes all registrations. Harmless when
    // done.
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
    using Clock = std::chrono::steady_clock;
    struct Action {
        const Client *client; // that must be free to be called; null for any action
        std::function<void()> run;
    };

    // The desk, as clients' calls find it: the time that a person takes is nobody's.
    struct Person : Desk {
        explicit Person(Host &of) : host(of) {}
        IntT alert(int client, const std::string &message, IntT type) override;
        void report(const std::string &line) override { host.desk_.report(line); }
        Host &host;
    };

    UIntT free_program();
    UIntT register_service(unsigned protocol, in_port_t port);
    void register_again();
    Client &add_client(int number, const std::string &name);
    [[noreturn]] void give_up(Client &client, const std::string &reason);

    template <class Argument>
    Outcome call(Client &client, unsigned number, Argument argument);
    template <class Argument>
    Outcome send(Client &client, unsigned number, Argument &argument);
    Outcome wait_for_turn(Client &client, std::size_t turn, std::string_view procedure);
    Outcome wrong(Outcome::Kind kind, const Client &client, const std::string &what);
    void trace_return(const Client &client, const Turn &turn, const std::string &outcome);

    void wait_and_dispatch(Clock::duration limit);
    bool interrupted() const;
    static void heard(void *host, const char *what);
    // Of a kind once a minute: who comes again and again is not heard of each time.
    void report_stranger(const std::string &kind, const std::string &what);
    static void connection_closed(void *host, SVCXPRT *connection);
    static void replied(void *client, const rpc_err &error);
    void connect(Client &client);
    void disconnect(Client &client);
    void look_after(Client &client);
    void gone(Client &client);
    void lost(Client &client);
    Outcome ask_to_quit(Client &client);
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
    Person person_{*this};
    std::map<std::string, Clock::time_point> strangers_; // when they were reported
    Clock::duration excused_{};    // of the time that has passed, what makes no client late
    Clock::time_point next_check_; // of the registrations
    int answering_ = 0;            // calls of clients
    bool ending_ = false;
    SVCXPRT *service_ = nullptr;
    std::unique_ptr<SessionProgram> session_service_;
    UIntT program_ = 0;
    UIntT session_program_ = 0;
};

} // namespace velt::host
