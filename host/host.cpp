// Clients come, are called, and go.

#include "host/host.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <system_error>

#include "apilib/fields.h"
#include "apilib/memory.h"
#include "apilib/routines.h"
#include "apilib/unix/transport/transport.h"
#include "host/descriptor.h"
#include "host/server.h"

namespace velt::host
{
namespace
{

using std::chrono::milliseconds;

// Program numbers come from the range that nobody assigns, 128 for each process at a time.
constexpr UIntT transient_programs = 0x40000000;
constexpr UIntT programs_per_process = 128;

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

// On one interface, or on all.
SVCXPRT *listen_for_datagrams(in_addr_t interface)
{
    Descriptor fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = interface;
    if (!fd || bind(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        return nullptr;
    SVCXPRT *service = svcudp_create(fd.get());
    if (service)
        fd.release();
    return service;
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
    session_service_ = listen_for_datagrams(interface);
    try {
        program_ = register_service(service_, IPPROTO_TCP);
        transport_answer(service_, program_, service_version);
        session_program_ = register_service(session_service_, IPPROTO_UDP);
        // Protocol 0 is none that the RPC library would register.
        if (!svc_register(session_service_, session_program_, service_version, serve_connect, 0))
            throw HostError("cannot serve the session program: no memory");
        sessions()[session_program_] = this;
    } catch (...) {
        end();
        throw;
    }
    transport_watch(session_service_->xp_fd, [](int descriptor) {
        pollfd ready{descriptor, POLLIN, POLLIN};
        svc_getreq_poll(&ready, 1);
    });
}

Host::~Host()
{
    try {
        end();
    } catch (const std::exception &) {
        // A desk that cannot take a report; the clients end with their processes.
    }
}

UIntT Host::register_service(const SVCXPRT *service, unsigned protocol)
{
    if (!service)
        throw HostError("cannot create the host's service: " +
                        std::generic_category().message(errno));
    const UIntT program = free_program();
    if (!options_.port_mapper->set({program, service_version, protocol, service->xp_port}))
        throw HostError("cannot register program " + std::to_string(program) +
                        " with the port mapper: see that rpcbind runs and lets you, or take "
                        "--port-mapper own");
    return program;
}

UIntT Host::free_program()
{
    static UIntT next;
    const UIntT first =
        transient_programs + (static_cast<UIntT>(getpid()) & 0x3FFFFF) * programs_per_process;
    for (UIntT tries = 0; tries < programs_per_process; tries++) {
        const UIntT program = first + next++ % programs_per_process;
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

Client &Host::start(const std::string &path, std::optional<IntT> init_code, int number,
                    const std::string &name, bool detach)
{
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
    try {
        client.process =
            std::make_unique<ClientProcess>(path, identity, options_.port_mapper->name());
    } catch (const std::system_error &error) {
        give_up(client, std::string("cannot be started: ") + error.what());
    }

    const auto settled = [&] { return client.connect_tried || !client.running; };
    if (!serve_until(settled, options_.start_limit))
        give_up(client, "has not acknowledged within " + show(options_.start_limit));
    if (!client.running)
        give_up(client, describe_exit(client.exit_status) + " before it acknowledged");
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
    if (!client.running || !client.handle)
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
    return wrong(Outcome::failed, client,
                 std::string(callback_name(number)) + " cannot be sent: " + clnt_sperrno(sent));
}

Outcome Host::wait_for_turn(Client &client, std::size_t id, std::string_view procedure)
{
    const std::string name(procedure);
    const auto is_it = [=](const Turn &turn) { return turn.id == id; };
    const auto over = [&] { return !client.running || std::ranges::none_of(client.turns, is_it); };
    if (!serve_until(over, options_.turn_limit)) {
        std::ranges::find_if(client.turns, is_it)->late = true;
        return wrong(Outcome::late, client,
                     "has not handed control back within " + show(options_.turn_limit) + " of " +
                         name);
    }
    if (!client.refusal.empty())
        return wrong(Outcome::failed, client, name + " is refused: " + client.refusal);
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

Outcome Host::quit(Client &client)
{
    if (!client.running)
        return {};
    client.leaving = true;
    IntT nothing = 0;
    constexpr unsigned number = Number_vq_api_quit_1::value;
    const Turn turn{.procedure = callback_name(number), .number = number, .since = Clock::now()};
    if (client.handle)
        if (Outcome sent = send(client, number, nothing); !sent)
            return sent;
    if (!wait_for_exit(client, options_.exit_limit))
        return wrong(Outcome::late, client,
                     "has not ended within " + show(options_.exit_limit) + " of vq_api_quit_1");
    const std::string how = describe_exit(client.exit_status);
    trace_return(client, turn, how);
    return {Outcome::handed_back, client.title() + ": " + how, true};
}

bool Host::wait_for_exit(Client &client, milliseconds limit)
{
    return serve_until([&] { return !client.running; }, limit);
}

void Host::end()
{
    options_.interrupted = nullptr;
    for (Client &client : clients_) {
        quit(client);
        if (client.running && client.process) {
            report(client, "is killed");
            client.process->kill(SIGKILL);
            wait_for_exit(client, options_.exit_limit);
        }
        if (client.running)
            gone(client);
        client.process.reset();
    }
    const auto remove = [this](SVCXPRT *&service, UIntT &program) {
        if (program != 0)
            options_.port_mapper->unset(program, service_version);
        if (service)
            svc_destroy(service);
        service = nullptr;
        program = 0;
    };
    if (session_service_)
        transport_unwatch(session_service_->xp_fd);
    // The RPC library keeps its own note of the program: to forget it, it would tell the machine's
    // port mapper.
    sessions().erase(session_program_);
    remove(service_, program_);
    remove(session_service_, session_program_);
}

} // namespace velt::host
