// A session in memory between the client library of a test and the host's model and scenarios.
#pragma once

#include <atomic>
#include <deque>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/answers/responder.h"
#include "host/console/printing_console.h"
#include "host/scenario/player.h"
#include "mock/memory_link.h"
#include "velt/mock.h"

namespace velt::mock
{

// What has gone wrong, told as it happens.
class Failures
{
public:
    // The name stays the caller's, and may be null.
    void at(const char *file, int line)
    {
        file_ = file ? file : unknown;
        line_ = line;
    }
    // Returns the file and the line of the test's latest call.
    std::string place() const { return std::string(file_) + ":" + std::to_string(line_); }
    // Counts it, and tells it on standard error, with the place unless it begins with that.
    void add(const char *what) noexcept
    {
        count_++;
        tell("", what);
    }
    void add(const std::string &what) noexcept { add(what.c_str()); }
    void add(const std::exception &error) noexcept;
    // Tells what is not counted.
    void note(const std::string &what) const noexcept { tell("note: ", what.c_str()); }
    IntT count() const { return count_; }
    // Returns the number so far, and begins anew.
    IntT take() { return count_.exchange(0); }

private:
    // Does so also when there is no memory.
    void tell(const char *mark, const char *what) const noexcept;

    static constexpr const char *unknown = "test";

    const char *file_ = unknown;
    int line_ = 0;
    std::atomic<IntT> count_ = 0; // a thread that must not use the mock is counted too
};

// The person at the host, who answers what the test has prepared.
class Person : public host::PrintingConsole
{
public:
    explicit Person(Failures &failures);
    host::Reply ask(const host::Question &question) override;
    // What the host reports is no failure of itself.
    void report(const std::string &line) override;
    void progress(int, IntT) override {}

    // Where reports are put instead, since a call that fails may tell the same; null tells them.
    std::vector<std::string> *reports = nullptr;

private:
    Failures &failures_;
};

// The functions throw std::exception, where they are not said to return something for a failure.
class Mock
{
public:
    Mock(Failures &failures, const V_MockLibraryT &library, const char *book, const char *scenario);
    Mock(const Mock &) = delete;
    Mock &operator=(const Mock &) = delete;
    ~Mock() { documents_.announcer.set_host(nullptr); }

    // Makes the calls that are due, and tells of all that was expected and has not happened.
    void check_all_done();
    // Tells that the process ends now, and of all that has not happened, and calls nobody.
    void check_at_exit();
    // Ends the session, in which the client hands control back first, and gives the library back
    // what it had.
    void end();
    // Returns whether a callback is being run, or has been left by a jump; then frames on the stack
    // may use this.
    bool in_callback() const { return depth_ > 0; }

    void answer(const char *step);
    void reply(const char *words);
    void queue(const VqApiDialogEventArgT &event) { events_.push_back(event); }

    // Each returns whether the client has handed control back.
    bool initialise(IntT code);
    bool command(IntT number);
    bool notify(IntT notification, UIntT object, const std::string &text, IntT number);
    bool message(const std::string &text, UIntT object1, UIntT object2);
    bool dialog_event(IntT dialog, IntT item, IntT detail);
    bool quit();
    // The test has the client hand control back, and makes the calls that are due.
    void serve();
    // The limit of the calls of the client that no function of the mock comes between begins anew.
    void count_calls_anew() { calls_at_once_ = 0; }

    // Null stands for all procedures.
    const char *calls(const char *procedure);
    IntT count(const char *procedure) const;
    void forget() { calls_.clear(); }
    const char *book();
    const char *document(UIntT id);
    const char *file(const char *path) const;
    void write_files(bool writes) { documents_.kept = writes ? nullptr : &kept_; }

private:
    struct Library : V_MockLibraryT {
        explicit Library(const V_MockLibraryT &of);
        void restore() const;

    private:
        CLIENT *client_before_;
        IntT error_before_, bailout_before_, number_before_;
        UIntT mask_before_;
    };
    // A call of the client, whose messages are kept as they are on the wire.
    struct Recorded {
        host::TraceEvent event;
        const host::Procedure *procedure;
        std::string arguments, result;
    };
    class Reported;
    struct Pending {
        rpcproc_t procedure;
        std::string arguments;
    };

    UIntT load(const char *book);
    void note(const host::TraceEvent &event) noexcept;
    std::string json_of(const Recorded &call) const;

    // What the two links serve.
    void serve_client(svc_req &request);
    void serve_host(svc_req &request);
    // The client waits for the host: returns whether it was called.
    bool wait() noexcept;
    bool serve_wait();
    // Has a client go on for which nothing will come.
    void end_wait();
    void serve_due();
    void check_expectations();
    // Throws Error when the client is no more.
    void need_client() const;
    // Tells why the client goes on for ever, and ends the process where it does.
    [[noreturn]] void give_up(const char *why) noexcept;
    // Returns the callback in which the client is, for reports; empty when it is in none.
    std::string in_which_callback() const;
    // A client gets no event of a dialog that is not open.
    void check_is_open(IntT dialog);
    // Ends what the test has done by calling the client's functions.
    void end_test_turn();
    template <class Action>
    bool call(Action action);

    Failures &failures_;
    Library library_;
    host::Model model_;
    host::BookFile file_;
    host::KeptFiles kept_;
    host::Documents documents_{model_};
    Person person_{failures_};
    host::Spelling spelling_{person_};
    host::ModelResponder responder_{{model_, documents_, &spelling_}};
    UIntT book_;
    host::SessionText text_;
    host::ScenarioPlayer player_{responder_, text_};
    MemoryLink to_host_, to_client_;
    host::Host host_;
    host::Client *client_ = nullptr;

    std::deque<VqApiDialogEventArgT> events_;
    std::deque<Pending> pending_; // calls that came while the client waited for an answer
    std::vector<Recorded> calls_;
    std::string told_calls_, told_book_, told_document_;
    bool lost_ = false;                         // a scenario has ended the connection
    int depth_ = 0;                             // callbacks that are being run
    const host::Procedure *callback_ = nullptr; // the innermost of them
    unsigned calls_at_once_ = 0;
    bool initialised_ = false; // what the client has not asked for is a failure from then on
    bool defines_commands_ = false;
    std::set<IntT> defined_; // commands
    unsigned delivered_ = 0; // calls of the client so far
    unsigned idle_ = 0;      // waits in a row for which there was nothing, and no call in between
    bool is_to_quit_ = false;
};

} // namespace velt::mock
