#include "bench/service.h"

#include <arpa/inet.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "apilib/unix/transport/transport.h"
#include "apilib/wire/routines.h"
#include "velt/api.h"

namespace velt::bench
{
namespace
{

using Clock = std::chrono::steady_clock;

constexpr auto patience = std::chrono::seconds(10);

AnsweredCalls served;

char text[] = "some text of a usual length";

V_StringsT strings(UIntT count)
{
    static std::vector<StringT> all(count, text);
    return {count, all.data()};
}

V_PropValsT properties(UIntT count)
{
    static std::vector<V_PropValT> all = [] {
        V_PropValT property{{1, nullptr}, {V_kind_string, {}}};
        property.propVal.u.stringVal = text;
        return std::vector(1000, property);
    }();
    return {count, all.data()};
}

template <class Argument, class Result>
void answer(SVCXPRT *transport, Result result)
{
    std::conditional_t<std::is_void_v<Argument>, char, Argument> argument{};
    if (!svc_getargs(transport, routine<Argument>(), reinterpret_cast<char *>(&argument)))
        svcerr_decode(transport);
    else
        svc_sendreply(transport, routine<Result>(), reinterpret_cast<char *>(&result));
    xdr_free(routine<Argument>(), &argument);
}

template <class Argument>
void acknowledge(SVCXPRT *transport, std::size_t &count)
{
    Argument argument{};
    if (!svc_getargs(transport, routine<Argument>(), reinterpret_cast<char *>(&argument))) {
        svcerr_decode(transport);
        return;
    }
    svc_sendreply(transport, routine<void>(), nullptr);
    count++;
}

void dispatch(svc_req *request, SVCXPRT *transport)
{
    switch (request->rq_proc) {
    case number_of("api_vq_init_ack_5_1"):
        return acknowledge<IntT>(transport, served.acknowledgements);
    case number_of("api_vq_over_1"):
        return acknowledge<IntT>(transport, served.hand_overs);
    case number_of("api_vq_get_int_1"):
        return answer<ApiVqGetPropArgT>(transport, ApiVqGetIntRetT{0, 42});
    case number_of("api_vq_set_int_1"):
        return answer<ApiVqSetIntArgT>(transport, IntT{0});
    case number_of("api_vq_delete_1"):
        return answer<ApiVqGeneralObjArgT>(transport, IntT{0});
    case number_of("api_vq_menu_exists_1"):
        return answer<ApiVqExistsArgT>(transport, IntT{1});
    case number_of("api_client_name_1"):
        return answer<void>(transport, StringT{text});
    case number_of("api_vq_prompt_string_1"):
        return answer<ApiVqPromptArgT>(transport, ApiVqPromptStringRetT{0, text});
    case number_of("api_vq_get_strings_1"):
        return answer<ApiVqGetPropArgT>(transport, ApiVqGetStringsRetT{0, strings(10)});
    case number_of("api_vq_get_props_1"):
        return answer<ApiVqGeneralObjArgT>(transport, ApiVqGetPropsRetT{0, properties(1000)});
    case number_of("api_vq_open_1"): {
        V_PropValsT happened = properties(2);
        return answer<ApiVqOpenArgT>(transport, ApiVqOpenRetT{0, 1, &happened});
    }
    case number_of("api_vq_push_clipboard_1"):
        svc_sendreply(transport, routine<void>(), nullptr);
        return;
    default:
        return svcerr_noproc(transport);
    }
}

bool wait_and_dispatch(Clock::duration limit)
{
    const auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(limit).count();
    const bool ready = transport_wait(nullptr, static_cast<int>(wait)) > 0;
    transport_dispatch();
    return ready;
}

} // namespace

in_port_t open_service(rpcprog_t program)
{
    SVCXPRT *transport = transport_listen(
        {[](void *, svc_req *request, SVCXPRT *connection) { dispatch(request, connection); },
         nullptr, nullptr, nullptr});
    if (!transport)
        throw std::runtime_error("cannot open a service");
    transport_set_program(transport, program, 1);
    return transport->xp_port;
}

ServiceProcess::ServiceProcess(void (*serve)(const std::function<void(in_port_t)> &))
{
    int ends[2];
    if (pipe(ends) != 0 || (id_ = fork()) < 0)
        throw std::runtime_error("cannot start a server");
    if (id_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        serve([&ends](in_port_t port) {
            if (write(ends[1], &port, sizeof port) < 0)
                _exit(1);
        });
        _exit(0);
    }
    close(ends[1]);
    in_port_t port = 0;
    if (read(ends[0], &port, sizeof port) != sizeof port)
        throw std::runtime_error("a server does not start");
    close(ends[0]);
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address_.sin_port = htons(port);
}

ServiceProcess::~ServiceProcess()
{
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
}

void serve_forever()
{
    for (;;)
        wait_and_dispatch(patience);
}

void serve_one(std::size_t AnsweredCalls::*kind)
{
    const std::size_t before = served.*kind;
    const auto give_up = Clock::now() + patience;
    while (served.*kind == before)
        if (Clock::now() > give_up || !wait_and_dispatch(patience))
            throw std::runtime_error("the client does not call");
}

std::string description(rpcprog_t client, rpcprog_t host, pid_t host_process)
{
    return std::to_string(client) + ".1 " + std::to_string(host) + ".1 " +
           std::to_string(host_process) + ".-1.bench";
}

} // namespace velt::bench
