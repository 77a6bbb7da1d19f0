// The command language.

#include "host/script/commands.h"

#include <poll.h>

#include <algorithm>
#include <cmath>

#include "common/charset.h"
#include "common/interrupts.h"
#include "common/memory_reserve.h"
#include "host/files/book.h"
#include "host/script/expectations.h"

namespace velt::host
{

using std::chrono::milliseconds;
using namespace std::literals;

namespace
{

// Waits for so long when there is nobody to serve. Throws when it is interrupted.
void pause(milliseconds duration)
{
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + duration;
    for (auto now = Clock::now(); now < end && interrupts.signal == 0; now = Clock::now()) {
        const auto left = std::chrono::ceil<milliseconds>(end - now);
        poll(nullptr, 0, std::min(static_cast<int>(left.count()), interrupt_interval));
    }
    if (interrupts.signal != 0)
        throw Interrupted();
}

// Takes the options of the command out of its arguments. Throws Error for an unknown one.
GivenOptions take_options(const CommandTable &command, std::string &arguments)
{
    const auto known = Syntax::options(command.arguments);
    if (known.empty())
        return {};
    GivenOptions options;
    std::string others;
    for (std::string_view rest = arguments; !rest.empty();) {
        const std::string_view raw = take_raw_word(rest), word = trimmed(raw);
        if (!is_option(word))
            others += raw;
        else if (std::ranges::find(known, word) != known.end())
            options.emplace(word);
        else
            misuse("unknown option " + std::string(word) + "; there are " +
                   joined({known.begin(), known.end()}) + "; quotes make it a name");
    }
    arguments = trimmed(others);
    return options;
}

// Returns what explains the failure of a line that is not UTF-8.
std::string not_utf8(std::string_view line)
{
    try {
        from_utf8(line);
        return {};
    } catch (const std::runtime_error &) {
        return "; the line is not UTF-8";
    }
}

// Returns whether there is nothing to do.
bool is_idle(std::string_view line)
{
    return line.empty() || line.starts_with('#');
}

std::string_view name_of(std::string_view line)
{
    return line.substr(0, line.find_first_of(blanks));
}

constexpr const char *no_client = "no client can be run here: give one with --client PATH";

// Ends the bar that shows a client's progress when the command is over, however that ends.
struct BarEnd {
    PrintingConsole &console;
    ~BarEnd() { console.end_bar(); }
};

} // namespace

std::vector<Commands::Entry> Commands::entries()
{
    std::vector<Entry> all;
    for (const CommandTable &row : CommandTable::rows())
        if (row.name != "expect")
            all.push_back({row.syntax().usage(), row.summary});
        else
            for (const Expectation &each : Expectation::all())
                all.push_back({each.usage(), each.summary});
    return all;
}

std::string Commands::help(std::string_view of)
{
    std::string text;
    for (const auto &[usage, summary] : entries())
        if (of.empty() || (usage + " ").starts_with(std::string(of) + " "))
            text += "  " + usage + "\n      " + std::string(summary) + "\n";
    return text;
}

void Commands::print_help(std::string_view of)
{
    const std::string text = help(of);
    if (text.empty())
        misuse("unknown command \"" + std::string(of) + "\"; help lists them");
    s_.out << text << std::flush;
}

Commands::Commands(Surroundings surroundings)
    : s_(std::move(surroundings)),
      window_(s_.model, s_.book, s_.console.text.emplace(s_.model.language())),
      view_(s_.model, s_.documents, *s_.console.text)
{
}

void Commands::check_names(const std::vector<std::string> &arguments)
{
    Position position{{}, 0};
    for (const std::string &each : arguments) {
        position.number++;
        const std::string_view line = trimmed(each);
        try {
            if (line.empty())
                misuse("it is empty; a variable of the shell may not be set");
            if (is_idle(line))
                continue;
            const std::string_view name = name_of(line);
            CommandTable::of(name);
            for (std::string_view rest = line; name == "expect";) {
                rest = trimmed(rest.substr(name_of(rest).size()));
                if (Expectation::of(rest).name != "not")
                    break;
            }
        } catch (const Error &error) {
            throw Error(error.code, position.text() + ": " + error.what() + not_utf8(line));
        }
    }
}

bool Commands::run(std::string_view line)
{
    line = trimmed(line);
    if (is_idle(line))
        return true;
    any_done_ = true;
    const std::string_view name = name_of(line);
    const std::string_view rest = trimmed(line.substr(name.size()));
    const CommandTable *row = &CommandTable::of(name);
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
        std::string arguments(rest);
        const GivenOptions options = take_options(*row, arguments);
        row->run(*this, arguments, options);
        s_.documents.announcer.announce_changes();
        s_.console.check();
        // What has come meanwhile, such as an interrupt, counts for this command.
        if (s_.host)
            s_.host->serve_pending();
        check_clients();
    } catch (const Unmet &error) {
        // What has failed meanwhile is told with this command, and not with a later one.
        const std::string failed = s_.host ? s_.host->take_failure() : "";
        if (failed.empty())
            throw;
        throw Unmet(std::string(error.what()) + "; " + failed + " failed");
    } catch (const StatusError &error) {
        s_.console.check(error.what());
        fail(std::string(name) + ": " + error.what());
    } catch (const Interrupted &) {
        throw;
    } catch (const Error &error) {
        s_.console.check(error.what());
        throw;
    }
    return true;
}

bool Commands::run_at(const Position &position, std::string_view line, Checks &checks)
{
    line = trimmed(line);
    here_ = position;
    try {
        const bool more = run(line);
        if (line.substr(0, line.find_first_of(blanks)) == "expect")
            checks.met(position, line);
        return more;
    } catch (const Unmet &error) {
        checks.unmet(position, line, error.what() + not_utf8(line));
        return true;
    } catch (const Error &error) {
        throw Error(error.code, position.text() + ": " + error.what() + not_utf8(line));
    }
}

bool Commands::run_script(std::istream &script, const std::string &name, Checks &checks)
{
    Position position{name, 0};
    bool has_command = false;
    for (std::string line; std::getline(script, line);) {
        if (++position.number == 1)
            line = std::string(without_byte_order_mark(line));
        has_command = has_command || !is_idle(trimmed(line));
        if (!run_at(position, line, checks))
            break;
        try {
            s_.check();
        } catch (const Interrupted &) {
            throw;
        } catch (const std::exception &error) {
            // The script is read no further, because the rest of it may have no end.
            fail(position.text() + ": " + error.what() + "; what follows is not done");
        }
    }
    return has_command;
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

void Commands::select(std::string_view rest, const GivenOptions &options)
{
    if (options.contains("--text"))
        return select_text(rest);
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
        fail(no_client);
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
    // The host has reported why. A death counts at the end of the run, unless it is expected; one
    // that waits for an answer that it is not to get may yet end.
    if (outcome.kind == Outcome::died && !client.running() && !ended_well(client))
        return;
    if (outcome.kind == Outcome::late && !client.unanswered.empty())
        return;
    if (outcome.kind == Outcome::modal && client.turns.modal_wait()) {
        s_.console.end_bar();
        s_.out << "  " << client.title() << " " << modal_wait(client) << "; \"dialog end\" ends it"
               << std::endl;
        return;
    }
    if (outcome.kind != Outcome::queued && !outcome)
        fail_with(client, "failed");
}

// The failure that the host has noted is the command's then, and no other's.
void Commands::fail_with(const Client &client, const std::string &what)
{
    host().take_failure();
    fail(client.title() + " " + what);
}

// A client may also have failed that another has called, or that was notified.
void Commands::check_clients()
{
    const std::string failed = s_.host ? s_.host->take_failure() : "";
    if (!failed.empty())
        fail(failed + " failed");
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
    check_clients();
}

void Commands::start_next(std::string_view rest, const GivenOptions &options)
{
    const std::size_t codes = options.size();
    const Words words(rest, codes, codes, usage_of("start"));
    const IntT code = words.words.empty() ? service_code : number<IntT>(words.at(0));
    if (s_.clients.empty())
        fail(no_client);
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

void Commands::stop(std::string_view rest, const GivenOptions &options)
{
    const Words words(rest, 0, 1, usage_of("stop"));
    Client &one = words.words.empty() ? running_client() : client(words.at(0));
    if (!options.contains("--kill")) {
        if (!host().quit(one))
            fail_with(one,
                      "has not ended; stop --kill " + std::to_string(one.number) + " kills it");
    } else if (one.running()) {
        if (!one.process)
            fail(one.title() + " was not started here; end its process " + std::to_string(one.pid) +
                 " yourself");
        expected_exits_.insert(&one);
        if (!host().kill(one))
            fail_with(one, "has not ended");
    }
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
        fail("no menu item \"" + name + "\"; " +
             (labels.empty() && s_.clients.empty()
                  ? "clients define some: give one with --client PATH"
                  : "there are: " + joined(labels)));
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
    const IntT code = notification_code(words.at(0));
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
        s_.out << "  no running client has asked for notification " << words.at(0) << std::endl;
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
        if (!s_.host)
            return;
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
    const milliseconds duration(std::lround(seconds * 1000));
    if (s_.host)
        s_.host->serve(duration);
    else
        pause(duration);
}

// Returns what the client is about, as far as the host knows.
std::string Commands::state(const Client &client) const
{
    if (!client.running())
        return "ended";
    std::string text = "running, process " + std::to_string(client.pid);
    if (client.turns.modal_wait())
        return text + ", " + modal_wait(client);
    const Turn *turn = !client.turns.empty() ? &client.turns.innermost()
                       : client.quitting     ? &*client.quitting
                                             : nullptr;
    if (!turn)
        return text;
    const auto time = EventLoop::Clock::now() - turn->since;
    return text + (turn->late ? ", late in " : ", busy in ") + std::string(turn->procedure) +
           " for " + std::to_string(std::chrono::floor<std::chrono::seconds>(time).count()) + " s";
}

void Commands::list_clients()
{
    if (!s_.host || (s_.clients.empty() && s_.host->clients().empty())) {
        s_.out << "  (no clients)" << std::endl;
        return;
    }
    // Only the last of the clients that have had a number is listed.
    for (Client &each : s_.host->clients())
        if (s_.host->find(each.number) == &each)
            s_.out << printable(each.title() + ": " + state(each)) << "\n";
    for (const Startable &each : s_.clients)
        if (!s_.host->find(each.number))
            s_.out << "client " << each.number << " (" << each.name() << "): not started\n";
    s_.out << std::flush;
}

void Commands::print_session()
{
    if (!s_.host)
        fail("there is no session without a client: give one with --client PATH, or open a session "
             "that others may join with --port-mapper own");
    const std::string mapper = host().port_mapper();
    s_.out << (mapper.empty() ? "" : "VQPMAP=" + mapper + " ") << "vqcall call NAME --session "
           << host().session_program() << std::endl;
}

} // namespace velt::host
