// The control calls to the host.

#include "velt/wire.h"

namespace
{

// Calls the host unless the session was shut down while a callback ran.
template <class Arg>
IntT answered(void *(*stub)(const Arg *, CLIENT *), const Arg *arg)
{
    return velt_client && stub(arg, velt_client);
}

} // namespace

IntT Vapivq_InitAck(const IntT *pid)
{
    return answered(api_vq_init_ack_5_1, pid);
}

IntT Vapivq_TurnOverControl(const IntT *bailout)
{
    return answered(api_vq_over_1, bailout);
}

IntT Vapivq_TakeControl(void)
{
    IntT nothing = 0;
    return answered<void>(api_vq_take_control_1, &nothing);
}
