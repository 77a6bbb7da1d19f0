#include "host/session/dispatcher.h"

#include <cerrno>
#include <exception>
#include <new>
#include <optional>

#include "apilib/wire/routines.h"
#include "common/memory_reserve.h"
#include "host/session/host.h"
#include "host/session/tracing.h"
#include "host/trace/trace.h"

namespace velt::host
{
namespace
{

using std::chrono::steady_clock;
using namespace procedure;

// Returns whether the procedure passes control, so that a client may call it without holding
// control.
bool passes_control(rpcproc_t number)
{
    return number == api_vq_over_1::number || number == api_vq_take_control_1::number;
}

std::string milliseconds_since(steady_clock::time_point when)
{
    const auto time = steady_clock::now() - when;
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(time).count());
}

// While one lives, the client waits for its answer and cannot be called.
class BeingAnswered
{
public:
    explicit BeingAnswered(Client &client) : client_(client) { client_.being_answered = true; }
    BeingAnswered(const BeingAnswered &) = delete;
    BeingAnswered &operator=(const BeingAnswered &) = delete;
    ~BeingAnswered() { client_.being_answered = false; }

private:
    Client &client_;
};

// An argument that is being decoded, and the bytes of one that does not decode.
struct Incoming {
    explicit Incoming(const MessageType &type) : argument(type) {}

    Message argument;
    std::optional<Message> bytes;

    // Returns false when memory runs out.
    static bool_t decode(XDR *xdrs, Incoming *incoming)
    try {
        const u_int here = XDR_GETPOS(xdrs);
        return incoming->argument.decode(*xdrs) ||
               (XDR_SETPOS(xdrs, here) && incoming->bytes.emplace(bytes_of_message).decode(*xdrs));
    } catch (const std::bad_alloc &) {
        return FALSE;
    }
};

// Sends the result and more, so that some of it is sent before the encoder fails, which ends the
// connection.
void send_half(Message &result, SVCXPRT *transport)
{
    const auto encode = [](XDR *xdrs, Message *message) -> bool_t {
        if (message->routine()(xdrs, message->address()))
            for (int words = 0; words < 1 << 20; words++)
                xdr_int(xdrs, &words);
        return FALSE;
    };
    svc_sendreply(transport, reinterpret_cast<xdrproc_t>(+encode), &result);
}

} // namespace

void Dispatcher::dispatch(void *dispatcher, svc_req *request, SVCXPRT *transport) noexcept
{
    auto &self = *static_cast<Dispatcher *>(dispatcher);
    try {
        self.dispatch(*request, transport);
    } catch (const std::exception &error) {
        self.s_.host.note_own_failure(std::current_exception());
        // A lack of memory may be the cause, so no string is put together here.
        Reports::line(&self.s_.reports, "a call was not answered in full:");
        Reports::line(&self.s_.reports, dynamic_cast<const std::bad_alloc *>(&error)
                                            ? "out of memory"
                                            : error.what());
    }
}

void Dispatcher::dispatch(const svc_req &request, SVCXPRT *transport)
{
    const rpcproc_t number = request.rq_proc;
    if (number == NULLPROC) {
        svc_sendreply(transport, routine<void>(), nullptr);
        return;
    }
    const Procedure *procedure = find_procedure(host_procedures(), number);
    if (number == api_vq_init_ack_5_1::number || number == api_vq_init_ack_4_1::number)
        return acknowledge(*procedure, request, transport);
    Client *client = s_.clients.calling_on(transport->xp_fd);
    if (!client) {
        svcerr_weakauth(transport);
        return s_.reports.unknown_process("call", "a process that is no client called procedure " +
                                                      std::to_string(number) + " and was refused");
    }
    if (!procedure)
        procedure = &as_bytes(host_procedures(), number, true, true);
    const EventLoop::Answering answering(s_.loop);
    const BeingAnswered being_answered(*client);
    std::optional<Incoming> incoming;
    std::optional<Message> empty_result;
    try {
        incoming.emplace(procedure->argument);
        empty_result.emplace(procedure->result);
        if (!svc_getargs(transport, reinterpret_cast<xdrproc_t>(&Incoming::decode), &*incoming))
            throw std::bad_alloc();
        if (incoming->bytes)
            procedure = &as_bytes(host_procedures(), number, true, false);
    } catch (const std::bad_alloc &) {
        svcerr_systemerr(transport);
        s_.host.note_failure(*client);
        throw;
    }
    Message &argument = incoming->bytes ? *incoming->bytes : incoming->argument;
    Message &result = *empty_result;
    Call call{s_.host, *client, *procedure, argument.address(), result.address()};
    const auto began = steady_clock::now();
    TraceEvent event = begun(*client, *procedure, request);
    event.outcome = reply(call, result, transport);
    const bool answered = event.outcome == outcomes::answered;
    if (s_.options.trace) {
        event.duration = steady_clock::now() - began;
        event.arguments = {procedure->argument.shape, argument.address()};
        event.result = call.bytes ? TracedMessage{bytes_of_message.shape, call.bytes->address()}
                                  : TracedMessage{procedure->result.shape, result.address()};
        s_.options.trace(event);
    }
    if (!answered)
        return;
    if (number == api_vq_over_1::number && !is_bytes(procedure->argument.shape))
        hand_over(*client, *static_cast<IntT *>(call.argument) != 0);
    if (number == api_vq_take_control_1::number)
        take_over(*client);
    if (call.after)
        call.after();
}

// Replies to the call and returns its outcome for the trace.
std::string Dispatcher::reply(Call &call, Message &result, SVCXPRT *transport)
try {
    restore_memory();
    Client &client = call.client;
    client.unanswered = {};
    const rpcproc_t number = call.procedure.number;
    const std::string name(call.procedure.name);
    const bool decoded = !is_bytes(call.procedure.argument.shape);
    if (!decoded)
        s_.reports.of(client,
                      is_bytes(call.procedure.result.shape)
                          ? "called procedure " + std::to_string(number) + ", which is unknown"
                          : name + " has arguments that do not decode");
    if (decoded && !passes_control(number) && client.turns.is_new_breach())
        s_.reports.of(client, "called " + name + " while the host holds control");
    switch (decoded ? s_.responder.respond(call) : s_.responder.respond_to_bytes(call)) {
    case Responder::Reaction::answer:
        break;
    case Responder::Reaction::drop:
        client.unanswered = call.procedure.name;
        return std::string(outcomes::no_reply);
    case Responder::Reaction::rpc_error:
        svcerr_systemerr(transport);
        return "an RPC error";
    case Responder::Reaction::undecoded:
        svcerr_decode(transport);
        return std::string(outcomes::undecoded);
    case Responder::Reaction::unknown:
        svcerr_noproc(transport);
        return std::string(outcomes::unknown);
    case Responder::Reaction::half:
        send_half(result, transport);
        return std::string(outcomes::half_reply);
    case Responder::Reaction::close: {
        std::string outcome(outcomes::closed); // before there is no connection for an error
        svc_destroy(transport);
        return outcome;
    }
    }
    Message &sent = call.bytes ? *call.bytes : result;
    errno = 0;
    if (!svc_sendreply(transport, sent.routine(), sent.address())) {
        if (errno == ENOMEM)
            throw std::bad_alloc();
        return std::string(outcomes::unsent);
    }
    if (number == api_vq_modal_dialog_1::number && decoded) {
        const auto &dialog = *static_cast<const ApiVqDoDialogArgT *>(call.argument);
        if (dialog.int1 != 0)
            client.turns.wait_modally(dialog.int1, dialog.id2);
    }
    return std::string(outcomes::answered);
} catch (const std::exception &error) {
    s_.host.note_own_failure(std::current_exception());
    svcerr_systemerr(transport);
    s_.host.note_failure(call.client);
    const std::string failed = "failed: " + reason_of(error);
    s_.reports.of(call.client, std::string(call.procedure.name) + " " + failed);
    return failed;
}

// From here on, the host knows which client calls on the connection.
void Dispatcher::acknowledge(const Procedure &procedure, const svc_req &request, SVCXPRT *transport)
{
    IntT pid = 0;
    if (!svc_getargs(transport, routine<IntT>(), reinterpret_cast<caddr_t>(&pid)))
        return svcerr_decode(transport);
    s_.clients.acknowledge(transport->xp_fd, pid);
    const Client *client = s_.clients.calling_on(transport->xp_fd);
    if (!client)
        return svcerr_weakauth(transport);
    svc_sendreply(transport, routine<void>(), nullptr);
    if (!s_.options.trace)
        return;
    TraceEvent event = begun(*client, procedure, request);
    event.arguments = {&shape_of<IntT>, &pid};
    event.outcome = outcomes::answered;
    s_.options.trace(event);
}

void Dispatcher::take_over(Client &client)
{
    if (client.turns.client_holds_control())
        s_.reports.of(client, "took control, which it holds already");
    else
        client.turns.begin(api_vq_take_control_1::name, api_vq_take_control_1::number);
}

void Dispatcher::hand_over(Client &client, bool bailout)
{
    client.leaving |= bailout;
    const std::optional<Turn> turn = client.turns.hand_back();
    if (!turn)
        return s_.reports.of(client, "handed control back without holding it");
    trace_return(s_.options.trace, client, *turn, std::string(outcomes::handed_back));
    if (turn->late)
        s_.reports.of(client, "handed control back late, " + milliseconds_since(turn->since) +
                                  " ms after " + std::string(turn->procedure));
}

} // namespace velt::host
