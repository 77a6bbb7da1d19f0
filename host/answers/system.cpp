#include "host/answers/answers.h"

namespace velt::host
{
namespace
{

bool may_run_programs(Context &c)
{
    const bool may = c.host.options().allow_programs;
    if (!may)
        c.host.reports().of(c.client, "may not have programs run; start vqhost with "
                                      "--allow-programs to let it");
    return may;
}

} // namespace

void Answer<api_vq_sleep_1>::answer(Context &c, const IntT &seconds)
{
    c.host.sleep(c.client, std::chrono::seconds(seconds));
}

void Answer<api_vq_usleep_1>::answer(Context &c, const IntT &microseconds)
{
    c.host.sleep(c.client, std::chrono::microseconds(microseconds));
}

void Answer<api_vq_user_cancel_1>::answer(Context &c, IntT &r)
{
    r = c.host.take_cancel(c.client);
}

void Answer<api_vq_system_shell_1>::answer(Context &c, const StringT &command, IntT &r)
{
    r = may_run_programs(c) ? c.host.programs().run(c.client, text(command)) : not_permitted;
}

void Answer<api_vq_fork_and_exec_1>::answer(Context &c, const ApiVqForkAndExecArgT &a, IntT &r)
{
    Startup what(find_program(text(a.str1)));
    for (UIntT i = 0; i < a.strings2.len; i++)
        what.arguments.push_back(text(a.strings2.val[i]));
    r = may_run_programs(c) ? c.host.programs().start(c.client, what) : not_permitted;
}

} // namespace velt::host
