#include "tools/vqrecord/decoder.h"

#include <algorithm>
#include <iostream>

#include "apilib/wire/routines.h"
#include "common/error.h"
#include "host/session/tracing.h"
#include "host/wire/procedures.h"

namespace velt::vqrecord
{
namespace
{

using namespace host::procedure;
using namespace host::callback;
using namespace host::outcomes;
using Clock = std::chrono::steady_clock;

// A message as it is read: its head, then what is called or answered with.
struct Reading {
    XDR xdrs;
    rpc_msg head{};
    char credentials[MAX_AUTH_BYTES], verifier[MAX_AUTH_BYTES];

    explicit Reading(const Message &message) { message.open(xdrs); }
    Reading(const Reading &) = delete;
    ~Reading() { xdr_destroy(&xdrs); }

    bool call()
    {
        head.rm_call.cb_cred.oa_base = credentials;
        head.rm_call.cb_verf.oa_base = verifier;
        return xdr_callmsg(&xdrs, &head);
    }
    bool reply()
    {
        head.acpted_rply.ar_verf.oa_base = verifier;
        head.acpted_rply.ar_results.proc = routine<void>();
        return xdr_replymsg(&xdrs, &head);
    }
    // Reads what follows the head: a message of the type, or of one that does not decode the bytes.
    // Returns whether it decodes. Throws std::bad_alloc.
    bool rest(std::unique_ptr<host::Message> &into, const host::MessageType &type)
    {
        const auto read = [&](const host::MessageType &as) {
            into = std::make_unique<host::Message>(as);
            return into->decode(xdrs);
        };
        const u_int here = XDR_GETPOS(&xdrs);
        if (read(type))
            return true;
        if (!XDR_SETPOS(&xdrs, here) || !read(host::bytes_of_message))
            throw std::bad_alloc();
        return false;
    }
    // Returns which procedure is called, of which program.
    svc_req request() const
    {
        svc_req made{};
        made.rq_prog = head.rm_call.cb_prog;
        made.rq_vers = head.rm_call.cb_vers;
        made.rq_proc = head.rm_call.cb_proc;
        return made;
    }
    // Returns why the call was refused, or nothing.
    std::string refusal() const
    {
        rpc_err error{};
        _seterr_reply(const_cast<rpc_msg *>(&head), &error);
        return error.re_status == RPC_SUCCESS          ? ""
               : error.re_status == RPC_CANTDECODEARGS ? std::string(undecoded)
               : error.re_status == RPC_PROCUNAVAIL    ? std::string(unknown)
                                                       : clnt_sperrno(error.re_status);
    }
};

bool begins_turn(const host::Procedure &procedure)
{
    return procedure.number != vq_api_quit_1::number && host::is_handed_back(procedure.number);
}

} // namespace

// What goes wrong here concerns the recording alone, not those who talk.
template <class Action>
void Decoder::attempt(Action action) noexcept
try {
    if (complete_)
        action();
} catch (const std::exception &error) {
    complete_ = false;
    std::cerr << "vqrecord: the recording ends here, as one that was cut off: " << reason_of(error)
              << std::endl;
}

void Decoder::report(const std::string &what)
{
    std::cerr << "vqrecord: " << what << std::endl;
}

void Decoder::broke_off(const std::string &what)
{
    report(what);
    if (complete_)
        report("the recording ends here, as one that was cut off");
    complete_ = false;
}

void Decoder::called(Caller caller, int connection, const Message &call)
{
    attempt([&] { begin(caller, connection, call); });
}

void Decoder::answered(Caller caller, int connection, const Message &reply)
{
    attempt([&] { end(caller, connection, reply); });
}

void Decoder::begin(Caller caller, int connection, const Message &call)
{
    const bool is_clients = caller == Caller::client;
    const std::string who = is_clients ? "the client" : "the host";
    Reading reading(call);
    if (!reading.call())
        return report(who + " sent what is no call; it is passed on, and not recorded");
    const rpcproc_t number = reading.head.rm_call.cb_proc;
    if (number == NULLPROC)
        return;
    const auto among = is_clients ? host::host_procedures() : host::client_procedures();
    const host::Procedure *procedure = host::find_procedure(among, number);
    if (!procedure) {
        report(who + " called procedure " + std::to_string(number) +
               ", which is unknown; its bytes are recorded");
        procedure = &host::as_bytes(among, number, true, true);
    }
    std::unique_ptr<host::Message> argument;
    if (!reading.rest(argument, procedure->argument)) {
        report(who + " called " + std::string(procedure->name) +
               " with arguments that do not decode; their bytes are recorded");
        procedure = &host::as_bytes(among, number, true, false);
    }
    // A client that calls again waits no more for the answer to an earlier call.
    if (is_clients)
        give_up(caller, connection, no_reply);
    open_.push_back({caller, connection, call.id(), procedure, std::move(argument),
                     host::begun(client, *procedure, reading.request()), Clock::now()});
    if (is_clients)
        return;
    // A client that waits for an answer serves the host when it has that.
    client.being_answered = std::ranges::find(open_, Caller::client, &Open::caller) != open_.end();
    open_.back().put_off = client.being_answered && begins_turn(*procedure);
    if (!open_.back().put_off)
        begin_turn(open_.back());
    if (!host::is_handed_back(procedure->number))
        open_.pop_back(); // it gets no answer
}

void Decoder::begin_turn(Open &call)
{
    const host::Procedure &procedure = *call.procedure;
    const caddr_t argument = call.argument->address();
    call.put_off = false;
    if (procedure.number == vq_api_quit_1::number)
        client.quitting = host::Turn{
            .procedure = procedure.name, .number = vq_api_quit_1::number, .since = Clock::now()};
    else if (begins_turn(procedure))
        client.turns.begin(procedure.name, static_cast<UIntT>(procedure.number),
                           procedure.number == vq_api_dialog_event_1::number &&
                               !host::is_bytes(procedure.argument.shape) &&
                               reinterpret_cast<VqApiDialogEventArgT *>(argument)->dialog == 0);
    host::trace_sent(sink_, client, procedure, argument);
}

void Decoder::end(Caller caller, int connection, const Message &reply)
{
    const auto call = std::ranges::find_if(open_, [&](const Open &each) {
        return each.caller == caller && each.connection == connection && each.id == reply.id();
    });
    if (call == open_.end())
        return;
    Reading reading(reply);
    if (!reading.reply()) {
        report("the answer to " + std::string(call->procedure->name) +
               " does not decode; it is passed on");
        return end_call(call, "an answer that does not decode");
    }
    const std::string refusal = reading.refusal();
    if (caller == Caller::host) {
        if (call->put_off)
            begin_turn(*call);
        if (!refusal.empty() && !client.turns.empty()) {
            host::trace_return(sink_, client, client.turns.innermost(), refusal);
            client.turns.break_off();
        }
        open_.erase(call);
        return;
    }
    if (!refusal.empty())
        return end_call(call, refusal);
    std::unique_ptr<host::Message> result;
    host::TracedMessage told{call->procedure->result.shape, nullptr};
    if (!reading.rest(result, call->procedure->result)) {
        report("the answer to " + std::string(call->procedure->name) +
               " does not decode; its bytes are recorded");
        told.shape = host::bytes_of_message.shape;
    }
    told.value = result->address();
    end_call(call, host::outcomes::answered, &told);
}

void Decoder::end_call(Calls::iterator call, std::string_view outcome,
                       const host::TracedMessage *result)
{
    const Open ended = std::move(*call);
    open_.erase(call);
    if (ended.caller == Caller::host)
        return;
    host::TraceEvent event = ended.event;
    event.outcome = outcome;
    event.duration = Clock::now() - ended.since;
    event.arguments = {ended.procedure->argument.shape, ended.argument->address()};
    host::Message nothing(ended.procedure->result);
    event.result =
        result ? *result : host::TracedMessage{ended.procedure->result.shape, nothing.address()};
    if (sink_)
        sink_(event);
    if (outcome == host::outcomes::answered)
        pass_control(ended);
    client.being_answered = false;
    for (Open &each : open_)
        if (each.put_off)
            begin_turn(each);
}

// Keeps the client's turns as the host does.
void Decoder::pass_control(const Open &call)
{
    const rpcproc_t number = call.procedure->number;
    if (host::is_bytes(call.procedure->argument.shape))
        return;
    if (number == api_vq_over_1::number) {
        if (const std::optional<host::Turn> turn = client.turns.hand_back())
            host::trace_return(sink_, client, *turn, std::string(handed_back));
    } else if (number == api_vq_take_control_1::number) {
        if (!client.turns.client_holds_control())
            client.turns.begin(api_vq_take_control_1::name, api_vq_take_control_1::number);
    } else if (number == api_vq_modal_dialog_1::number) {
        const auto &dialog = *reinterpret_cast<ApiVqDoDialogArgT *>(call.argument->address());
        if (dialog.int1 != 0)
            client.turns.wait_modally(dialog.int1, dialog.id2);
    }
}

void Decoder::give_up(Caller caller, int connection, std::string_view outcome)
{
    for (auto call = open_.begin(); call != open_.end();) {
        const auto next = std::next(call);
        if (call->caller == caller && call->connection == connection)
            end_call(call, outcome);
        call = next;
    }
}

void Decoder::closed(Caller caller, int connection)
{
    attempt([&] { give_up(caller, connection, host::outcomes::closed); });
}

void Decoder::break_off_turns(const std::string &outcome)
{
    while (const std::optional<host::Turn> turn = client.turns.break_off())
        host::trace_return(sink_, client, *turn, outcome);
}

void Decoder::exited(int status)
{
    client.exit_status = status;
    const std::string how = host::describe_exit(status);
    attempt([&] {
        while (!open_.empty())
            end_call(open_.begin(), no_reply);
        break_off_turns(how);
        if (client.quitting)
            host::trace_return(sink_, client, *client.quitting, how);
    });
}

} // namespace velt::vqrecord
