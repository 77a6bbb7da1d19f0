// A session for a point: a book, a host that can be told to misbehave, and the client. It lives in
// an arena, and no other session gets anything of it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/answers/responder.h"
#include "host/check/arena.h"
#include "host/check/meddler.h"
#include "host/check/probe.h"
#include "host/check/sample.h"

namespace velt::host
{

// What is checked, and how.
struct Subject {
    Startup client;
    std::string name; // of the client
    Sample book = small_book();
    std::vector<std::string> commands = {};  // to try, by number, name or label; all when empty
    bool allow_no_commands = false;          // a client that has none is not at fault
    std::chrono::milliseconds limit{30'000}; // for each thing that the client has to do
    std::string folder = {};                 // for the files of sessions
};

// A client that opens more dialogs than that one after the other does not come to an end.
inline constexpr int most_dialogs = 100;

// Something that the host has the client do: carry out a command, or initialise itself.
struct Step {
    std::string text; // how a person is told of it
    std::optional<IntT> command = {};
    std::string label = {};
    std::vector<std::string> asked_for = {}; // how the command was given, if it was
};

inline const Step first_step{"its initialisation"};

class Session
{
    // What is answered from.
    struct Desk {
        explicit Desk(const Subject &subject);

        Model model;
        BookFile file;
        Documents documents{model};
        ModelResponder responder{{model, documents}};
        UIntT book;
    };
    const Subject &subject_;
    Desk desk_;
    std::shared_ptr<WatchedMapper> mapper_ = std::make_shared<WatchedMapper>();

public:
    StandIn person;
    Meddler meddler{desk_.responder};
    Host host;

    explicit Session(const Subject &subject);
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    ~Session(); // kills the client

    // Most of these throw Violation when the client does not do its part.
    // Starts the client.
    Client &start(bool detach = false);
    Client &start(bool detach, int number, const std::string &name);
    // Returns the client, started and initialised as by a host that is about to choose one of its
    // commands: a client that bails out when it has defined them is started once more. Throws
    // Skipped when it does so again.
    Client &serving(bool detach = false);
    // Brings the session to where the step comes next.
    void prepare(const Step &step);
    // Has the client carry out a step; returns at once when it waits for a modal dialog.
    Outcome begin(const Step &step);
    // The same, and ends the modal dialogs that come of it.
    Outcome run(const Step &step);
    // The same; the client has to hand control back.
    void carry_out(const Step &step);
    // Waits until the client waits for calls, and all that it has called is answered.
    void settle();

    // Returns those of the client's commands that are to be tried, or all of them.
    std::vector<Step> commands(bool all = false);

    Client &client() { return *client_; }
    const Subject &subject() const { return subject_; }
    Probe &probe();
    WatchedMapper &mapper() { return *mapper_; }

private:
    void initialise(IntT code);
    bool serves() const { return client_ && client_->running() && !client_->is_going(); }

    Client *client_ = nullptr;
    std::unique_ptr<Probe> probe_;
    bool initialised_ = false;
};

// What is wrong with a client that has ended by a signal or within a callback, whatever the point
// is about; `care` is what the client may have to do against it.
inline constexpr const char *failed_calls =
    "use no result of a call that has failed or was cancelled";
Violation untimely_end(std::string seen, const std::string &care = failed_calls);

// Throws Violation unless the client has handed control back.
void need_hand_over(const Outcome &outcome, const Step &step,
                    const std::string &care = failed_calls);

} // namespace velt::host
