#include "host/session/host.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <exception>
#include <new>
#include <system_error>
#include <utility>

#include "apilib/unix/transport/transport.h"
#include "apilib/wire/memory.h"
#include "common/error.h"
#include "host/session/tracing.h"
#include "host/values/status.h"
#include "velt/api.h"

namespace velt::host
{
namespace
{

using Clock = EventLoop::Clock;
using State = Client::State;
using std::chrono::milliseconds;

// The library's default limits suit a client, which has one host; a host has many clients, and none
// that it has not started or admitted.
constexpr UIntT host_connections = 4096;
constexpr UIntT host_idle_connections = 64;

std::string show(milliseconds time)
{
    return std::to_string(time.count()) + " ms";
}

template <class Callback>
const Procedure &procedure_of()
{
    return *find_procedure(client_procedures(), Callback::number);
}

char *borrowed(const std::string &text)
{
    return const_cast<char *>(text.c_str());
}

void prepare_process()
{
    // As a subreaper, this process also sees the end of a client that has detached itself.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    // A parent that ignores SIGCHLD hands that on to this process, which then could not learn how
    // its children end.
    std::signal(SIGCHLD, SIG_DFL);
    for (const auto &[limit, least] : {std::pair{V_limit_connections, host_connections},
                                       {V_limit_idle_connections, host_idle_connections}})
        V_ApiSetLimit(limit, std::max(V_ApiGetLimit(limit), least));
}

std::shared_ptr<PortMapper> mapper_of(const Options &options, Reports &reports)
try {
    if (options.port_mapper)
        return options.port_mapper;
    if (options.in_process)
        return std::make_shared<NoPortMapper>();
    return std::make_shared<SessionPortMapper>(
        [&reports](const char *what) { Reports::line(&reports, what); });
} catch (const std::system_error &error) {
    throw Error(no_mapper, error.what());
}

} // namespace

Host::Host(Options options, Responder &responder, Console &console)
    : options_(std::move(options)), console_(console), reports_(console),
      registrations_(mapper_of(options_, reports_), reports_),
      clients_(options_, reports_, registrations_, responder),
      loop_([this] { look(); }, [this] { check(); }, !options_.in_process),
      dispatcher_({*this, options_, reports_, clients_, loop_, responder}),
      programs_(options_, reports_, loop_)
{
    if (options_.in_process)
        return;
    try {
        prepare_process();
        listen();
    } catch (const std::system_error &error) {
        end();
        throw Error(no_mapper, error.what());
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
        // The console cannot take a report; the clients end with their ClientProcess objects.
    }
}

void Host::listen()
{
    // A session with its own port mapper is open to this machine only.
    const in_addr_t interface =
        registrations_.are_the_machines() ? INADDR_ANY : htonl(INADDR_LOOPBACK);
    const auto closed = [](void *host, SVCXPRT *connection, int error) noexcept {
        Host &self = *static_cast<Host *>(host);
        const Client *const unread =
            error == ENOMEM ? self.clients_.calling_on(connection->xp_fd) : nullptr;
        if (unread) {
            Reports::line(&self.reports_, "a call was not read: out of memory");
            self.note_own_failure(std::make_exception_ptr(std::bad_alloc()));
            self.note_failure(*unread);
        }
        try {
            self.clients_.connection_closed(connection->xp_fd);
        } catch (const std::exception &) {
            return;
        }
    };
    const auto dispatch = [](void *host, svc_req *request, SVCXPRT *connection) {
        Dispatcher::dispatch(&static_cast<Host *>(host)->dispatcher_, request, connection);
    };
    const auto report = [](void *host, const char *what) {
        Reports::line(&static_cast<Host *>(host)->reports_, what);
    };
    service_ = transport_listen(
        {.dispatch = dispatch, .report = report, .closed = closed, .context = this}, interface);
    if (!service_)
        throw std::system_error(errno, std::generic_category(), "cannot create the host's service");
    session_listener_.reset(new SessionProgram(
        interface,
        {[this](const auto &request, auto &reply) { clients_.admit(request, program_, reply); },
         [this] {
             reports_.unknown_process("datagram",
                                      "turned away a datagram: only root and the same user "
                                      "may ask for a connection");
         }}));
    program_ = registrations_.add(IPPROTO_TCP, service_->xp_port);
    transport_set_program(service_, program_, service_version);
    session_program_ = registrations_.add(IPPROTO_UDP, session_listener_->port());
    session_listener_->answer_to(session_program_);
}

void Host::look()
{
    clients_.look_after();
    programs_.look_after();
}

void Host::check()
{
    if (ending_)
        return;
    if (options_.interrupts && options_.interrupts() > 0)
        throw Interrupted();
    registrations_.renew_when_due();
}

Client &Host::start(const Startup &what, int number, const std::string &name, bool detach)
{
    const std::string &path = what.path;
    if (number < 0 || name.empty() || name.size() > 255 ||
        name.find_first_of(" \t\n\v\f\r") != std::string::npos)
        fail("cannot start " + path +
             ": a client needs a number of 0 or more and a "
             "name of 1 to 255 characters without white space");
    if (const Client *other = find(number); other && other->running())
        fail("cannot start " + path + ": number " + std::to_string(number) + " belongs to " +
             other->title());

    Client &client = clients_.add(number, name);
    const auto slash = path.rfind('/');
    client.directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const auto pair = [](UIntT program, UIntT version) {
        return std::to_string(program) + "." + std::to_string(version) + " ";
    };
    const std::string identity = pair(client.program, client.version) +
                                 pair(program_, service_version) + std::to_string(getpid()) + "." +
                                 std::to_string(detach ? number : ~number) + "." + name;
    registrations_.renew();
    try {
        client.process = std::make_unique<ClientProcess>(
            what, identity, registrations_.mapper().name(), options_.stop_at_start);
    } catch (const std::system_error &error) {
        give_up(client, std::string("cannot be started: ") + error.what());
    }

    if (options_.stop_at_start)
        reports_.of(client,
                    "waits for a debugger: gdb -p " + std::to_string(client.process->group()));
    const auto settled = [&] { return client.reached(State::connected); };
    if (!wait_for(client, "has not acknowledged", settled, options_.start_limit))
        give_up(client, "has not acknowledged within " + show(options_.start_limit));
    if (!client.running())
        give_up(client,
                describe_exit(client.exit_status) +
                    (client.pid != 0           ? " right after it acknowledged"
                     : client.exit_status != 0 ? " before it acknowledged"
                                               : " before it acknowledged, as a program does that "
                                                 "is no client"));
    if (!client.connection.is_open())
        give_up(client, "acknowledged, but its service cannot be reached");
    return client;
}

Client &Host::adopt(int number, const std::string &name, CLIENT *handle, int descriptor)
{
    Client &client = clients_.add(number, name);
    client.directory = ".";
    client.in_process = true;
    client.connection.open(handle);
    clients_.set_caller(client, descriptor);
    clients_.enter(client, State::connected);
    return client;
}

void Host::give_up(Client &client, const std::string &reason)
{
    const StartFailure failure(client.title() + ": " + reason, client.process != nullptr,
                               client.exit_status);
    loop_.forget(client);
    clients_.remove(client);
    throw failure;
}

Outcome Host::wrong(Outcome::Kind kind, const Client &client, const std::string &what)
{
    reports_.of(client, what);
    return failure(kind, client, what);
}

void Host::note_own_failure(const std::exception_ptr &why) noexcept
{
    try {
        std::rethrow_exception(why);
    } catch (const Interrupted &) {
        return; // a person wishes so
    } catch (...) {
        if (options_.host_failed)
            options_.host_failed(why);
    }
}

void Host::note_failure(const Client &client) noexcept
{
    if (failed_ == 0)
        failed_ = client.number;
}

std::string Host::take_failure()
{
    const Client *const client = find(std::exchange(failed_, 0));
    return client ? client->title() : "";
}

Outcome Host::failure(Outcome::Kind kind, const Client &client, const std::string &what)
{
    // A client that is busy is not to blame for a call that comes meanwhile, nor one that waits for
    // an answer for being late.
    const bool waits = kind == Outcome::late && !client.unanswered.empty();
    if (kind != Outcome::busy && !waits && client.running())
        note_failure(client);
    return {kind, client.title() + ": " + what};
}

Outcome Host::call(Client &client, const Procedure &procedure, void *argument)
{
    const std::string name(procedure.name);
    if (client.state != State::connected || client.is_going())
        return wrong(Outcome::died, client,
                     name + " is not called: " +
                         (!client.running()   ? "the client has ended"
                          : client.is_going() ? "the client is about to end"
                                              : "there is no connection"));
    if (client.being_answered) {
        // The client serves nobody before it has its answer.
        const auto kept = std::make_shared<Message>(procedure.argument);
        kept->copy(argument);
        when_free(client,
                  [this, &client, &procedure, kept] { call(client, procedure, kept->address()); });
        return {Outcome::queued, client.title() + ": " + name + " follows the answer"};
    }
    if (client.turns.client_holds_control())
        return wrong(Outcome::busy, client,
                     name + " is not called: the client holds control since " +
                         std::string(client.turns.innermost().procedure));
    // A client heeds no notification of the old style, and does not even answer it.
    if (!is_handed_back(procedure.number))
        return send(client, procedure, argument);
    const bool ends_modal_wait = procedure.number == callback::vq_api_dialog_event_1::number &&
                                 !is_bytes(procedure.argument.shape) &&
                                 static_cast<const VqApiDialogEventArgT *>(argument)->dialog == 0;
    const std::size_t turn =
        client.turns.begin(procedure.name, static_cast<UIntT>(procedure.number), ends_modal_wait);
    if (Outcome sent = send(client, procedure, argument); !sent) {
        client.turns.withdraw(turn);
        return sent;
    }
    return wait_for_turn(client, turn, name);
}

template <class Callback>
Outcome Host::call_with(Client &client, typename Callback::Argument argument)
{
    return call(client, procedure_of<Callback>(), &argument);
}

Outcome Host::send(Client &client, const Procedure &procedure, void *argument)
{
    client.rpc_error.clear();
    trace_sent(options_.trace, client, procedure, argument);
    const clnt_stat sent = client.connection.send(procedure, argument);
    if (sent == RPC_SUCCESS) {
        if (procedure.number == callback::vq_api_notify_1::number &&
            !is_bytes(procedure.argument.shape))
            notified_.push_back(static_cast<const VqApiNotifyArgT *>(argument)->notification);
        return {};
    }
    // Of one that takes nothing more since it is ending, its end tells.
    if (client.process && client.process->is_ending())
        return {};
    return wrong(Outcome::undelivered, client,
                 std::string(procedure.name) + " cannot be sent: " + clnt_sperrno(sent));
}

Outcome Host::wait_for_turn(Client &client, std::size_t turn, const std::string &procedure)
{
    // What is due for the client may end its modal wait.
    const auto waits = [&] { return client.turns.modal_wait() && !loop_.is_due(client); };
    const auto over = [&] { return !client.running() || !client.turns.goes_on(turn) || waits(); };
    const auto limit =
        ending_ ? std::min(options_.turn_limit, options_.exit_limit) : options_.turn_limit;
    const std::string what = "has not handed control back", since = " of " + procedure;
    if (!wait_for(client, what + since, over, limit)) {
        client.turns.mark_late(turn);
        return wrong(Outcome::late, client,
                     what + " within " + show(options_.turn_limit) + since +
                         (client.unanswered.empty()
                              ? ""
                              : ": it was to get no answer to " + std::string(client.unanswered)));
    }
    if (!client.rpc_error.empty())
        return wrong(Outcome::undelivered, client, procedure + " is refused: " + client.rpc_error);
    if (client.turns.goes_on(turn))
        return {Outcome::modal, client.title() + ": waits for a modal dialog in " + procedure};
    if (!client.turns.was_broken_off(turn)) {
        // Whoever called the client, it is gone for those who call it next.
        if (client.is_going())
            wait_for_exit(client, options_.exit_limit);
        return {Outcome::handed_back, client.title() + ": " + procedure + " handed control back"};
    }
    if (client.running())
        return failure(Outcome::undelivered, client,
                       "lost its connection while it held control in " + procedure);
    return failure(Outcome::died, client,
                   describe_exit(client.exit_status) + " while it held control in " + procedure);
}

Outcome Host::initialise(Client &client, IntT code)
{
    return call_with<callback::vq_api_init_1>(client, {code});
}

Outcome Host::command(Client &client, IntT number)
{
    return call_with<callback::vq_api_command_1>(client, {number});
}

Outcome Host::notify(Client &client, IntT notification, UIntT object, const std::string &string,
                     IntT integer)
{
    return call_with<callback::vq_api_notify_1>(client,
                                                {notification, object, borrowed(string), integer});
}

Outcome Host::message(Client &client, const std::string &text, UIntT id1, UIntT id2)
{
    return call_with<callback::vq_api_message_1>(client, {borrowed(text), id1, id2});
}

Outcome Host::dialog_event(Client &client, IntT dialog, IntT item, IntT detail)
{
    return call_with<callback::vq_api_dialog_event_1>(client, {dialog, item, detail});
}

Outcome Host::end_dialog(Client &client, IntT item, IntT result)
{
    if (!client.turns.modal_wait())
        return dialog_event(client, 0, item, result);
    const Turn waiting = client.turns.innermost();
    const Outcome ended = dialog_event(client, 0, item, result);
    return ended ? wait_for_turn(client, waiting.id, std::string(waiting.procedure)) : ended;
}

void Host::end_refused_dialog(Client &client, const ApiVqDoDialogArgT &dialog, IntT answer)
{
    if (answer != ok && dialog.int1 != 0)
        when_free(client, [this, &client, answer] { dialog_event(client, 0, 0, answer); });
}

Outcome Host::ask_to_quit(Client &client, Dialogs dialogs)
{
    using callback::vq_api_quit_1;
    client.leaving = true;
    client.quitting = Turn{
        .procedure = vq_api_quit_1::name, .number = vq_api_quit_1::number, .since = Clock::now()};
    if (!client.connection.is_open())
        return {};
    const auto waits = [&client] { return client.turns.modal_wait() != nullptr; };
    const std::size_t open = dialogs == Dialogs::end ? client.turns.modal_waits().size() : 0;
    for (std::size_t i = open; i > 0; i--)
        loop_.defer(client, waits, [this, &client] { dialog_event(client, 0, 0, cancelled); });
    return send(client, procedure_of<vq_api_quit_1>(), nullptr);
}

Outcome Host::quit(Client &client)
{
    if (!client.running())
        return {};
    if (Outcome sent = ask_to_quit(client, Dialogs::end); !sent)
        return sent;
    if (!wait_for_exit(client, options_.exit_limit))
        return wrong(Outcome::late, client,
                     "has not ended within " + show(options_.exit_limit) + " of vq_api_quit_1");
    return {Outcome::handed_back, client.title() + ": " + describe_exit(client.exit_status)};
}

Outcome Host::kill(Client &client)
{
    client.leaving = true;
    client.process->kill(SIGKILL);
    if (!wait_for_exit(client, kill_limit))
        return wrong(Outcome::late, client, "has been killed and has not ended");
    return {Outcome::handed_back, client.title() + ": " + describe_exit(client.exit_status)};
}

void Host::serve(milliseconds duration)
{
    const auto until = Clock::now() + duration;
    serve_until([=] { return Clock::now() >= until; }, duration);
}

bool Host::serve_until(const std::function<bool()> &done, milliseconds limit, EventLoop::Time time)
{
    return loop_.serve_until(done, limit, time);
}

void Host::sleep(const Client &client, std::chrono::microseconds time)
{
    const auto wanted = std::chrono::ceil<milliseconds>(time);
    const auto limit = std::min(wanted, options_.turn_limit);
    const bool ended =
        serve_until([&] { return !client.running(); }, limit, EventLoop::Time::counted);
    if (!ended && limit < wanted)
        reports_.of(client, "wanted to sleep for " + show(wanted) +
                                "; that was cut short after the time limit of " + show(limit));
}

bool Host::any_client_holds_control()
{
    return std::ranges::any_of(
        clients(), [](const Client &each) { return each.turns.client_holds_control(); });
}

bool Host::cancel_work()
{
    for (Client &client : clients())
        client.turns.cancel();
    return any_client_holds_control();
}

bool Host::wait_for_exit(Client &client, milliseconds limit)
{
    return wait_for(
        client, "has not ended", [&] { return !client.running(); }, limit);
}

bool Host::wait_for(const Client &client, const std::string &what,
                    const std::function<bool()> &done, milliseconds limit)
{
    const auto patience = options_.patience;
    if (limit <= patience || options_.in_process || options_.stop_at_start)
        return serve_until(done, limit);
    if (serve_until(done, patience))
        return true;
    const auto seconds = [](milliseconds time) {
        return std::to_string(std::chrono::ceil<std::chrono::seconds>(time).count()) + " s";
    };
    reports_.of(client, what + " for " + seconds(patience) + "; the host waits " +
                            (limit == no_limit ? "for any time" : "up to " + seconds(limit)));
    return serve_until(done, limit - patience);
}

void Host::when_free(const Client &client, std::function<void()> action)
{
    loop_.defer(
        client, [&client] { return !client.running() || !client.turns.client_holds_control(); },
        std::move(action));
}

void Host::when_idle(const Client &client, std::function<void()> action)
{
    loop_.defer(
        client, [&client] { return !client.running() || client.turns.empty(); }, std::move(action));
}

Reply Host::ask(const Question &question)
{
    return loop_.excuse([&] { return console_.ask(question); });
}

void Host::end()
{
    ending_ = true;
    // One interrupt may be the reason for this end; another one means that the person is in a
    // hurry.
    const int interrupts = options_.interrupts ? std::min(options_.interrupts(), 1) : 0;
    const auto until = Clock::now() + options_.exit_limit;
    for (Client &client : clients()) {
        // A client that has not acknowledged cannot be asked to quit.
        if (client.running() && client.reached(State::acknowledged))
            ask_to_quit(client, Dialogs::end);
        else if (client.running() && client.process)
            client.process->kill(SIGKILL);
    }
    // Registrations are removed while the clients end, so that a port mapper that does not answer
    // takes its time only once.
    for (Client &client : clients())
        if (client.running())
            registrations_.mapper().unset(client.program, client.version);
    registrations_.remove_all();

    const auto ended = [&] { return !clients_.any_running(); };
    const auto hurried = [&] { return options_.interrupts && options_.interrupts() > interrupts; };
    serve_until([&] { return ended() || hurried() || Clock::now() >= until; }, options_.exit_limit);
    for (Client &client : clients()) {
        if (client.running() && client.process) {
            reports_.of(client, hurried() ? "is killed"
                                          : "is killed: it has not ended within " +
                                                show(options_.exit_limit) + " of vq_api_quit_1");
            client.process->kill(SIGKILL);
        }
    }
    serve_until(ended, kill_limit);
    for (Client &client : clients()) {
        if (client.running())
            clients_.note_exit(client);
        clients_.end_process(client);
    }
    programs_.end();
    session_listener_.reset();
    if (service_)
        svc_destroy(service_);
    service_ = nullptr;
}

} // namespace velt::host
