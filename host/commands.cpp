// The command language.

#include "host/commands.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iomanip>

#include "host/book.h"

namespace velt::host
{

using std::chrono::milliseconds;
using namespace std::string_literals;

namespace
{

[[noreturn]] void fail(const std::string &text)
{
    throw CommandError(failed, text);
}

[[noreturn]] void misuse(const std::string &text)
{
    throw CommandError(misused, text);
}

template <class T>
T number(std::string_view text)
{
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        misuse("\"" + std::string(text) + "\" is not a number in range");
    return value;
}

std::string joined(const std::vector<std::string> &names)
{
    std::string text;
    for (const std::string &name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text.empty() ? "none" : text;
}

// Arguments by position; `at` gives what a missing one reads as.
struct Words {
    std::vector<std::string> words;

    Words(std::string_view rest, std::size_t least, std::size_t most, std::string_view usage)
        : words(split_words(rest))
    {
        if (words.size() < least || words.size() > most)
            misuse("usage: " + std::string(usage));
    }
    std::string at(std::size_t i, const char *otherwise = "0") const
    {
        return i < words.size() ? words[i] : otherwise;
    }
};

} // namespace

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
    {"show", "", "print the book window", [](Commands &c, std::string_view) { c.show(); }},
    {"select", "NAME", "select a component by name or number; none selects nothing",
     [](Commands &c, std::string_view rest) { c.select(rest); }},
    {"choose", "ITEM", "choose a menu item by its label or its command's name",
     [](Commands &c, std::string_view rest) { c.choose(rest); }},
    {"start", "[--init CODE]", "start the client that is not running, with code 2 or CODE",
     [](Commands &c, std::string_view rest) { c.start(rest); }},
    {"notify", "CODE [OBJECT [TEXT [NUMBER]]]", "notify the clients that asked for this code",
     [](Commands &c, std::string_view rest) { c.notify(rest); }},
    {"message", "TEXT [ID [ID]]", "send a message to the client",
     [](Commands &c, std::string_view rest) { c.message(rest); }},
    {"dialog", "DIALOG ITEM [DETAIL]", "tell the client of an event in a dialog",
     [](Commands &c, std::string_view rest) { c.dialog(rest); }},
    {"answer", "NUMBER...", "answers for the next alerts",
     [](Commands &c, std::string_view rest) { c.answer(rest); }},
    {"expect", "order NAME,... | selected NAME | menu LABEL,... | alert TEXT | running NAME,...",
     "fail unless it is so", [](Commands &c, std::string_view rest) { c.expect(rest); }},
    {"wait", "SECONDS | exit", "serve clients for so long, or until they have ended",
     [](Commands &c, std::string_view rest) { c.wait(rest); }},
    {"clients", "", "list the clients", [](Commands &c, std::string_view) { c.list_clients(); }},
    {"save", "[--force] [FILE]",
     "save the book, in its own file, --force also when that has changed, or another",
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

} // namespace

std::string Commands::help()
{
    std::string text;
    for (const CommandTable &row : CommandTable::rows)
        text += "  " + row.usage() + "\n      " + std::string(row.summary) + "\n";
    return text;
}

Commands::Commands(Surroundings surroundings)
    : s_(std::move(surroundings)), text_(s_.desk.text.emplace(s_.model.language())),
      saved_(write_book(s_.model, s_.book))
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
    try {
        row->run(*this, rest);
    } catch (const Refusal &refusal) {
        fail(std::string(name) + ": " + refusal.what());
    } catch (const HostError &error) {
        fail(error.what());
    } catch (const BookError &error) {
        fail(error.what());
    }
    return true;
}

void Commands::run_script(std::istream &script, const std::string &name)
{
    std::string line;
    for (int at = 1; std::getline(script, line); at++) {
        try {
            if (!run(line))
                return;
        } catch (const CommandError &error) {
            throw CommandError(error.code, name + ":" + std::to_string(at) + ": " + error.what());
        }
    }
}

// What there is to see

std::string Commands::label(const Object &item) const
{
    return shown(item.label.empty() ? item.name : item.label);
}

void Commands::show()
{
    const auto paint = [&](const char *code, const std::string &text) {
        return s_.colour ? "\033["s + code + "m" + text + "\033[0m" : text;
    };
    const Object &book = s_.model.object(0, s_.book);
    const UIntT selected = s_.model.selected(s_.book);
    s_.out << paint("1", shown(book.name)) << "\n";
    int position = 0;
    for (UIntT id : book.members) {
        const std::string text = shown(s_.model.at(id).name);
        s_.out << (id == selected ? "> " : "  ") << std::setw(2) << ++position << "  "
               << (id == selected ? paint("7", text) : text) << "\n";
    }
    if (book.members.empty())
        s_.out << "  (no components)\n";
    s_.out << "Context menu:\n";
    show_menu(s_.model.menu(book_context_menu), 1);
    s_.out << std::flush;
}

void Commands::show_menu(UIntT menu, int depth)
{
    const std::string indent(static_cast<std::size_t>(2 * depth), ' ');
    if (s_.model.at(menu).members.empty())
        s_.out << indent << "(empty)\n";
    for (UIntT id : s_.model.at(menu).members) {
        const Object &item = s_.model.at(id);
        s_.out << indent << label(item);
        if (!item.shortcut.empty())
            s_.out << "  " << shown(item.shortcut);
        s_.out << "\n";
        if (item.type == object_type::menu)
            show_menu(id, depth + 1);
    }
}

void Commands::collect(UIntT menu, std::vector<const Object *> &items) const
{
    for (UIntT id : s_.model.at(menu).members) {
        const Object &item = s_.model.at(id);
        if (item.type == object_type::menu)
            collect(id, items);
        else
            items.push_back(&item);
    }
}

std::vector<const Object *> Commands::menu_items() const
{
    std::vector<const Object *> items;
    collect(s_.model.menu(book_context_menu), items);
    collect(s_.model.menu(menu_bar), items);
    return items;
}

std::vector<std::string> Commands::order() const
{
    std::vector<std::string> names;
    for (UIntT id : s_.model.object(0, s_.book).members)
        names.push_back(shown(s_.model.at(id).name));
    return names;
}

UIntT Commands::component(std::string_view name) const
{
    const auto names = order();
    const auto &members = s_.model.object(0, s_.book).members;
    const auto found = std::ranges::find(names, name);
    if (found != names.end())
        return members[static_cast<std::size_t>(found - names.begin())];
    std::size_t position = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), position);
    if (error == std::errc() && end == name.data() + name.size() && position >= 1 &&
        position <= members.size())
        return members[position - 1];
    fail("no component \"" + std::string(name) + "\"; there are: " + joined(names));
}

void Commands::select(std::string_view rest)
{
    const std::string name = whole(rest);
    if (name.empty())
        misuse_of("select");
    const auto names = order();
    const bool nothing = name == "none" && std::ranges::find(names, name) == names.end();
    s_.model.select(s_.book, nothing ? 0 : component(name));
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
    // The host has reported why.
    if (outcome.kind != Outcome::queued && !outcome)
        fail(client.title() + " failed");
    if (outcome.bailout)
        host().wait_for_exit(client, host().options().exit_limit);
}

std::string Startable::name() const
{
    std::string name = what.path.substr(what.path.rfind('/') + 1);
    std::ranges::replace_if(
        name,
        [](char c) { return std::string_view(" \t\n\v\f\r").find(c) != std::string_view::npos; },
        '_');
    return name;
}

void Commands::start(const Startable &startable, IntT code)
{
    s_.model.forget_subscriptions(startable.number);
    Client &client = host().start(startable.what, std::nullopt, startable.number, startable.name());
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
        if (const Client *client = s_.host->find(each.number); !client || !client->running)
            return start(each, code);
    fail("every client is running already");
}

Client &Commands::running_client()
{
    for (Client &each : host().clients())
        if (each.running)
            return each;
    fail("no client is running; start starts one");
}

void Commands::choose(std::string_view rest)
{
    const std::string name = whole(rest);
    if (name.empty())
        misuse_of("choose");
    const auto items = menu_items();
    const auto is_it = [&](const Object *item) {
        return label(*item) == name || shown(item->name) == name;
    };
    const auto found = std::ranges::find_if(items, is_it);
    if (found == items.end()) {
        std::vector<std::string> labels(items.size());
        std::ranges::transform(items, labels.begin(),
                               [&](const Object *item) { return label(*item); });
        fail("no menu item \"" + name + "\"; there are: " + joined(labels));
    }
    const int client_number = (*found)->client;
    const IntT command = (*found)->command;
    Client *client = host().find(client_number);
    if (!client || !client->running) {
        start(startable(client_number), service_code);
        client = host().find(client_number);
    }
    check(host().command(*client, command), *client);
}

std::string Commands::sent(const std::string &text) const
{
    try {
        return text_.from_utf8(text);
    } catch (const std::runtime_error &error) {
        fail(error.what());
    }
}

void Commands::notify(std::string_view rest)
{
    const Words words(rest, 1, 4, usage_of("notify"));
    const auto code = number<IntT>(words.at(0));
    const auto object = number<UIntT>(words.at(1));
    const std::string text = sent(words.at(2, ""));
    const auto integer = number<IntT>(words.at(3));
    bool told = false;
    // The list does not shrink; a client may end meanwhile.
    for (Client &each : host().clients()) {
        if (!each.running || !s_.model.subscribed(each.caller.number, code))
            continue;
        check(host().notify(each, code, object, text, integer), each);
        told = true;
    }
    if (!told)
        fail("no running client has asked for notification " + std::to_string(code));
}

void Commands::message(std::string_view rest)
{
    const Words words(rest, 1, 3, usage_of("message"));
    const std::string text = sent(words.at(0));
    const auto id1 = number<UIntT>(words.at(1));
    const auto id2 = number<UIntT>(words.at(2));
    Client &client = running_client();
    check(host().message(client, text, id1, id2), client);
}

void Commands::dialog(std::string_view rest)
{
    const Words words(rest, 2, 3, usage_of("dialog"));
    const auto dialog = number<IntT>(words.at(0));
    const auto item = number<IntT>(words.at(1));
    const auto detail = number<IntT>(words.at(2));
    Client &client = running_client();
    check(host().dialog_event(client, dialog, item, detail), client);
}

void Commands::answer(std::string_view rest)
{
    const Words words(rest, 1, 1000, usage_of("answer"));
    std::deque<IntT> numbers;
    for (const std::string &word : words.words)
        numbers.push_back(number<IntT>(word));
    s_.desk.answers.insert(s_.desk.answers.end(), numbers.begin(), numbers.end());
}

void Commands::wait(std::string_view rest)
{
    const Words words(rest, 1, 1, usage_of("wait"));
    if (words.at(0) == "exit") {
        for (Client &each : host().clients())
            if (each.running && !host().wait_for_exit(each, host().options().turn_limit))
                fail(each.title() + " has not ended");
        return;
    }
    const auto seconds = number<double>(words.at(0));
    if (!(seconds >= 0 && seconds <= 86400))
        misuse("wait takes 0 to 86400 seconds");
    host().serve(milliseconds(std::lround(seconds * 1000)));
}

void Commands::list_clients()
{
    // Only the last of those that had a number counts.
    for (Client &each : host().clients())
        if (host().find(each.caller.number) == &each)
            s_.out << printable(each.title()) << ": "
                   << (each.running ? "running, process " + std::to_string(each.pid) : "ended"s)
                   << "\n";
    for (const Startable &each : s_.clients)
        if (!host().find(each.number))
            s_.out << "client " << each.number << " (" << each.name() << "): not started\n";
    s_.out << std::flush;
}

// Expectations and the file

void Commands::expect(std::string_view rest)
{
    const std::string_view what = rest.substr(0, rest.find_first_of(blanks));
    const std::string_view wanted = trimmed(rest.substr(what.size()));
    const auto unmet = [&](const std::string &is, const std::string &should) {
        fail("expected " + std::string(what) + ": " + should + "\n  but it is: " + is);
    };
    if (what == "alert") {
        const std::string text = whole(wanted);
        auto &alerts = s_.desk.alerts;
        const auto found = std::ranges::find_if(
            alerts, [&](const std::string &alert) { return alert.find(text) != alert.npos; });
        if (found == alerts.end())
            fail("expected an alert: " + text +
                 "\n  but the alerts were: " + joined({alerts.begin(), alerts.end()}));
        alerts.erase(alerts.begin(), found + 1);
        return;
    }
    if (wanted.empty())
        misuse_of("expect");
    std::vector<std::string> is;
    if (what == "order") {
        is = order();
    } else if (what == "selected") {
        const UIntT id = s_.model.selected(s_.book);
        const std::string name = id == 0 ? "none" : shown(s_.model.at(id).name);
        if (name != whole(wanted))
            unmet(name, whole(wanted));
        return;
    } else if (what == "menu") {
        for (const Object *item : menu_items())
            is.push_back(label(*item));
    } else if (what == "running") {
        for (const Client &each : host().clients())
            if (each.running)
                is.push_back(each.caller.name);
    } else {
        misuse_of("expect");
    }
    const auto should = trimmed(wanted) == "none" ? std::vector<std::string>{} : split_list(wanted);
    if (is != should)
        unmet(joined(is), joined(should));
}

void Commands::save(std::string_view rest)
{
    constexpr std::string_view option = "--force";
    const bool force = rest.substr(0, rest.find_first_of(blanks)) == option;
    rest = trimmed(force ? rest.substr(option.size()) : rest);
    const std::string path = rest.empty() ? s_.file.path() : whole(rest);
    if (s_.file.save_as(path, s_.model, s_.book, force))
        saved_.reset();
    s_.out << "saved " << path << std::endl;
}

bool Commands::unsaved() const
{
    return write_book(s_.model, s_.book) != saved_.value_or(s_.file.text());
}

std::vector<std::string> Commands::completions(std::string_view line) const
{
    std::vector<std::string> all;
    const auto space = line.find(' ');
    const std::string_view command = line.substr(0, space);
    if (space == line.npos)
        for (const CommandTable &row : CommandTable::rows)
            all.emplace_back(row.name);
    else if (command == "select")
        for (const std::string &name : order())
            all.push_back("select " + name);
    else if (command == "choose")
        for (const Object *item : menu_items())
            all.push_back("choose " + label(*item));
    else if (command == "expect")
        for (const char *what : {"order", "selected", "menu", "alert", "running"})
            all.push_back("expect "s + what);
    std::erase_if(all, [&](const std::string &each) { return !each.starts_with(line); });
    return all;
}

} // namespace velt::host
