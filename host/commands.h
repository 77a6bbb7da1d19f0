// The command language: what a person, a script or the program's arguments tell the host to do.
#pragma once

#include <istream>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/book.h"
#include "host/host.h"
#include "host/model.h"
#include "host/printing_desk.h"
#include "host/text.h"
#include "host/words.h"

namespace velt::host
{

// A client that the host may start, by its number.
struct Startable {
    int number;
    Startup what;
    // That of the program. In the client's description a blank would end it.
    std::string name() const;
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
        BookFile &file;
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
    std::string shown(const std::string &bytes) const { return printable(text_.to_utf8(bytes)); }
    std::string sent(const std::string &text) const;
    std::string label(const Object &item) const;
    std::vector<std::string> order() const;

    Surroundings s_;
    SessionText text_;
    // The book as its file would have it, up to the first save.
    std::optional<std::string> saved_;
};

} // namespace velt::host
