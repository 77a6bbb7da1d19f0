#include "host/answers/answers.h"

namespace velt::host
{

// An alert that was cancelled is answered with -1.
void Answer<api_vq_alert_1>::answer(Context &c, const ApiVqAlertArgT &a, IntT &r)
{
    const Reply reply = c.host.ask({.kind = Question::alert,
                                    .client = c.client.number,
                                    .text = text(a.str1),
                                    .detail = a.int2});
    const IntT *number = std::get_if<IntT>(&reply);
    r = number ? *number : -1;
}

} // namespace velt::host
