// A client that does in its callbacks what the variable VQTEST says, and tells the host of each
// callback by an alert.

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

#include "velt/api.h"
#include "velt/wire.h"

namespace
{

bool wanted(const char *what)
{
    const char *script = std::getenv("VQTEST");
    return script && std::strcmp(script, what) == 0;
}

[[gnu::format(printf, 1, 2)]] void tell(const char *form, ...)
{
    char text[256];
    va_list values;
    va_start(values, form);
    std::vsnprintf(text, sizeof text, form, values);
    va_end(values);
    V_ApiAlert(text, 0);
}

// Shows a modal dialog, and tells its result.
void show_dialog(IntT number, const char *name)
{
    const V_ObjHandleT dialog = V_ApiOpenResource(1, name);
    const V_ObjHandleT item = V_ApiDialogItemId(dialog, 4);
    V_ApiSetInt(0, item, 4711, number);
    const IntT result = V_ApiModalDialog(number, dialog);
    tell("result %d of %d", result, V_ApiGetInt(0, V_ApiDialogItemId(dialog, 4), 4711));
}

void ask_all()
{
    MetricT length = 0;
    IntT item = -1;
    StringT file = nullptr, items[] = {StringT("first"), StringT("second")};
    const V_StringsT list = {2, items};
    const IntT well = V_ApiPromptMetric(&length, "How long?", "12 pt", 0);
    V_ApiFileScrollBox(&file, "Which file?", "");
    V_ApiScrollBox(&item, "Which item?", &list, 0);
    tell("%d %d %s %d", well, length, file ? file : "none", item);
    V_ApiDeallocateString(&file);
}

bool_t nothing_coded(XDR *, ...)
{
    return TRUE;
}

void act()
{
    if (wanted("exit"))
        _exit(3);
    if (wanted("crash"))
        raise(SIGKILL);
    if (wanted("hang"))
        for (;;)
            pause();
    if (wanted("bail out"))
        V_ApiBailOut();
    if (wanted("done twice")) {
        V_ApiDoneCommand();
        IntT bailout = 0;
        Vapivq_TurnOverControl(&bailout);
    }
    if (wanted("call after done")) {
        V_ApiDoneCommand();
        tell("without control");
        tell("again");
    }
    if (wanted("take twice"))
        Vapivq_TakeControl();
    if (wanted("call client")) {
        IntT value = V_ApiCallClient("callee", "hello");
        tell("answer %d", value);
        VA_errno = 0;
        V_ApiCallClient("nobody", "hello");
        tell("errno %d", VA_errno);
    }
    if (wanted("bad calls")) {
        IntT nothing = 0;
        const timeval limit = {600, 0};
        const auto raw = [&](rpcproc_t number) {
            auto *body = reinterpret_cast<caddr_t>(&nothing);
            return clnt_call(velt_client, number, nothing_coded, body, nothing_coded, body, limit);
        };
        const int garbage = raw(1070);
        const int unknown = raw(4711);
        tell("%d %d", garbage, unknown);
    }
    if (wanted("modal")) {
        ApiVqDoDialogArgT dialog = {5, 6};
        api_vq_modal_dialog_1(&dialog, velt_client);
        tell("result %d", V_ApiServiceModalCallbacks());
    }
    if (wanted("dialogs"))
        show_dialog(5, "Outer");
    if (wanted("questions"))
        ask_all();
    if (wanted("sleep")) {
        V_ApiSleep(-1);
        V_ApiUSleep(1);
        V_ApiSleep(86400);
        tell("slept");
    }
    if (wanted("die asleep")) {
        alarm(1);
        V_ApiSleep(86400);
    }
    if (wanted("cancel"))
        tell("%d %d", V_ApiUserCancel(), V_ApiUserCancel());
    if (const char *command = std::getenv("VQTEST_SHELL"))
        tell("shell %d", V_ApiSystemShell(command));
    if (wanted("run")) {
        StringT seconds = StringT("86400");
        const V_StringsT list = {1, &seconds};
        tell("%d", V_ApiForkAndExec("sleep", &list));
    }
    if (wanted("alert for ever"))
        for (;;)
            tell("again");
    if (wanted("lose calls") || wanted("lose service")) {
        int calls = -1;
        clnt_control(velt_client, CLGET_FD, reinterpret_cast<char *>(&calls));
        for (int fd = STDERR_FILENO + 1; fd < 32; fd++)
            if ((fd == calls) == wanted("lose calls"))
                shutdown(fd, SHUT_RDWR);
        pause();
    }
    if (wanted("disconnect"))
        V_ApiDisconnectFromSession();
}

} // namespace

void V_ApiInitialize(IntT initCode)
{
    tell("init %d", initCode);
    act();
}

void V_ApiCommand(IntT command)
{
    timeval limit = {0, 100'000}, former;
    clnt_control(velt_client, CLGET_TIMEOUT, reinterpret_cast<char *>(&former));
    if (wanted("give up waiting") && command == 1)
        clnt_control(velt_client, CLSET_TIMEOUT, reinterpret_cast<char *>(&limit));
    tell("command %d", command);
    clnt_control(velt_client, CLSET_TIMEOUT, reinterpret_cast<char *>(&former));
    if (wanted("subscribe") && command != 0)
        V_ApiNotification(std::abs(command), command > 0);
    else if (wanted("subscribe"))
        V_ApiCustomDoc(0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    act();
}

void V_ApiNotify(IntT notification, V_ObjHandleT objectId, StringT stringArg, IntT intArg)
{
    tell("notify %d %u %s %d", notification, objectId, stringArg, intArg);
}

void V_ApiMessage(StringT message, V_ObjHandleT objectId1, V_ObjHandleT objectId2)
{
    tell("message %s %u %u", message, objectId1, objectId2);
    IntT length = static_cast<IntT>(std::strlen(message));
    api_vq_return_value_1(&length, velt_client);
    if (wanted("dialog in message"))
        show_dialog(7, "Asked");
    if (wanted("wait for cancel")) {
        V_Progress(50);
        while (V_ApiUserCancel() == 0)
            V_ApiUSleep(1000);
        tell("cancelled");
    }
}

void V_ApiDialogEvent(IntT dialog, IntT item, IntT detail)
{
    tell("dialog event %d %d %d", dialog, item, detail);
    if (wanted("dialogs") && item == 2)
        show_dialog(dialog + 1, "Inner");
}

int main(int argc, char **argv)
{
    if (wanted("exit at once"))
        return 9;
    if (wanted("never acknowledge"))
        for (;;)
            pause();
    if (const char *program = std::getenv("VQTEST_SESSION")) {
        IntT result = V_ApiConnectToSession("visitor", nullptr,
                                            static_cast<UIntT>(std::strtoul(program, nullptr, 10)));
        if (result != 0)
            return 100 - result;
        while (!VA_bailout)
            V_ApiService(nullptr);
        V_ApiShutDown();
        return 0;
    }
    const IntT status = V_ApiRun(argc, argv);
    if (wanted("crash at the end"))
        raise(SIGKILL);
    if (wanted("fail at the end"))
        _exit(9);
    return status;
}
