// The command language.

#include "host/script/commands.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "common/interrupts.h"
#include "common/memory_reserve.h"
#include "host/files/book.h"
#include "host/script/expectations.h"

namespace velt::host
{

using std::chrono::milliseconds;
using namespace std::literals;

struct CommandTable {
    std::string_view name, arguments, summary;
    void (*run)(Commands &, std::string_view rest);

    std::string usage() const
    {
        return std::string(name) + (arguments.empty() ? "" : " ") + std::string(arguments);
    }
    static const CommandTable *find(std::string_view name);
    static const CommandTable rows[];
};

const CommandTable CommandTable::rows[] = {
    {"show", "[document]", "print the book window, or the active document",
     [](Commands &c, std::string_view rest) { c.show(rest); }},
    {"select", "NAME | --text PARAGRAPH[:FROM[-[PARAGRAPH:]TO]]",
     "select a component by name or number, none selects nothing; or text of the active document, "
     "paragraphs counted from 1, characters from 0",
     [](Commands &c, std::string_view rest) { c.select(rest); }},
    {"choose", "ITEM", "choose a menu item by its label or its command's name",
     [](Commands &c, std::string_view rest) { c.choose(rest); }},
    {"start", "[--init CODE]", "start the client that is not running, with code 2 or CODE",
     [](Commands &c, std::string_view rest) { c.start(rest); }},
    {"notify", "CODE [OBJECT [TEXT [NUMBER]]]", "notify the clients that asked for this code",
     [](Commands &c, std::string_view rest) { c.notify(rest); }},
    {"message", "TEXT [ID [ID]]", "send a message to the client",
     [](Commands &c, std::string_view rest) { c.message(rest); }},
    {"dialog", "DIALOG ITEM [DETAIL] | end [RESULT]",
     "tell the client of an event in a dialog, or of the end of the modal dialog",
     [](Commands &c, std::string_view rest) { c.dialog(rest); }},
    {"answer", "WORD...", "answers for the next questions; cancel cancels one",
     [](Commands &c, std::string_view rest) { c.answer(rest); }},
    {"cancel", "", "tell the next client that asks that the person has cancelled",
     [](Commands &c, std::string_view) { c.cancel(); }},
    {"open", "[--revert] FILE | COMPONENT",
     "open a document, or the file of a component; --revert reads one that is open again",
     [](Commands &c, std::string_view rest) { c.open(rest); }},
    {"close", "[--lose] [DOCUMENT]",
     "close the active document, or another; --lose also loses changes that are not saved",
     [](Commands &c, std::string_view rest) { c.close(rest); }},
    {"document", "[DOCUMENT]", "make a document active by name or number, or list the open ones",
     [](Commands &c, std::string_view rest) { c.document(rest); }},
    {"type", "TEXT",
     "put text in place of the selection in the active document; \\n in quotes begins a paragraph",
     [](Commands &c, std::string_view rest) { c.type(rest); }},
    {"get", "OBJECT PROPERTY",
     "print a property, by number or name, of session, book or a component",
     [](Commands &c, std::string_view rest) { c.get(rest); }},
    {"set", "OBJECT PROPERTY VALUE", "write a number or a text into a property",
     [](Commands &c, std::string_view rest) { c.set(rest); }},
    {"props", "OBJECT", "list the properties",
     [](Commands &c, std::string_view rest) { c.props(rest); }},
    {"expect", "WHAT", "fail at the end unless it is so", velt::host::expect},
    {"wait", "SECONDS | exit", "serve clients for so long, or until they have ended",
     [](Commands &c, std::string_view rest) { c.wait(rest); }},
    {"stop", "[CLIENT]", "tell a client, by number or name, to quit, and wait for its end",
     [](Commands &c, std::string_view rest) { c.stop(rest); }},
    {"clients", "", "list the clients", [](Commands &c, std::string_view) { c.list_clients(); }},
    {"save", "[--document] [--force] [FILE]",
     "save the book or the active document, in its own file, --force also when that has changed, "
     "or "
     "another",
     [](Commands &c, std::string_view rest) { c.save(rest); }},
    {"help", "", "list the commands",
     [](Commands &c, std::string_view) { c.s_.out << Commands::help(); }},
    {"quit", "", "leave out the rest; clients are told to quit", nullptr},
};

const CommandTable *CommandTable::find(std::string_view name)
{
    const auto *found = std::ranges::find(rows, name, &CommandTable::name);
    return found == std::end(rows) ? nullptr : found;
}

namespace
{

std::string usage_of(std::string_view name)
{
    return CommandTable::find(name)->usage();
}

[[noreturn]] void misuse_of(std::string_view name)
{
    misuse("usage: " + usage_of(name));
}

// Ends the bar that shows a client's progress when the command is over, however that ends.
struct BarEnd {
    PrintingConsole &console;
    ~BarEnd() { console.end_bar(); }
};

} // namespace

std::vector<Commands::Entry> Commands::entries()
{
    std::vector<Entry> all;
    for (const CommandTable &row : CommandTable::rows)
        if (row.name != "expect")
            all.push_back({row.usage(), row.summary});
        else
            for (const Expectation &each : Expectation::all())
                all.push_back({"expect " + each.usage(), each.summary});
    return all;
}

std::string Commands::help()
{
    std::string text;
    for (const auto &[usage, summary] : entries())
        text += "  " + usage + "\n      " + std::string(summary) + "\n";
    return text;
}

Commands::Commands(Surroundings surroundings)
    : s_(std::move(surroundings)),
      window_(s_.model, s_.book, s_.console.text.emplace(s_.model.language())),
      view_(s_.model, s_.documents, *s_.console.text), saved_(write_book(s_.model, s_.book))
{
}

bool Commands::run(std::string_view line)
{
    line = trimmed(line);
    if (line.empty() || line.starts_with('#'))
        return true;
    const std::string_view name = line.substr(0, line.find_first_of(blanks));
    const std::string_view rest = trimmed(line.substr(name.size()));
    const CommandTable *row = CommandTable::find(name);
    if (!row)
        misuse("unknown command \"" + std::string(name) + "\"; help lists them");
    if (row->arguments.empty() && !rest.empty())
        misuse("\"" + std::string(name) + "\" takes no arguments");
    if (!row->run)
        return false;
    restore_memory();
    try {
        if (interrupts.signal)
            throw Interrupted();
        if (s_.host)
            s_.host->serve_pending();
        const BarEnd bar{s_.console};
        row->run(*this, rest);
        s_.console.check();
    } catch (const StatusError &error) {
        fail(std::string(name) + ": " + error.what());
    }
    return true;
}

bool Commands::run_at(const Position &position, std::string_view line, Checks &checks)
{
    line = trimmed(line);
    try {
        const bool more = run(line);
        if (line.substr(0, line.find_first_of(blanks)) == "expect")
            checks.met(position, line);
        return more;
    } catch (const Unmet &error) {
        checks.unmet(position, line, error.what());
        return true;
    } catch (const Error &error) {
        throw Error(error.code, position.text() + ": " + error.what());
    }
}

void Commands::run_script(std::istream &script, const std::string &name, Checks &checks)
{
    Position position{name, 0};
    for (std::string line; std::getline(script, line);) {
        // An editor may have put a byte order mark at the beginning of the text.
        constexpr std::string_view mark = "\xEF\xBB\xBF";
        if (++position.number == 1 && line.starts_with(mark))
            line.erase(0, mark.size());
        if (!run_at(position, line, checks))
            return;
        try {
            s_.check();
        } catch (const Interrupted &) {
            throw;
        } catch (const std::exception &error) {
            // The script is read no further, because the rest of it may have no end.
            fail(position.text() + ": " + error.what() + "; what follows is not done");
        }
    }
}

void Commands::run_arguments(const std::vector<std::string> &arguments, Checks &checks)
{
    Position position{{}, 0};
    for (const std::string &argument : arguments) {
        position.number++;
        if (!run_at(position, argument, checks))
            return;
    }
}

void Commands::show(std::string_view rest)
{
    if (rest.empty())
        window_.show(s_.out, s_.colour);
    else if (rest == "document")
        view_.show(s_.out, view_.active());
    else
        misuse_of("show");
}

void Commands::select(std::string_view rest)
{
    constexpr std::string_view option = "--text";
    if (rest.substr(0, rest.find_first_of(blanks)) == option)
        return select_text(trimmed(rest.substr(option.size())));
    const std::string name = whole(rest);
    if (name.empty())
        misuse_of("select");
    const auto names = window_.order();
    const bool nothing = name == "none" && std::ranges::find(names, name) == names.end();
    s_.model.select(s_.book, nothing ? 0 : window_.component(name));
}

// Clients

Host &Commands::host() const
{
    if (!s_.host)
        fail("no client can be run here: give one with --client PATH");
    return *s_.host;
}

const Startable &Commands::startable(int client) const
{
    const auto found = std::ranges::find(s_.clients, client, &Startable::number);
    if (found == s_.clients.end())
        fail("client " + std::to_string(client) + " is not running and the host cannot start it");
    return *found;
}

void Commands::check(const Outcome &outcome, Client &client)
{
    // The host has reported why. A death counts at the end of the run, unless it is expected.
    if (outcome.kind == Outcome::died && !client.running() && !ended_well(client))
        return;
    if (outcome.kind == Outcome::modal && client.turns.modal_wait()) {
        s_.console.end_bar();
        s_.out << "  " << modal_wait(client) << "; \"dialog end\" ends it" << std::endl;
        return;
    }
    if (outcome.kind != Outcome::queued && !outcome)
        fail(client.title() + " failed");
    if (outcome.bailout)
        host().wait_for_exit(client, host().options().exit_limit);
}

std::string Startable::name() const
{
    std::string name = printable(what.path.substr(what.path.rfind('/') + 1));
    std::ranges::replace_if(
        name,
        [](char c) { return std::string_view(" \t\n\v\f\r").find(c) != std::string_view::npos; },
        '_');
    return name;
}

bool Commands::ended_well(const Client &client) const
{
    return client.ended_well() || expected_exits_.contains(&client);
}

void Commands::start(const Startable &startable, IntT code)
{
    s_.model.forget_subscriptions(startable.number);
    Client &client = host().start(startable.what, startable.number, startable.name());
    check(host().initialise(client, code), client);
}

void Commands::start(std::string_view rest)
{
    const Words words(rest, 0, 2, usage_of("start"));
    if (words.words.size() == 1 || words.at(0, "--init") != "--init")
        misuse_of("start");
    const IntT code = words.words.empty() ? service_code : number<IntT>(words.at(1));
    host();
    for (const Startable &each : s_.clients)
        if (const Client *client = s_.host->find(each.number); !client || !client->running())
            return start(each, code);
    fail("every client is running already");
}

Client &Commands::running_client()
{
    for (Client &each : host().clients())
        if (each.running())
            return each;
    fail("no client is running; start starts one");
}

// Returns the last client of the name or number.
Client &Commands::client(const std::string &who)
{
    Client *found = nullptr;
    for (Client &each : host().clients())
        if (std::to_string(each.number) == who || each.name == who)
            found = &each;
    if (!found)
        fail("no client \"" + who + "\" has been started");
    return *found;
}

void Commands::stop(std::string_view rest)
{
    const Words words(rest, 0, 1, usage_of("stop"));
    Client &one = words.words.empty() ? running_client() : client(words.at(0));
    if (const Outcome outcome = host().quit(one); !outcome)
        fail(one.title() + " failed");
}

void Commands::choose(std::string_view rest)
{
    const std::string name = whole(rest);
    if (name.empty())
        misuse_of("choose");
    const auto items = window_.menu_items();
    const auto is_it = [&](const Object *item) {
        return window_.label(*item) == name || window_.shown(item->name) == name;
    };
    const auto found = std::ranges::find_if(items, is_it);
    if (found == items.end()) {
        std::vector<std::string> labels(items.size());
        std::ranges::transform(items, labels.begin(),
                               [&](const Object *item) { return window_.label(*item); });
        fail("no menu item \"" + name + "\"; there are: " + joined(labels));
    }
    const int client_number = (*found)->client;
    const IntT command = (*found)->command;
    Client *client = host().find(client_number);
    if (!client || !client->running()) {
        start(startable(client_number), service_code);
        client = host().find(client_number);
    }
    check(host().command(*client, command), *client);
}

void Commands::notify(std::string_view rest)
{
    const Words words(rest, 1, 4, usage_of("notify"));
    const auto code = number<IntT>(words.at(0));
    const auto object = number<UIntT>(words.at(1));
    const std::string text = window_.sent(words.at(2, ""));
    const auto integer = number<IntT>(words.at(3));
    bool told = false;
    // The list does not shrink meanwhile, but a client may end.
    for (Client &each : host().clients()) {
        if (!each.running() || !s_.model.subscribed(each.number, code))
            continue;
        check(host().notify(each, code, object, text, integer), each);
        told = true;
    }
    if (!told)
        s_.out << "  no running client has asked for notification " << code << std::endl;
}

void Commands::message(std::string_view rest)
{
    const Words words(rest, 1, 3, usage_of("message"));
    const std::string text = window_.sent(words.at(0));
    const auto id1 = number<UIntT>(words.at(1));
    const auto id2 = number<UIntT>(words.at(2));
    Client &client = running_client();
    check(host().message(client, text, id1, id2), client);
}

void Commands::wait(std::string_view rest)
{
    const Words words(rest, 1, 1, usage_of("wait"));
    if (words.at(0) == "exit") {
        for (Client &each : host().clients()) {
            await_dialog(each);
            if (each.running() && !host().wait_for_exit(each, host().options().turn_limit))
                fail(each.title() + " has not ended");
        }
        return;
    }
    const auto seconds = number<double>(words.at(0));
    if (!(seconds >= 0 && seconds <= 86400))
        misuse("wait takes 0 to 86400 seconds");
    host().serve(milliseconds(std::lround(seconds * 1000)));
}

void Commands::list_clients()
{
    // Only the last of the clients that have had a number is listed.
    for (Client &each : host().clients())
        if (host().find(each.number) == &each)
            s_.out << printable(each.title()) << ": "
                   << (each.running() ? "running, process " + std::to_string(each.pid) : "ended"s)
                   << "\n";
    for (const Startable &each : s_.clients)
        if (!host().find(each.number))
            s_.out << "client " << each.number << " (" << each.name() << "): not started\n";
    s_.out << std::flush;
}

bool Commands::unsaved() const
{
    return write_book(s_.model, s_.book) != saved_.value_or(s_.file.text());
}

std::vector<std::string> Commands::completions(std::string_view line) const
{
    std::vector<std::string> all;
    const auto offer = [&](std::string_view before, const auto &rows, const auto &name) {
        for (const auto &row : rows)
            all.push_back(std::string(before) + std::string(std::invoke(name, row)));
    };
    // `before` is what stands before the innermost expectation: `expect` and each `not`.
    std::string_view before = line.starts_with("expect ") ? "expect " : "";
    while (!before.empty() && line.substr(before.size()).starts_with("not "))
        before = line.substr(0, before.size() + 4);
    const std::string_view rest = line.substr(before.size());
    const std::string_view word = rest.substr(0, rest.find(' '));

    if (word.size() == rest.size()) {
        if (before.empty())
            offer("", CommandTable::rows, &CommandTable::name);
        else
            offer(before, Expectation::all(), &Expectation::name);
    } else if (word == "select" || word == "selected") {
        // A name that needs no quotes is offered without them.
        offer(std::string(before) + std::string(word) + " ", window_.order(),
              [](const std::string &name) {
                  return !name.starts_with('"') && whole(name) == name ? name : as_word(name);
              });
    } else if (word == "open") {
        offer("open ", window_.order(), as_word);
    } else if (word == "close" || word == "document" || word == "changed") {
        offer(std::string(before) + std::string(word) + " ", view_.names(), as_word);
    } else if (word == "choose") {
        offer("choose ", window_.menu_items(),
              [this](const Object *item) { return window_.label(*item); });
    } else if (word == "get" || word == "set" || word == "props" || word == "property") {
        const std::string objects = std::string(before) + std::string(word) + " ";
        offer(objects, std::array{"session"sv, "book"sv}, std::identity());
        offer(objects, window_.order(), as_word);
    }
    std::erase_if(all, [&](const std::string &each) { return !each.starts_with(line); });
    return all;
}

} // namespace velt::host
