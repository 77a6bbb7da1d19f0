#include "host/server.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iterator>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "apilib/fields.h"
#include "apilib/memory.h"
#include "apilib/routines.h"
#include "apilib/unix/transport/transport.h"
#include "host/answers.h"
#include "host/host.h"
#include "host/owned.h"
#include "velt/api.h"

namespace velt::host
{
namespace
{

// A record that is decoded or answered, freed on every path; void holds nothing.
class Held
{
public:
    Held(std::size_t size, xdrproc_t filter)
        : words_(size / sizeof(std::uint64_t) + 1), code_(filter)
    {
    }
    Held(const Held &) = delete;
    Held &operator=(const Held &) = delete;
    ~Held() { xdr_free(code_, address()); }

    caddr_t address() { return reinterpret_cast<caddr_t>(words_.data()); }
    xdrproc_t code() const { return code_; }

private:
    std::vector<std::uint64_t> words_; // all zero, and aligned for every record
    xdrproc_t code_;
};

template <class T>
constexpr std::size_t size_of = sizeof(T);
static_assert(alignof(V_ValUnionT) <= alignof(std::uint64_t));
template <>
constexpr std::size_t size_of<void> = 0;

template <class T>
Json json_of(void *value)
{
    if constexpr (std::is_void_v<T>)
        return {};
    else
        return to_json(*static_cast<T *>(value));
}

template <class Result>
void refuse(Result &result)
{
    if constexpr (std::is_same_v<Result, IntT>)
        result = not_supported;
    else if constexpr (Record<Result>)
        result.status = not_supported;
    // An empty string is all that a bare string can say.
}

} // namespace

// One call of a client.
class Dispatch
{
public:
    Dispatch(Host &host, Client &client, svc_req *request, SVCXPRT *transport)
        : host_(host), client_(client), request_(request), transport_(transport)
    {
        client_.being_answered = true;
        host_.answering_++;
    }
    Dispatch(const Dispatch &) = delete;
    Dispatch &operator=(const Dispatch &) = delete;
    ~Dispatch()
    {
        host_.answering_--;
        client_.being_answered = false;
    }

    static void run(Host &host, svc_req *request, SVCXPRT *transport);

private:
    static void acknowledge(Host &host, rpcproc_t number, SVCXPRT *transport);
    // What is particular to one procedure.
    struct Served {
        rpcproc_t number;
        std::string_view name;
        std::size_t argument_size;
        std::size_t result_size;
        xdrproc_t decode;
        xdrproc_t encode;
        Json (*argument_json)(void *);
        Json (*result_json)(void *);
        void (Dispatch::*answer)(void *argument, void *result);
    };

    void serve(const Served &served);
    std::string reply(const Served &served, Held &argument, Held &result, Json &shown);
    template <class P>
    void answer_call(void *argument, void *result);
    template <class P, class... Parts>
    void answer_parts(Parts &...parts);
    bool serve_numbered();

    // What concerns the session of the client itself.
    void session(procedure::api_vq_over_1, const IntT &bailout)
    {
        after_ = [this, bailout] { host_.hand_over(client_, bailout != 0); };
    }
    void session(procedure::api_vq_take_control_1)
    {
        after_ = [this] { host_.take_over(client_); };
    }
    void session(procedure::api_vq_disconnect_from_session_1, IntT &result)
    {
        client_.leaving = true;
        result = ok;
    }
    void session(procedure::api_client_number_1, IntT &result) { result = client_.caller.number; }
    void session(procedure::api_client_name_1, StringT &result)
    {
        result = owned_string(client_.caller.name);
    }
    void session(procedure::api_client_directory_1, StringT &result)
    {
        result = owned_string(client_.caller.directory);
    }
    void session(procedure::api_set_client_directory_1, const StringT &directory, IntT &result)
    {
        client_.caller.directory = directory;
        result = ok;
    }
    void session(procedure::api_vq_return_value_1, const IntT &value, IntT &result)
    {
        client_.return_value = value;
        result = ok;
    }
    void session(procedure::api_vq_call_client_1, const ApiVqCallClientArgT &argument,
                 ApiVqGetIntRetT &result);

    // Without a dialog to show, the wait that the client begins must end all the same.
    void session(procedure::api_vq_modal_dialog_1, const ApiVqDoDialogArgT &argument, IntT &result)
    {
        result = not_supported;
        if (argument.int1 != 0)
            host_.after_reply([&host = host_, &client = client_] {
                host.dialog_event(client, 0, 0, not_supported);
            });
    }

    // Whether a client may make the call without holding control.
    static bool free_of_turns(rpcproc_t number)
    {
        return number == procedure::api_vq_over_1::number ||
               number == procedure::api_vq_take_control_1::number;
    }

    Host &host_;
    Client &client_;
    svc_req *request_;
    SVCXPRT *transport_;
    std::function<void()> after_; // when the call has been answered and traced
};

// The named client gets the string as a message and answers with V_ApiReturnValue.
void Dispatch::session(procedure::api_vq_call_client_1, const ApiVqCallClientArgT &argument,
                       ApiVqGetIntRetT &result)
{
    result.status = no_such_object;
    for (Client &other : host_.clients()) {
        if (!other.running || other.caller.name != argument.str1)
            continue;
        other.return_value = 0;
        const bool answered = !other.being_answered && host_.message(other, argument.str2, 0, 0);
        result.status = answered ? ok : not_permitted;
        result.result = other.return_value;
        return;
    }
}

template <class P, class... Parts>
void Dispatch::answer_parts(Parts &...parts)
{
    if constexpr (requires { this->session(P{}, parts...); }) {
        session(P{}, parts...);
    } else if constexpr (requires(Context & context) { answer(P{}, context, parts...); }) {
        Context context{host_.model_, host_.person_, client_.caller};
        answer(P{}, context, parts...);
    } else if constexpr (!std::is_void_v<typename P::Result>) {
        refuse(std::get<sizeof...(parts) - 1>(std::tie(parts...)));
    }
}

template <class P>
void Dispatch::answer_call(void *argument, void *result)
{
    using Argument = typename P::Argument;
    using Result = typename P::Result;
    const auto *in = static_cast<const Argument *>(argument);
    auto *out = static_cast<Result *>(result);
    if constexpr (std::is_void_v<Argument> && std::is_void_v<Result>)
        answer_parts<P>();
    else if constexpr (std::is_void_v<Argument>)
        answer_parts<P>(*out);
    else if constexpr (std::is_void_v<Result>)
        answer_parts<P>(*in);
    else
        answer_parts<P>(*in, *out);
}

// Returns what came of the call.
std::string Dispatch::reply(const Served &served, Held &argument, Held &result, Json &shown)
try {
    if (!svc_getargs(transport_, argument.code(), argument.address())) {
        svcerr_decode(transport_);
        host_.report(client_, std::string(served.name) + " has arguments that do not decode");
        return "arguments that do not decode";
    }
    if (host_.options_.trace)
        shown = served.argument_json(argument.address());
    if (!free_of_turns(served.number))
        host_.check_turn(client_, served.name);
    if (host_.options_.on_call && host_.options_.on_call(served.number, client_) == Reaction::drop)
        return "no reply";
    if (auto scripted = host_.scripted_.find(served.number); scripted != host_.scripted_.end())
        scripted->second(client_, argument.address(), result.address());
    else
        (this->*served.answer)(argument.address(), result.address());
    if (!svc_sendreply(transport_, result.code(), result.address())) {
        after_ = nullptr;
        return "the reply cannot be sent";
    }
    if (served.number == procedure::api_vq_modal_dialog_1::number &&
        reinterpret_cast<const ApiVqDoDialogArgT *>(argument.address())->int1 != 0)
        host_.begin_modal_wait(client_);
    return "answered";
} catch (const std::exception &error) {
    svcerr_systemerr(transport_);
    host_.report(client_, std::string(served.name) + " failed: " + error.what());
    return std::string("failed: ") + error.what();
}

void Dispatch::serve(const Served &served)
{
    using std::chrono::steady_clock;
    const auto began = steady_clock::now();
    TraceEvent event{std::chrono::system_clock::now(),
                     client_.caller.number,
                     Direction::to_host,
                     served.name,
                     static_cast<unsigned>(served.number),
                     client_.turns.size()};
    Held argument(served.argument_size, served.decode);
    Held result(served.result_size, served.encode);
    event.outcome = reply(served, argument, result, event.arguments);
    if (host_.options_.trace) {
        event.duration = steady_clock::now() - began;
        event.result = served.result_json(result.address());
        host_.options_.trace(event);
    }
    if (after_)
        after_();
}

bool Dispatch::serve_numbered()
{
    static const Served table[] = {
#define V_PROCEDURE(number, stub, argument, result)                                                \
    {number,                                                                                       \
     #stub,                                                                                        \
     size_of<argument>,                                                                            \
     size_of<result>,                                                                              \
     routine<argument>(),                                                                          \
     routine<result>(),                                                                            \
     json_of<argument>,                                                                            \
     json_of<result>,                                                                              \
     &Dispatch::answer_call<procedure::stub>},
#include "velt/tables/procedures.def"
    };
    const auto found = std::ranges::lower_bound(table, request_->rq_proc, {}, &Served::number);
    if (found == std::end(table) || found->number != request_->rq_proc)
        return false;
    serve(*found);
    return true;
}

// Who calls is known from here on.
void Dispatch::acknowledge(Host &host, rpcproc_t number, SVCXPRT *transport)
{
    IntT pid = 0;
    if (!svc_getargs(transport, routine<IntT>(), reinterpret_cast<caddr_t>(&pid))) {
        svcerr_decode(transport);
        return;
    }
    host.acknowledge(transport->xp_fd, pid);
    const Client *client = host.on_connection(transport->xp_fd);
    if (!client) {
        svcerr_weakauth(transport);
        return;
    }
    svc_sendreply(transport, routine<void>(), nullptr);
    if (!host.options_.trace)
        return;
    using procedure::api_vq_init_ack_4_1, procedure::api_vq_init_ack_5_1;
    const auto name = number == api_vq_init_ack_5_1::number ? api_vq_init_ack_5_1::name
                                                            : api_vq_init_ack_4_1::name;
    TraceEvent event{
        std::chrono::system_clock::now(), client->caller.number, Direction::to_host, name,
        static_cast<unsigned>(number),    client->turns.size()};
    event.arguments = pid;
    event.outcome = "answered";
    host.options_.trace(event);
}

// No exception may leave: the RPC library is between this and the host.
void Dispatch::run(Host &host, svc_req *request, SVCXPRT *transport)
try {
    if (request->rq_proc == NULLPROC) {
        svc_sendreply(transport, routine<void>(), nullptr);
        return;
    }
    if (request->rq_proc == procedure::api_vq_init_ack_5_1::number ||
        request->rq_proc == procedure::api_vq_init_ack_4_1::number) {
        acknowledge(host, request->rq_proc, transport);
        return;
    }
    Client *client = host.on_connection(transport->xp_fd);
    if (!client) {
        svcerr_weakauth(transport);
        host.report_stranger("call", "a process that is no client called procedure " +
                                         std::to_string(request->rq_proc) + " and was refused");
        return;
    }
    Dispatch dispatch(host, *client, request, transport);
    if (!dispatch.serve_numbered()) {
        svcerr_noproc(transport);
        host.report(*client,
                    "called procedure " + std::to_string(request->rq_proc) + ", which is unknown");
    }
} catch (const std::exception &error) {
    // Memory may be what failed: nothing is put together here.
    Host::heard(&host, "a call was not answered in full:");
    Host::heard(&host, error.what());
}

void serve_call(svc_req *request, SVCXPRT *transport)
{
    Dispatch::run(*static_cast<Host *>(transport_context(transport)), request, transport);
}

} // namespace velt::host
