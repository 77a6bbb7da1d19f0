// The service loop, the handlers of the host's calls, and the turn-taking of control.

#include <poll.h>

#include <cstdlib>
#include <utility>

#include "apilib/unix/apislib/session.h"
#include "apilib/unix/process.h"
#include "apilib/wire/routines.h"
#include "velt/api.h"

IntT VA_bailout = 0;
UIntT VA_SelectMask = 0;

namespace
{

constexpr int mask_bits = 32;
constexpr int wait_limit = 22000; // milliseconds
constexpr IntT filter_notification = 75;
constexpr char nest_msg[] = "Nested API_Init/V_ApiNotify/V_ApiMessage/V_ApiCommand";

// 1 while the client holds control and has to hand it back to the host.
IntT turn_over_needed;
// The number of nested modal waits, and the result of the modal dialog that ended last.
IntT callbacksDone;
IntT modalRetval;

V_FdFuncT fd_func;
V_FdFuncT notified; // the watcher that is being called
UIntT old_svc_fds;

// Those of the client's own services with the RPC library that masks name.
UIntT foreign_mask()
{
    const fd_set *const all = velt::foreign_services().set;
    return all ? static_cast<UIntT>(all->fds_bits[0]) & ~velt::transport_mask() : 0;
}

void end_without_host()
{
    velt::un_portmap();
    V_ApiEmergency();
    std::exit(1);
}

void turn_over()
{
    IntT bailout = VA_bailout;
    Vapivq_TurnOverControl(&bailout);
    turn_over_needed = 0;
}

// Handles a call of the host that leads to a callback: replies at once, holds control while the
// callback runs, and hands control back.
template <class Callback>
void *handle(svc_req *request, Callback callback)
{
    velt::send_result(request->rq_xprt, velt::routine<void>(), nullptr);
    if (turn_over_needed) {
        V_ApiErr(nest_msg);
        return nullptr;
    }
    turn_over_needed = 1;
    callback();
    if (turn_over_needed)
        turn_over();
    return nullptr;
}

void translateFileToFile(const VqApiNotifyArgT &arg)
{
    V_FilterArgsT *arguments = VdeApiExpandFilterArgs(arg.stringArg);
    V_ApiNotify(arg.notification, arg.objectId, reinterpret_cast<StringT>(arguments), arg.intArg);
    if (arguments)
        VdeApiDeallocateFilterArgs(arguments);
    V_ApiFree(arguments);
}

} // namespace

void velt::call_fd_func()
{
    UIntT now = transport_mask() | foreign_mask();
    if (!fd_func || now == old_svc_fds)
        return;
    // The watcher may install another while it is called; the new one is then told of all changes
    // first.
    V_FdFuncT watcher = fd_func;
    V_FdFuncT outer = std::exchange(notified, watcher);
    UIntT before = old_svc_fds;
    for (int fd = 0; fd < mask_bits; fd++)
        if ((before & ~now) & 1U << fd)
            watcher(fd, 0);
    for (int fd = 0; fd < mask_bits; fd++)
        if ((now & ~before) & 1U << fd)
            watcher(fd, 1);
    old_svc_fds = now;
    notified = outer;
}

V_FdFuncT V_ApiSetFdFunc(V_FdFuncT func)
{
    V_FdFuncT previous = fd_func;
    fd_func = func;
    // A watcher that installs itself while it is called is being told of the changes already.
    if (!func || func != notified)
        velt::call_fd_func();
    return previous;
}

IntT V_ApiService(UIntT *readMask)
{
    UIntT foreign;
    UIntT others;
    int ready;
    // A host in this process calls when it is asked, and wakes no wait.
    const bool in_process = velt_client && !velt::transport_made(velt_client);
    const bool served = in_process && clnt_control(velt_client, velt::serve_request, nullptr);
    do {
        const UIntT service = velt::transport_mask();
        const UIntT given = readMask ? *readMask : 0;
        foreign = foreign_mask();
        VA_SelectMask = service | foreign | given;
        others = (foreign | given) & ~service;
        ready = velt::transport_wait(&others, in_process ? 0 : wait_limit);
        if (ready <= 0 && !V_ApiVeltAlive())
            end_without_host();
    } while (ready == 0 && !in_process);

    VA_SelectMask = 0;
    if (ready > 0) {
        const UIntT called = others & foreign;
        VA_SelectMask = velt::transport_ready() | others;
        others &= ~foreign;
        velt::transport_dispatch();
        // A client with its own loop waits on descriptors, which no longer report calls that have
        // been read.
        velt::transport_dispatch_rest();
        for (int fd = 0; fd < mask_bits; fd++) {
            // A callback with its own loop may have served the descriptor meanwhile.
            pollfd again{fd, POLLIN, 0};
            if (called & 1U << fd && poll(&again, 1, 0) > 0)
                velt::foreign_services().serve(&again, 1);
        }
    }
    // A nested service loop has left its own result in VA_SelectMask.
    VA_SelectMask = others;
    if (readMask)
        *readMask = others;
    velt::call_fd_func();
    // The calls that the host sent before it ended the connection, such as its quit, have been
    // served.
    if (!VA_bailout && velt_client && velt::transport_ended(velt_client))
        end_without_host();
    return ready == 0 && served ? 1 : ready;
}

IntT V_ApiVeltAlive(void)
{
    return velt::session.hispid < 1 || velt::lives(velt::session.hispid, velt::session.host_start);
}

IntT V_ApiDoneCommand(void)
{
    if (!turn_over_needed)
        return -1;
    turn_over();
    return 0;
}

IntT V_ApiTakeControl(void)
{
    if (turn_over_needed)
        return -1;
    Vapivq_TakeControl();
    turn_over_needed = 1;
    return 0;
}

IntT V_ApiServiceModalCallbacks(void)
{
    IntT saved_turn = turn_over_needed;
    IntT saved_result = modalRetval;
    turn_over_needed = 0;
    modalRetval = 0;
    IntT level = callbacksDone++;
    // A callback may have ended the session; then no call of the host can end the wait.
    while (callbacksDone > level && velt_client)
        V_ApiService(nullptr);
    if (!velt_client)
        callbacksDone = level;
    IntT result = modalRetval;
    turn_over_needed = saved_turn;
    modalRetval = saved_result;
    return result;
}

void *vq_api_init_1(VqApiInitArgT *arg, svc_req *request)
{
    return handle(request, [=] { V_ApiInitialize(arg->initCode); });
}

void *vq_api_command_1(VqApiCommandArgT *arg, svc_req *request)
{
    return handle(request, [=] { V_ApiCommand(arg->command); });
}

void *vq_api_message_1(VqApiMessageArgT *arg, svc_req *request)
{
    return handle(request, [=] { V_ApiMessage(arg->message, arg->objectId1, arg->objectId2); });
}

void *vq_api_notify_1(VqApiNotifyArgT *arg, svc_req *request)
{
    return handle(request, [=] {
        if (arg->notification == filter_notification)
            translateFileToFile(*arg);
        else
            V_ApiNotify(arg->notification, arg->objectId, arg->stringArg, arg->intArg);
    });
}

void *vq_api_dialog_event_1(VqApiDialogEventArgT *arg, svc_req *request)
{
    return handle(request, [=] {
        if (arg->dialog != 0) {
            V_ApiDialogEvent(arg->dialog, arg->item, arg->detail);
        } else {
            callbacksDone--;
            modalRetval = arg->detail;
        }
    });
}

void *vq_api_quit_1(void *, svc_req *)
{
    VA_bailout = 1;
    return &VA_bailout;
}

void *vq4_api_notify_1(Vq4ApiNotifyArgT *, svc_req *)
{
    V_ApiErr("Velt process sent old-style notification");
    return nullptr;
}
