// The command language: what a person, a script or the program's arguments tell the host to do.
#pragma once

#include <deque>
#include <functional>
#include <istream>
#include <map>
#include <ostream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/desk.h"
#include "host/host.h"
#include "host/model.h"
#include "host/text.h"

namespace velt::host
{

// Exit codes of the program.
enum ExitCode { done = 0, failed = 1, misused = 2, no_place = 3 };

class CommandError : public std::runtime_error
{
public:
    CommandError(ExitCode exit_code, const std::string &text)
        : std::runtime_error(text), code(exit_code)
    {
    }
    ExitCode code;
};

// Words are separated by white space; double quotes hold a word together, and in them a backslash
// keeps the next character. Throws CommandError for a quote that is not closed.
std::vector<std::string> split_words(std::string_view line);
// The same with commas as separators; white space around an entry does not count.
std::vector<std::string> split_list(std::string_view text);

// A desk that prints. Alerts are answered from a queue, else by a person, else with 0.
class PrintingDesk : public Desk
{
public:
    PrintingDesk(std::ostream &out, std::ostream &errors) : out_(out), errors_(errors) {}

    IntT alert(int client, const std::string &message, IntT type) override;
    void report(const std::string &line) override;

    const SessionText *text = nullptr; // for what clients send
    std::deque<IntT> answers;
    std::function<IntT()> ask; // a person, when there is one
    // What the script has not expected yet.
    std::deque<std::string> alerts;

private:
    std::ostream &out_;
    std::ostream &errors_;
};

// A client that the host may start, by its number.
struct Startable {
    int number;
    std::string path;
    std::string name() const { return path.substr(path.rfind('/') + 1); }
};

// The code with which a client is started to carry out its commands.
inline constexpr IntT service_code = 2;

class Commands
{
public:
    struct Surroundings {
        Model &model;
        PrintingDesk &desk;
        Host *host; // null when no client can be run
        std::vector<Startable> clients;
        UIntT book;
        std::string book_path;
        std::ostream &out;
        bool colour;
    };
    explicit Commands(Surroundings surroundings);

    // Carries out one line. Throws CommandError; false once the line is `quit`.
    bool run(std::string_view line);
    // Line by line until the first error, which then names file and line.
    void run_script(std::istream &script, const std::string &name);
    // Starts a client and initialises it; one that ends at once with control handed back has done
    // its work.
    void start(const Startable &client, IntT code);

    // Whether the book has changed since it was loaded or saved.
    bool unsaved() const;

    // What may follow in a line, for completion: whole lines that begin with `line`.
    std::vector<std::string> completions(std::string_view line) const;
    static std::string help();

private:
    friend struct CommandTable;

    void show();
    void select(std::string_view rest);
    void choose(std::string_view rest);
    void start(std::string_view rest);
    void notify(std::string_view rest);
    void message(std::string_view rest);
    void dialog(std::string_view rest);
    void answer(std::string_view rest);
    void expect(std::string_view rest);
    void wait(std::string_view rest);
    void list_clients();
    void save(std::string_view rest);

    Host &host() const;
    const Startable &startable(int number) const;
    Client &running_client();
    void check(const Outcome &outcome, Client &client);
    UIntT component(std::string_view name) const;
    std::vector<const Object *> menu_items() const;
    void collect(UIntT menu, std::vector<const Object *> &items) const;
    void show_menu(UIntT menu, int depth);
    std::string shown(const std::string &bytes) const { return text_.to_utf8(bytes); }
    std::string sent(const std::string &text) const;
    std::string label(const Object &item) const;
    std::vector<std::string> order() const;

    Surroundings s_;
    SessionText text_;
    std::string saved_; // the book as its file has it
};

} // namespace velt::host
