// The command language: what a person, a script or the program's arguments tell the host to do.
#pragma once

#include <functional>
#include <istream>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "common/words.h"
#include "host/answers/responder.h"
#include "host/console/printing_console.h"
#include "host/files/book.h"
#include "host/model/model.h"
#include "host/script/checks.h"
#include "host/script/command_table.h"
#include "host/script/document_window.h"
#include "host/script/window.h"

namespace velt::host
{

// A client that the host may start, by its number.
struct Startable {
    int number;
    Startup what;
    // Returns the name of the program's file with white space replaced, because a blank would end
    // the name in the client's description.
    std::string name() const;
};

// The code with which a client is started to carry out its commands.
inline constexpr IntT service_code = 2;

// Returns the rest of a line as text to type: in quotes, \n is the end of a paragraph, \t a tab.
std::string typed_text(std::string_view rest);
// Returns a text as it is typed, in quotes if it needs them.
std::string as_typed(const std::string &text);

class Commands
{
public:
    struct Surroundings {
        Model &model;
        Documents &documents;
        PrintingConsole &console;
        Host *host; // null when no client can be run
        std::vector<Startable> clients;
        UIntT book;
        BookFile &file;
        std::ostream &out;
        bool colour;
        // Throws when the run has to end because what it writes is lost or it is interrupted.
        std::function<void()> check = [] {};
    };
    explicit Commands(Surroundings surroundings);

    // Carries out one line. Returns false if it is `quit`. Throws Error.
    bool run(std::string_view line);
    // These carry out commands one by one up to `quit` or the first error, to which they add its
    // position. An expectation that is not met is no such error. A script tells whether there was a
    // command in it.
    bool run_script(std::istream &script, const std::string &name, Checks &checks);
    void run_arguments(const std::vector<std::string> &arguments, Checks &checks);
    // Throws Error for a command that there is not, before any is carried out.
    static void check_names(const std::vector<std::string> &arguments);
    // Has clients come to an end of what they do when there is no command left: throws Error for a
    // modal wait that nobody ends, and for a client that has failed meanwhile.
    void finish();
    // Answers, and a wish to cancel, that nobody has asked for when there is no command left are
    // expectations that are not met.
    void expect_all_asked_for(Checks &checks) const;
    // Returns whether there has been a command, and not only remarks and empty lines.
    bool any_done() const { return any_done_; }
    // Starts a client and initialises it; one that ends at once with control handed back has done
    // its work.
    void start(const Startable &client, IntT code);

    // Returns whether the client has ended as it should, or as it was expected to.
    bool ended_well(const Client &client) const;
    // What has changes that are not saved: the book, or an open document by its name.
    struct Unsaved {
        bool is_book;
        std::string name;
        std::string saving; // which commands save it, as in "save saves"
        std::string copy;   // the other file that has the changes, if any
    };
    std::vector<Unsaved> unsaved() const;
    std::string saving(UIntT document) const;

    // Returns the completions of a line: whole lines that begin with `line`.
    std::vector<std::string> completions(std::string_view line) const;
    // Returns the help of all commands, or of those that begin so.
    static std::string help(std::string_view of = {});
    // A command as the help lists it.
    struct Entry {
        std::string usage;
        std::string_view summary;
    };
    static std::vector<Entry> entries();

private:
    friend struct CommandTable;
    friend struct Expectation;
    friend class Completion;

    bool run_at(const Position &position, std::string_view line, Checks &checks);

    void select(std::string_view rest, const GivenOptions &options);
    void choose(std::string_view rest);
    void start_next(std::string_view rest, const GivenOptions &options);
    void notify(std::string_view rest);
    void message(std::string_view rest);
    void dialog(std::string_view rest);
    void answer(std::string_view rest);
    void cancel();
    void get(std::string_view rest);
    void set(std::string_view rest);
    void props(std::string_view rest);
    void wait(std::string_view rest);
    void stop(std::string_view rest, const GivenOptions &options);
    void list_clients();
    void print_session();
    void save(std::string_view rest, const GivenOptions &options);
    void show(std::string_view rest);
    void open(std::string_view rest, const GivenOptions &options);
    void close(std::string_view rest, const GivenOptions &options);
    void document(std::string_view rest);
    void type(std::string_view rest);
    void select_text(std::string_view place);
    void print_help(std::string_view of);

    // Returns a text of the session as it is typed, fit to print.
    std::string typed(std::string_view bytes) const;
    bool book_changed() const;
    // Returns an open document by its name, its number, or the name of its component.
    UIntT open_document(const std::string &name) const;
    Host &host() const;
    const Startable &startable(int number) const;
    Client &running_client();
    Client &client(const std::string &who);
    void check(const Outcome &outcome, Client &client);
    void check_clients();
    [[noreturn]] void fail_with(const Client &client, const std::string &what);
    Client *waiting_client() const;
    // A dialog that a client has open, by the client's number for it.
    struct OpenDialog {
        Client *client;
        IntT number;
        std::string name;
    };
    std::vector<OpenDialog> open_dialogs() const;
    std::string dialog_name(UIntT dialog) const;
    std::string modal_wait(const Client &client) const;
    std::string state(const Client &client) const;
    void await_dialog(Client &client);

    Surroundings s_;
    Position here_{{}, 0}; // of the command in a script or among arguments
    bool any_done_ = false;
    int cancelled_at_ = 0; // the position of the latest `cancel`
    Window window_;
    DocumentWindow view_;
    std::set<const Client *> expected_exits_; // the list of clients does not shrink once they run
};

} // namespace velt::host
