// A running session, joined as any process does.

#include <algorithm>

#include "common/printable.h"
#include "common/words.h"
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

constexpr V_TimeT time_to_join = {60, 0};
// A person may take this long to answer what a call asks.
constexpr timeval time_to_answer = {7 * 86400, 0};

class Session final : public Partner
{
public:
    explicit Session(const std::string &where)
    {
        const auto at = std::min(where.find('@'), where.size());
        const auto program = number<UIntT>(where.substr(0, at));
        const std::string machine = where.substr(std::min(at + 1, where.size()));
        VA_TimeOut = time_to_join;
        if (const IntT error = V_ApiConnectToSession(
                "vqcall", machine.empty() ? nullptr : machine.c_str(), program)) {
            V_ApiShutDown();
            fail("session " + where + ": " + V_ApiErrorText(error) +
                 "; the command \"session\" of vqhost tells the number, and VQPMAP if the session "
                 "needs it");
        }
        V_ApiTakeControl();
        language_ = V_ApiGetInt(0, 0, V_prop_language);
        timeval limit = time_to_answer;
        clnt_control(velt_client, CLSET_TIMEOUT, reinterpret_cast<char *>(&limit));
    }
    ~Session() override { V_ApiDisconnectFromSession(); }

    host::SessionText text() const override { return host::SessionText(language_); }

    void call(const host::Procedure &procedure, host::Message &argument,
              host::Message &result) override
    {
        if (std::ranges::find(of_the_session, procedure.number) != std::end(of_the_session))
            misuse(std::string(procedure.name) +
                   " is one of the calls by which vqcall itself joins, takes turns and leaves");
        if (clnt_call(velt_client, procedure.number, argument.routine(), argument.address(),
                      result.routine(), result.address(), time_to_answer) != RPC_SUCCESS)
            fail(clnt_sperror(velt_client, std::string(procedure.name).c_str()));
    }

    void save() override {} // what the session changes is the session's

private:
    IntT language_ = 0;
};

} // namespace

std::unique_ptr<Partner> join_session(const std::string &where)
{
    return std::make_unique<Session>(where);
}

} // namespace velt::call
