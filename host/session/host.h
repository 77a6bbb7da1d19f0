// The reference host: it starts clients, calls them, has their calls answered, and watches that
// they take turns.
#pragma once

#include <chrono>
#include <deque>
#include <exception>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "host/session/dispatcher.h"
#include "host/session/programs.h"
#include "host/session/session_program.h"

namespace velt::host
{

// How a call of the host ended.
struct Outcome {
    enum Kind {
        handed_back, // for quit: the client has exited
        queued,      // the client waits for an answer; the call follows that
        modal,       // the client waits for the end of a modal dialog
        busy,        // not called: the client holds control
        late,        // the time limit passed; the client may still hand over
        died,
        undelivered, // not sent, or refused by the client's dispatcher
    };
    Kind kind = handed_back;
    std::string text = {}; // one line that names the client

    explicit operator bool() const { return kind == handed_back; }
};

// Thrown when a client does not come up.
struct StartFailure : Error {
    StartFailure(const std::string &text, bool was_started_, std::optional<int> exit_status_)
        : Error(failed, text), was_started(was_started_), exit_status(exit_status_)
    {
    }
    bool was_started;
    std::optional<int> exit_status; // when it has ended
};

class Host
{
public:
    // Registers the host's program and its session program, unless its clients are in this process.
    // Throws Error.
    Host(Options options, Responder &responder, Console &console);
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;
    ~Host(); // calls end()

    // Starts a client and serves until it has acknowledged and is connected. Throws
    // StartFailure when it does not come up, and nothing of it is then left.
    Client &start(const Startup &what, int number, const std::string &name, bool detach = false);

    // Adds a client in this process, which is called on the handle. It is connected at once, and
    // its calls come to `dispatch` with the descriptor by which it is known.
    Client &adopt(int number, const std::string &name, CLIENT *handle, int descriptor);
    void dispatch(svc_req *request, SVCXPRT *transport)
    {
        Dispatcher::dispatch(&dispatcher_, request, transport);
    }

    // Each of these calls the client and serves until control comes back, and then for the end of a
    // client that is leaving, or the client waits for a modal dialog, dies, or is late. They report
    // at the console whatever is not as it should be.
    Outcome call(Client &client, const Procedure &procedure, void *argument);
    Outcome initialise(Client &client, IntT code);
    Outcome command(Client &client, IntT number);
    Outcome notify(Client &client, IntT notification, UIntT object, const std::string &string,
                   IntT integer);
    Outcome message(Client &client, const std::string &text, UIntT id1, UIntT id2);
    Outcome dialog_event(Client &client, IntT dialog, IntT item, IntT detail);
    // Ends the modal dialog that the client waits for, and serves until the callback that opened it
    // is over in one of these ways.
    Outcome end_dialog(Client &client, IntT item, IntT result);
    // A client that numbers a modal dialog waits for its end whatever the answer. Ends the wait, as
    // soon as it has begun, if the answer is that the dialog is refused.
    void end_refused_dialog(Client &client, const ApiVqDoDialogArgT &dialog, IntT answer);
    // Calls the client without waiting for anything, whatever it does.
    Outcome send(Client &client, const Procedure &procedure, void *argument);
    // Only tells the client to quit. It cannot before its modal dialogs have ended, which the host
    // sees to, or whoever else ends them.
    enum class Dialogs { end, stay };
    Outcome ask_to_quit(Client &client, Dialogs dialogs);
    // Serves until the client has exited.
    Outcome quit(Client &client);
    // Does not ask the client, which this host has started.
    Outcome kill(Client &client);

    // Serves what has come by now.
    void serve_pending() { loop_.serve_pending(); }
    void serve(std::chrono::milliseconds duration);
    // Serves until `done` holds; returns false when it does not within the limit. Throws Error when
    // interrupted.
    bool serve_until(const std::function<bool()> &done, std::chrono::milliseconds limit,
                     EventLoop::Time time = EventLoop::Time::excused);
    // Serves until the client has exited; returns false when it has not within the limit.
    bool wait_for_exit(Client &client, std::chrono::milliseconds limit);
    // Does so, and tells a person who has waited for a while what the client is waited for.
    bool wait_for(const Client &client, const std::string &what, const std::function<bool()> &done,
                  std::chrono::milliseconds limit);
    // Runs the action as soon as the client can be called or has ended, and no call is being
    // answered.
    void when_free(const Client &client, std::function<void()> action);
    // Does so as soon as the client is in no callback.
    void when_idle(const Client &client, std::function<void()> action);
    // Asks the person; the time that they take makes no client late.
    Reply ask(const Question &question);
    // Shows the person how far the client is.
    void progress(const Client &client, IntT percent) { console_.progress(client.number, percent); }
    // Serves for so long, but not beyond the limit of a turn, nor the end of the client that has
    // asked for it.
    void sleep(const Client &client, std::chrono::microseconds time);

    // The person cancels; the next client that asks is told, once.
    void cancel() { cancelled_ = true; }
    bool cancel_is_pending() const { return cancelled_; }
    // The person cancels what clients do: each that holds control is told, if it asks before it
    // hands that back. Returns whether any holds control.
    bool cancel_work();
    // Returns whether the client is to be told that the person has cancelled.
    bool take_cancel(Client &client)
    {
        return client.turns.take_cancel() || std::exchange(cancelled_, false);
    }
    bool any_client_holds_control();

    // Quits all clients at once, kills those that stay, and removes all registrations. A second
    // call does no harm.
    void end();

    // Returns the clients in order of their start, including those that have exited.
    std::list<Client> &clients() { return clients_.all(); }
    Client *find(int number) { return clients_.find(number); }

    UIntT session_program() const { return session_program_; }
    // Returns the value of VQPMAP with which a process joins the session; empty for the machine's
    // port mapper.
    std::string port_mapper() { return registrations_.mapper().name(); }
    Options &options() { return options_; }
    Programs &programs() { return programs_; }
    Reports &reports() { return reports_; }
    // Notes that something has failed at the client, or for it.
    void note_failure(const Client &client) noexcept;
    // The host itself has failed in a call.
    void note_own_failure(const std::exception_ptr &why) noexcept;
    // Returns the title of the first client for which that was so since the last call; empty when
    // there is none. One that has ended is not meant.
    std::string take_failure();
    // The notifications that clients have been sent and the script has not expected yet.
    std::deque<IntT> &notified() { return notified_; }

private:
    void listen();
    void look();
    void check();
    [[noreturn]] void give_up(Client &client, const std::string &reason);

    template <class Callback>
    Outcome call_with(Client &client, typename Callback::Argument argument);
    Outcome wait_for_turn(Client &client, std::size_t turn, const std::string &procedure);
    Outcome wrong(Outcome::Kind kind, const Client &client, const std::string &what);
    Outcome failure(Outcome::Kind kind, const Client &client, const std::string &what);

    Options options_;
    Console &console_;
    Reports reports_;
    Registrations registrations_;
    Clients clients_;
    EventLoop loop_;
    Dispatcher dispatcher_;
    Programs programs_;
    std::deque<IntT> notified_;
    int failed_ = 0; // the number of the client that take_failure() names
    bool ending_ = false;
    bool cancelled_ = false;
    SVCXPRT *service_ = nullptr;
    std::unique_ptr<SessionProgram> session_listener_;
    UIntT program_ = 0;
    UIntT session_program_ = 0;
};

} // namespace velt::host
