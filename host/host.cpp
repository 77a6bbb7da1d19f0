// Clients come, are called, and go.

#include "host/host.h"

#include <arpa/inet.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <system_error>
#include <utility>

#include "apilib/fields.h"
#include "apilib/memory.h"
#include "apilib/routines.h"
#include "apilib/unix/transport/transport.h"
#include "host/descriptor.h"
#include "host/server.h"
#include "velt/api.h"

namespace velt::host
{
namespace
{

using std::chrono::milliseconds;

// Program numbers come from the range that nobody assigns; each process begins somewhere else in
// it.
constexpr UIntT transient_programs = 0x40000000;
constexpr UIntT transient_count = 0x20000000;
constexpr UIntT programs_per_process = 128;
constexpr int most_programs = 4096;

// From the signal to the end of a process that is killed.
constexpr milliseconds kill_limit = std::chrono::seconds(5);

// A client's own limits are for one host; a host has many clients, and none that it has not
// started.
constexpr UIntT host_connections = 4096;
constexpr UIntT host_idle_connections = 64;

std::string_view callback_name(unsigned number)
{
    switch (number) {
#define V_CALLBACK(row_number, handler, argument)                                                  \
    case row_number:                                                                               \
        return #handler;
#include "velt/tables/callbacks.def"
    }
    return "unknown";
}

#define V_CALLBACK(row_number, handler, argument)                                                  \
    struct Number_##handler {                                                                      \
        static constexpr unsigned value = row_number;                                              \
    };
#include "velt/tables/callbacks.def"

std::string show(milliseconds time)
{
    return std::to_string(time.count()) + " ms";
}

char *borrowed(const std::string &text)
{
    return const_cast<char *>(text.c_str());
}

} // namespace

Host::Host(Options options, Model &model, Desk &desk)
    : options_(std::move(options)), model_(model), desk_(desk)
{
    // The end of a client that has detached itself is seen too.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    // A parent that has no interest in its children hands that on, and how they end is lost.
    std::signal(SIGCHLD, SIG_DFL);
    for (const auto &[limit, least] : {std::pair{V_limit_connections, host_connections},
                                       {V_limit_idle_connections, host_idle_connections}})
        V_ApiSetLimit(limit, std::max(V_ApiGetLimit(limit), least));
    try {
        if (!options_.port_mapper)
            options_.port_mapper = std::make_shared<SessionPortMapper>(
                [this](const char *what) { heard(this, what); });
    } catch (const std::system_error &error) {
        throw HostError(error.what());
    }
    // With a port mapper of its own the session is this machine's alone.
    const in_addr_t interface =
        options_.port_mapper->name().empty() ? INADDR_ANY : htonl(INADDR_LOOPBACK);
    service_ = transport_listen({serve_call, heard, connection_closed, this}, interface);
    try {
        if (!service_)
            throw std::system_error(errno, std::generic_category(),
                                    "cannot create the host's service");
        session_service_.reset(new SessionProgram(
            interface, {[this](const auto &wish, auto &reply) { take_in(wish, reply); },
                        [this] {
                            report_stranger("datagram",
                                            "turned away a datagram: only root and the same user "
                                            "may ask for a connection");
                        }}));
        program_ = register_service(IPPROTO_TCP, service_->xp_port);
        transport_answer(service_, program_, service_version);
        session_program_ = register_service(IPPROTO_UDP, session_service_->port());
        session_service_->answer_to(session_program_);
    } catch (const std::system_error &error) {
        end();
        throw HostError(error.what());
    } catch (...) {
        end();
        throw;
    }
}

Host::~Host()
{
    try {
        end();
    } catch (const std::exception &) {
        // A desk that cannot take a report; the clients end with their processes.
    }
}

UIntT Host::register_service(unsigned protocol, in_port_t port)
{
    const UIntT program = free_program();
    if (!options_.port_mapper->set({program, service_version, protocol, port}))
        throw HostError("cannot register program " + std::to_string(program) +
                        " with the port mapper: see that rpcbind runs and lets you, or take "
                        "--port-mapper own");
    return program;
}

// One that has been started anew knows nothing of what it was told before.
void Host::register_again()
{
    const auto began = Clock::now();
    PortMapper &mapper = *options_.port_mapper;
    const auto check = [&](UIntT program, unsigned protocol, in_port_t port) {
        const in_port_t found = mapper.find(program, service_version, protocol);
        const bool missing =
            found == 0 ? rpc_createerr.cf_stat == RPC_PROGNOTREGISTERED : found != port;
        if (missing && !mapper.set({program, service_version, protocol, port}))
            report_stranger("registration",
                            "the port mapper has lost program " + std::to_string(program) +
                                ", and another holds it: clients do not find the host");
    };
    check(program_, IPPROTO_TCP, service_->xp_port);
    check(session_program_, IPPROTO_UDP, session_service_->port());
    // One that does not answer is not asked all the time.
    const auto took = Clock::now() - began;
    next_check_ = Clock::now() + std::max<Clock::duration>(std::chrono::seconds(5), 20 * took);
}

UIntT Host::free_program()
{
    static UIntT next;
    const UIntT first = (static_cast<UIntT>(getpid()) & 0x3FFFFF) * programs_per_process;
    for (int tries = 0; tries < most_programs; tries++) {
        const UIntT program = transient_programs + (first + next++) % transient_count;
        const auto is_registered = [&](unsigned protocol) {
            return options_.port_mapper->find(program, service_version, protocol) != 0;
        };
        const auto is_running_it = [&](const Client &each) {
            return each.running && each.program == program;
        };
        if (std::ranges::none_of(clients_, is_running_it) && !is_registered(IPPROTO_TCP) &&
            !is_registered(IPPROTO_UDP))
            return program;
    }
    throw HostError("no free program number: this process has started too many clients");
}

Client *Host::find(int number)
{
    const auto has_number = [=](const Client &client) { return client.caller.number == number; };
    // A number may be used anew when its client has ended.
    const auto found = std::find_if(clients_.rbegin(), clients_.rend(), has_number);
    return found == clients_.rend() ? nullptr : &*found;
}

Client &Host::add_client(int number, const std::string &name)
{
    Client client;
    client.caller = {number, name, {}};
    client.program = free_program();
    return clients_.emplace_back(std::move(client));
}

Client &Host::start(const Startup &what, std::optional<IntT> init_code, int number,
                    const std::string &name, bool detach)
{
    const std::string &path = what.path;
    if (number < 0 || name.empty() || name.size() > 255 ||
        name.find_first_of(" \t\n\v\f\r") != std::string::npos)
        throw HostError("cannot start " + path +
                        ": a client needs a number of 0 or more and a "
                        "name of 1 to 255 characters without white space");
    if (const Client *other = find(number); other && other->running)
        throw HostError("cannot start " + path + ": number " + std::to_string(number) +
                        " belongs to " + other->title());

    Client &client = add_client(number, name);
    const auto slash = path.rfind('/');
    client.caller.directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const auto pair = [](UIntT program, UIntT version) {
        return std::to_string(program) + "." + std::to_string(version) + " ";
    };
    const std::string identity = pair(client.program, client.version) +
                                 pair(program_, service_version) + std::to_string(getpid()) + "." +
                                 std::to_string(detach ? number : ~number) + "." + name;
    // Only the machine's may have been started anew.
    if (options_.port_mapper->name().empty())
        register_again();
    try {
        client.process = std::make_unique<ClientProcess>(
            what, identity, options_.port_mapper->name(), options_.stop_at_start);
    } catch (const std::system_error &error) {
        give_up(client, std::string("cannot be started: ") + error.what());
    }

    if (options_.stop_at_start)
        report(client, "waits for a debugger: gdb -p " + std::to_string(client.process->group()));
    const auto settled = [&] { return client.connect_tried || !client.running; };
    if (!serve_until(settled, options_.start_limit))
        give_up(client, "has not acknowledged within " + show(options_.start_limit));
    if (!client.running)
        give_up(client,
                describe_exit(client.exit_status) + " before it acknowledged" +
                    (client.exit_status == 0 ? ", as a program does that is no client" : ""));
    if (!client.handle)
        give_up(client, "acknowledged, but its service cannot be reached");
    if (init_code)
        initialise(client, *init_code);
    return client;
}

void Host::give_up(Client &client, const std::string &reason)
{
    const std::string text = client.title() + ": " + reason;
    disconnect(client);
    options_.port_mapper->unset(client.program, client.version);
    clients_.remove_if([&](const Client &each) { return &each == &client; });
    throw HostError(text);
}

Outcome Host::wrong(Outcome::Kind kind, const Client &client, const std::string &what)
{
    report(client, what);
    return {kind, client.title() + ": " + what};
}

template <class Argument>
Outcome Host::call(Client &client, unsigned number, Argument argument)
{
    const std::string name(callback_name(number));
    if (!client.running || !client.handle || client.lost)
        return wrong(Outcome::died, client,
                     name + " is not called: " +
                         (client.running ? "there is no connection" : "the client has ended"));
    if (client.being_answered) {
        // The client serves nobody before it has its answer.
        std::shared_ptr<Argument> kept(new Argument(copy(argument)), [](Argument *old) {
            release(*old);
            delete old;
        });
        actions_.push_back(
            {&client, [this, &client, number, kept] { call(client, number, *kept); }});
        return {Outcome::queued, client.title() + ": " + name + " follows the answer"};
    }
    if (client.holds_control())
        return wrong(Outcome::busy, client,
                     name + " is not called: the client holds control since " +
                         std::string(client.turns.back().procedure));
    Turn &turn = begin_turn(client, callback_name(number), number);
    if constexpr (std::is_same_v<Argument, VqApiDialogEventArgT>)
        turn.ends_modal_wait = argument.dialog == 0;
    const std::size_t id = turn.id;
    if (Outcome sent = send(client, number, argument); !sent) {
        std::erase_if(client.turns, [=](const Turn &each) { return each.id == id; });
        return sent;
    }
    return wait_for_turn(client, id, callback_name(number));
}

// The reply is not waited for: the client may have a call of its own under way, which comes first.
template <class Argument>
Outcome Host::send(Client &client, unsigned number, Argument &argument)
{
    client.refusal.clear();
    if (options_.trace) {
        TraceEvent event{std::chrono::system_clock::now(),
                         client.caller.number,
                         Direction::to_client,
                         callback_name(number),
                         number,
                         client.turns.empty() ? 0 : client.turns.size() - 1};
        if constexpr (Record<Argument>)
            event.arguments = to_json(argument);
        options_.trace(event);
    }
    constexpr timeval no_wait{0, 0};
    const auto empty = routine<void>();
    const auto body = Record<Argument> ? routine<Argument>() : empty;
    char nothing = 0;
    const clnt_stat sent =
        clnt_call(client.handle, number, body, reinterpret_cast<caddr_t>(&argument), empty,
                  &nothing, no_wait);
    if (sent == RPC_TIMEDOUT)
        return {};
    return wrong(Outcome::undelivered, client,
                 std::string(callback_name(number)) + " cannot be sent: " + clnt_sperrno(sent));
}

Outcome Host::wait_for_turn(Client &client, std::size_t id, std::string_view procedure)
{
    const std::string name(procedure);
    const auto is_it = [=](const Turn &turn) { return turn.id == id; };
    const auto over = [&] { return !client.running || std::ranges::none_of(client.turns, is_it); };
    const auto limit =
        ending_ ? std::min(options_.turn_limit, options_.exit_limit) : options_.turn_limit;
    if (!serve_until(over, limit)) {
        std::ranges::find_if(client.turns, is_it)->late = true;
        return wrong(Outcome::late, client,
                     "has not handed control back within " + show(options_.turn_limit) + " of " +
                         name);
    }
    if (!client.refusal.empty())
        return wrong(Outcome::undelivered, client, name + " is refused: " + client.refusal);
    if (client.running && client.last_ended != id)
        return {Outcome::undelivered,
                client.title() + ": lost its connection while it held control in " + name};
    if (client.last_ended != id)
        return {Outcome::died, client.title() + ": " + describe_exit(client.exit_status) +
                                   " while it held control in " + name};
    return {Outcome::handed_back, client.title() + ": " + name + " handed control back",
            client.leaving};
}

Outcome Host::initialise(Client &client, IntT code)
{
    return call(client, Number_vq_api_init_1::value, VqApiInitArgT{code});
}

Outcome Host::command(Client &client, IntT number)
{
    return call(client, Number_vq_api_command_1::value, VqApiCommandArgT{number});
}

Outcome Host::notify(Client &client, IntT notification, UIntT object, const std::string &string,
                     IntT integer)
{
    return call(client, Number_vq_api_notify_1::value,
                VqApiNotifyArgT{notification, object, borrowed(string), integer});
}

Outcome Host::message(Client &client, const std::string &text, UIntT id1, UIntT id2)
{
    return call(client, Number_vq_api_message_1::value, VqApiMessageArgT{borrowed(text), id1, id2});
}

Outcome Host::dialog_event(Client &client, IntT dialog, IntT item, IntT detail)
{
    return call(client, Number_vq_api_dialog_event_1::value,
                VqApiDialogEventArgT{dialog, item, detail});
}

Outcome Host::old_notify(Client &client, IntT notification, UIntT object, const std::string &string)
{
    if (!client.running || !client.handle)
        return wrong(Outcome::died, client, "vq4_api_notify_1 is not called: no connection");
    Vq4ApiNotifyArgT argument{notification, object, borrowed(string)};
    return send(client, Number_vq4_api_notify_1::value, argument);
}

Outcome Host::ask_to_quit(Client &client)
{
    client.leaving = true;
    IntT nothing = 0;
    constexpr unsigned number = Number_vq_api_quit_1::value;
    client.quitting =
        Turn{.procedure = callback_name(number), .number = number, .since = Clock::now()};
    return client.handle ? send(client, number, nothing) : Outcome{};
}

Outcome Host::quit(Client &client)
{
    if (!client.running)
        return {};
    if (Outcome sent = ask_to_quit(client); !sent)
        return sent;
    if (!wait_for_exit(client, options_.exit_limit))
        return wrong(Outcome::late, client,
                     "has not ended within " + show(options_.exit_limit) + " of vq_api_quit_1");
    return {Outcome::handed_back, client.title() + ": " + describe_exit(client.exit_status), true};
}

bool Host::wait_for_exit(Client &client, milliseconds limit)
{
    return serve_until([&] { return !client.running; }, limit);
}

void Host::end()
{
    ending_ = true;
    // One may be the reason for this end; the next is in a hurry.
    const int interrupts = options_.interrupts ? std::min(options_.interrupts(), 1) : 0;
    const auto until = Clock::now() + options_.exit_limit;
    for (Client &client : clients_) {
        // One that has not come up knows of no quit.
        if (client.running && client.acknowledged)
            ask_to_quit(client);
        else if (client.running && client.process)
            client.process->kill(SIGKILL);
    }
    // While they end: a port mapper that does not answer takes its time only once.
    for (Client &client : clients_)
        if (client.running)
            options_.port_mapper->unset(client.program, client.version);
    for (UIntT *program : {&program_, &session_program_})
        if (const UIntT old = std::exchange(*program, 0); old != 0)
            options_.port_mapper->unset(old, service_version);

    const auto ended = [&] { return std::ranges::none_of(clients_, &Client::running); };
    const auto hurried = [&] { return options_.interrupts && options_.interrupts() > interrupts; };
    serve_until([&] { return ended() || hurried() || Clock::now() >= until; }, options_.exit_limit);
    for (Client &client : clients_) {
        if (client.running && client.process) {
            report(client, hurried() ? "is killed"
                                     : "is killed: it has not ended within " +
                                           show(options_.exit_limit) + " of vq_api_quit_1");
            client.process->kill(SIGKILL);
        }
    }
    serve_until(ended, kill_limit);
    for (Client &client : clients_) {
        if (client.running)
            gone(client);
        client.process.reset();
    }
    session_service_.reset();
    if (service_)
        svc_destroy(service_);
    service_ = nullptr;
}

} // namespace velt::host
