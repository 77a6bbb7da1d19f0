#include "host/answers/answers.h"

namespace velt::host
{

void Answer<api_vq_alert_1>::answer(Context &c, const ApiVqAlertArgT &a, IntT &r)
{
    r = c.host.ask({c.client.number, text(a.str1), a.int2}).value_or(cancelled);
}

} // namespace velt::host
