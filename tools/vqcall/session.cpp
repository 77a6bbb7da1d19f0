// A running session, joined as any process does.

#include <netdb.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <system_error>

#include "common/error.h"
#include "common/printable.h"
#include "host/wire/procedures.h"
#include "tools/vqcall/partners.h"
#include "velt/api.h"

// The library calls these when the host does.
void V_ApiInitialize(IntT) {}
void V_ApiCommand(IntT) {}

namespace velt::call
{
namespace
{

using namespace host::procedure;

// What a process does of itself to take part in a session.
constexpr rpcproc_t of_the_session[] = {api_vq_init_ack_5_1::number, api_vq_init_ack_4_1::number,
                                        api_vq_over_1::number, api_vq_take_control_1::number,
                                        api_vq_disconnect_from_session_1::number};

constexpr const char *tells = "the command \"session\" of vqhost tells the number";

class Session final : public Partner
{
public:
    Session(const std::string &where, UIntT limit) : where_(where), limit_(limit)
    {
        const auto at = std::min(where.find('@'), where.size());
        UIntT program = 0;
        const auto [end, wrong] = std::from_chars(where.data(), where.data() + at, program);
        if (wrong != std::errc() || end != where.data() + at)
            misuse("--session " + where + ": it takes PROGRAM[@HOST], as in 1074280321; " + tells);
        const std::string machine = where.substr(std::min(at + 1, where.size()));
        VA_TimeOut = {static_cast<IntT>(limit), 0};
        V_ApiSetLimit(V_limit_connect_seconds, limit);
        const auto began = Clock::now();
        if (const IntT error = V_ApiConnectToSession(
                "vqcall", machine.empty() ? nullptr : machine.c_str(), program)) {
            if (Clock::now() - began >= std::chrono::seconds(limit))
                give_up();
            V_ApiShutDown();
            if (!machine.empty() && !gethostbyname(machine.c_str()))
                fail("session " + where + ": there is no machine " + in_quotes(machine));
            fail("session " + where + ": " + V_ApiErrorText(error) + "; " + tells +
                 ", and VQPMAP if the session needs it");
        }
    }
    ~Session() override
    {
        if (!gave_up_)
            V_ApiDisconnectFromSession();
    }

    // Takes control, and asks for what the texts of the session are encoded in. Throws Error when
    // either is not answered.
    void begin()
    {
        V_ApiTakeControl();
        need_answer(api_vq_take_control_1::name);
        language_ = V_ApiGetInt(0, 0, V_prop_language);
        need_answer(api_vq_get_int_1::name);
    }

    host::SessionText text() const override { return host::SessionText(language_); }

    void call(const host::Procedure &procedure, host::Message &argument,
              host::Message &result) override
    {
        if (std::ranges::find(of_the_session, procedure.number) != std::end(of_the_session))
            misuse(std::string(procedure.name) +
                   " is one of the calls by which vqcall itself joins, takes turns and leaves");
        const timeval wait = {static_cast<time_t>(limit_), 0};
        clnt_call(velt_client, procedure.number, argument.routine(), argument.address(),
                  result.routine(), result.address(), wait);
        need_answer(procedure.name);
    }

    void save() override {} // what the session changes is the session's

private:
    using Clock = std::chrono::steady_clock;

    // Throws Error when the call just made has had no answer.
    void need_answer(std::string_view procedure)
    {
        rpc_err error{};
        clnt_geterr(velt_client, &error);
        if (error.re_status == RPC_TIMEDOUT)
            give_up();
        if (error.re_status == RPC_CANTSEND || error.re_status == RPC_CANTRECV)
            leave("the host has ended, or closed the connection");
        if (error.re_status != RPC_SUCCESS)
            fail(clnt_sperror(velt_client, std::string(procedure).c_str()));
    }

    // Leaves the session without asking a host that does not answer.
    [[noreturn]] void leave(const std::string &reason)
    {
        gave_up_ = true;
        V_ApiSetLimit(V_limit_connect_seconds, 1);
        V_ApiShutDown();
        fail("session " + where_ + ": " + reason);
    }
    [[noreturn]] void give_up()
    {
        leave("the host has not answered within " + std::to_string(limit_) +
              " s; it is stopped, busy or waits for a person: see to that, or wait longer with "
              "--time-limit SECONDS");
    }

    std::string where_;
    UIntT limit_;
    bool gave_up_ = false;
    IntT language_ = 0;
};

} // namespace

std::unique_ptr<Partner> join_session(const std::string &where, UIntT limit)
{
    auto session = std::make_unique<Session>(where, limit);
    session->begin();
    return session;
}

} // namespace velt::call
