#include "bench/model.h"

#include <stdexcept>
#include <vector>

#include "apilib/unix/transport/transport.h"
#include "apilib/wire/routines.h"
#include "bench/compare.h"
#include "bench/processor.h"
#include "bench/service.h"
#include "host/answers/responder.h"
#include "host/session/dispatcher.h"
#include "host/session/host.h"
#include "velt/api.h"

namespace velt::bench
{
namespace
{

constexpr rpcprog_t program = 0x20100100;
constexpr UIntT components = 1000;
constexpr std::size_t calls_in_block = 200;

struct Nobody : host::Console, host::Responder {
    host::Reply ask(const host::Question &) override { return {}; }
    void report(const std::string &) override {}
    Reaction respond(host::Call &) override { return Reaction::drop; }
    void client_exited(int) override {}
};

// A host as it is, in which one client, whoever calls, holds control.
struct Session {
    host::Model model;
    host::Documents documents{model};
    host::ModelResponder responder{{model, documents}};
    Nobody nobody;
    host::Options options;
    host::Host host{options, nobody, nobody};
    host::Reports reports{nobody};
    host::Registrations registrations{nullptr, reports};
    host::Clients clients{options, reports, registrations, responder};
    host::EventLoop loop{[] {}, [] {}};
    host::Dispatcher dispatcher{{host, options, reports, clients, loop, responder}};
    host::Client &client = clients.all().emplace_back();
};

void answer_by_model(void *of, svc_req *request, SVCXPRT *transport)
{
    auto &session = *static_cast<Session *>(of);
    session.clients.set_caller(session.client, transport->xp_fd);
    host::Dispatcher::dispatch(&session.dispatcher, request, transport);
}

void answer_by_constant(void *, svc_req *, SVCXPRT *transport)
{
    ApiVqGetPropArgT argument{};
    ApiVqGetIntRetT result{0, 42};
    if (svc_getargs(transport, routine<ApiVqGetPropArgT>(), reinterpret_cast<char *>(&argument)))
        svc_sendreply(transport, routine<ApiVqGetIntRetT>(), reinterpret_cast<char *>(&result));
    else
        svcerr_decode(transport);
    free_decoded(argument);
}

// Returns a book with components; its ids are the same in every model.
UIntT make_book(host::Model &model)
{
    const UIntT book = model.create(0, host::object_type::book, "book");
    for (UIntT i = 0; i < components; i++) {
        const UIntT component = model.append(book, host::object_type::component, "component");
        model.set(book, component, host::PropertyKey(V_prop_moved), host::Value::integer(1).get());
    }
    return book;
}

template <void (*Answer)(void *, svc_req *, SVCXPRT *)>
void serve(const std::function<void(in_port_t)> &tell)
{
    Session session;
    make_book(session.model);
    session.client.turns.begin("bench", 0);
    SVCXPRT *transport = transport_listen({Answer, nullptr, nullptr, &session});
    if (!transport)
        throw std::runtime_error("cannot open a service");
    transport_set_program(transport, program, 1);
    tell(transport->xp_port);
    serve_forever();
}

class Caller
{
public:
    explicit Caller(sockaddr_in address)
    {
        int socket = RPC_ANYSOCK;
        handle_ = clnttcp_create(&address, program, 1, &socket, 0, 0);
        if (!handle_)
            throw std::runtime_error("cannot connect to a service");
    }
    Caller(const Caller &) = delete;
    Caller &operator=(const Caller &) = delete;
    ~Caller() { clnt_destroy(handle_); }

    // Asks one component after the other whether it has been moved.
    double get_ints(UIntT book, const std::vector<UIntT> &of)
    {
        return timed(calls_in_block, [&](std::size_t i) {
            ApiVqGetPropArgT argument{book, of[i * 7 % of.size()], {V_prop_moved, nullptr}};
            ApiVqGetIntRetT result{};
            constexpr timeval limit{10, 0};
            const clnt_stat called =
                clnt_call(handle_, number_of("api_vq_get_int_1"), routine<ApiVqGetPropArgT>(),
                          &argument, routine<ApiVqGetIntRetT>(), &result, limit);
            if (called != RPC_SUCCESS || result.status != 0)
                throw std::runtime_error("a service does not answer");
        });
    }

private:
    CLIENT *handle_;
};

void answered_call(benchmark::State &state)
try {
    const OneProcessor one;
    const ServiceProcess model(serve<answer_by_model>), constant(serve<answer_by_constant>);
    Caller to_model(model.address()), to_constant(constant.address());
    host::Model same;
    const UIntT book = make_book(same);
    const auto all = same.components(book);
    compare(
        state, [&] { return to_constant.get_ints(book, all); },
        [&] { return to_model.get_ints(book, all); });
    state.counters[counter::goal] = 1.10;
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

} // namespace

void register_model()
{
    benchmark::RegisterBenchmark("model's answer / constant, one CPU", answered_call)
        ->Iterations(101);
}

} // namespace velt::bench
