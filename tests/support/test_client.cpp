// A client whose behaviour a test commands: by the variables of the environment, of which VQTEST
// says what it does in its callbacks, and, with SESSION_LOG, by the messages that it gets. It tells
// of each callback by an alert or, with SESSION_LOG, in a line of that descriptor. With SOAK it
// makes as many calls as a command says, and waits for a dialog in each notification.

#include <rpc/rpc.h>
#include <netinet/in.h>
#include <poll.h>
#include <rpc/pmap_prot.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <sys/un.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "velt/api.h"
#include "velt/wire.h"

namespace
{

bool asked(const char *name)
{
    return std::getenv(name) != nullptr;
}

bool wanted(const char *what)
{
    const char *script = std::getenv("VQTEST");
    return script && std::strcmp(script, what) == 0;
}

[[gnu::format(printf, 1, 2)]] void log(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    if (const char *descriptor = std::getenv("SESSION_LOG"))
        vdprintf(std::atoi(descriptor), format, arguments);
    va_end(arguments);
}

[[gnu::format(printf, 1, 2)]] void tell(const char *format, ...)
{
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    asked("SESSION_LOG") ? log("%s\n", text) : (void)V_ApiAlert(text, 0);
}

UIntT watched;

void watch(IntT descriptor, IntT added)
{
    watched ^= 1U << descriptor;
    log("fd %s\n", added ? "added" : "removed");
}

bool_t nothing(XDR *, ...)
{
    return TRUE;
}

void give_way(IntT, IntT)
{
    log("gives way\n");
    V_ApiSetFdFunc(watch);
}

void obey(const std::string &order)
{
    if (order == "done") {
        IntT once = V_ApiDoneCommand();
        IntT twice = V_ApiDoneCommand();
        log("done %d %d\n", once, twice);
    } else if (order == "take") {
        log("take %d\n", V_ApiTakeControl());
    } else if (order == "service") {
        log("service %d\n", V_ApiService(nullptr));
    } else if (order == "mask") {
        log("mask of %d\n", __builtin_popcount(VA_SelectMask));
    } else if (order == "hold") {
        char byte;
        log("let go %zd\n", read(20, &byte, 1));
    } else if (order == "slow") {
        usleep(10'000);
    } else if (order == "serve") {
        // Behind the last descriptor of a mask there is another, on which nobody calls.
        svcudp_create(dup2(socket(AF_INET, SOCK_DGRAM, 0), 40));
        SVCXPRT *own = svcudp_create(dup2(socket(AF_INET, SOCK_DGRAM, 0), 31));
        svc_register(
            own, 0x20000300, 1,
            [](svc_req *request, SVCXPRT *transport) {
                log("own service %u\n", static_cast<UIntT>(request->rq_proc));
                svc_sendreply(transport, nothing, nullptr);
            },
            0);
        log("%d\n", own->xp_port);
    } else if (order == "modal") {
        log("modal %d\n", V_ApiModalDialog(7, 9));
    } else if (order == "bail") {
        V_ApiBailOut();
    } else if (order == "watch" || order == "give way") {
        const auto previous = V_ApiSetFdFunc(order == "watch" ? watch : give_way);
        log("previous %s\n", previous ? "some" : "none");
    }
}

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
        IntT none = 0;
        const timeval limit = {600, 0};
        const auto raw = [&](rpcproc_t number) {
            auto *body = reinterpret_cast<caddr_t>(&none);
            return clnt_call(velt_client, number, nothing, body, nothing, body, limit);
        };
        const int garbage = raw(1070);
        const int unknown = raw(4711);
        tell("%d %d", garbage, unknown);
    }
    if (wanted("endless call")) {
        int descriptor = -1;
        const int mark = -1;
        clnt_control(velt_client, CLGET_FD, reinterpret_cast<char *>(&descriptor));
        if (write(descriptor, &mark, sizeof mark) == sizeof mark)
            tell("not heard");
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

// The library waits for 22 seconds; here that takes 50 milliseconds, and the clock goes on as if it
// had been all of it. There is no timer to be had either, so that the wait must end by itself. The
// end of so many waits as SHORT_WAIT says is told.
static time_t skipped;
static int waits;

extern "C" int poll(pollfd *descriptors, nfds_t count, int limit)
{
    const timespec time{limit / 1000, limit % 1000 * 1'000'000L};
    const timespec shorter{0, 50'000'000};
    const bool is_long = limit == 22'000 && asked("SHORT_WAIT");
    const int ready = ppoll(descriptors, count,
                            is_long     ? &shorter
                            : limit < 0 ? nullptr
                                        : &time,
                            nullptr);
    if (is_long && ready == 0) {
        skipped += time.tv_sec;
        if (++waits == std::atoi(std::getenv("SHORT_WAIT")))
            log("waited\n");
    }
    return ready;
}

extern "C" int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    time->tv_sec += skipped;
    return result;
}

// A system call that fails where the environment has a variable.
static int unless(const char *variable, int error, auto... call) noexcept
{
    if (!asked(variable))
        return static_cast<int>(syscall(call...));
    errno = error;
    return -1;
}

extern "C" int timerfd_create(int clock, int flags) noexcept
{
    return unless("SHORT_WAIT", EMFILE, SYS_timerfd_create, clock, flags);
}

extern "C" int socket(int domain, int type, int protocol) noexcept
{
    return unless("NO_SOCKET", EMFILE, SYS_socket, domain, type, protocol);
}

extern "C" pid_t fork() noexcept
{
    return unless("NO_FORK", EAGAIN, SYS_fork);
}

// With SESSION_LOG the machine's port mapper is the test's, or none, and its name the test's.
extern "C" int connect(int descriptor, const sockaddr *address, socklen_t size)
{
    if (!asked("SESSION_LOG"))
        return static_cast<int>(syscall(SYS_connect, descriptor, address, size));
    const std::string mapper = asked("MACHINE_MAPPER") ? std::getenv("MACHINE_MAPPER") : "1";
    sockaddr_un local{AF_UNIX, ""};
    mapper.copy(local.sun_path + 1, mapper.size());
    sockaddr_in loopback;
    std::memcpy(&loopback, address, sizeof loopback);
    if (loopback.sin_port == htons(PMAPPORT))
        loopback.sin_port = htons(static_cast<in_port_t>(std::stoi(mapper)));
    const bool to_local = address->sa_family == AF_UNIX;
    return static_cast<int>(syscall(SYS_connect, descriptor,
                                    to_local ? static_cast<const void *>(&local) : &loopback,
                                    to_local ? sizeof local : size));
}

extern "C" int gethostname(char *name, size_t size) noexcept
{
    utsname machine;
    uname(&machine);
    const char *const real = asked("SESSION_LOG") ? "vm" : machine.nodename;
    std::snprintf(name, size, "%s", asked("MACHINE_NAME") ? std::getenv("MACHINE_NAME") : real);
    return 0;
}

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
    for (IntT i = 0; asked("SOAK") && i < command; i++)
        V_ApiGetInt(0, 0, 577);
    clnt_control(velt_client, CLSET_TIMEOUT, reinterpret_cast<char *>(&former));
    if (wanted("subscribe") && command != 0)
        V_ApiNotification(std::abs(command), command > 0);
    else if (wanted("subscribe"))
        V_ApiCustomDoc(0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    act();
}

void V_ApiNotify(IntT notification, V_ObjHandleT objectId, StringT stringArg, IntT intArg)
{
    if (notification == 75) {
        const auto *filter = reinterpret_cast<const V_FilterArgsT *>(stringArg);
        return tell("filter %u %s %s %d", objectId, filter->args[5], filter->extraArgs.val[0],
                    intArg);
    }
    tell("notify %d %u %s %d", notification, objectId, stringArg, intArg);
    if (asked("SOAK"))
        V_ApiModalDialog(7, 9);
}

void V_ApiMessage(StringT message, V_ObjHandleT objectId1, V_ObjHandleT objectId2)
{
    tell("message %s %u %u", message, objectId1, objectId2);
    if (asked("SESSION_LOG"))
        return obey(message);
    IntT length = static_cast<IntT>(std::strlen(message));
    api_vq_return_value_1(&length, velt_client);
    if (wanted("bail out when called"))
        V_ApiBailOut();
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

void V_ApiEmergency(void)
{
    log("emergency\n");
}

namespace
{

// Waits on a descriptor of its own besides the service's, and takes control when it is ready.
int own_loop(int own)
{
    if (V_ApiStartUp(watch))
        return 1;
    while (!VA_bailout) {
        UIntT mask = 1U << own;
        V_ApiService(&mask);
        char byte;
        if (mask == 1U << own && VA_SelectMask == mask && read(own, &byte, 1) == 1) {
            IntT none = V_ApiDoneCommand();
            IntT taken = V_ApiTakeControl();
            IntT twice = V_ApiTakeControl();
            IntT done = V_ApiDoneCommand();
            log("own %d %d %d %d\n", none, taken, twice, done);
        } else if (mask) {
            log("wrong mask %u\n", mask);
        }
    }
    V_ApiShutDown();
    V_ApiShutDown();
    log("ended\n");
    return 0;
}

// Waits by itself for the descriptors that it is told of.
int wait_loop()
{
    if (V_ApiStartUp(watch))
        return 1;
    while (!VA_bailout) {
        pollfd waits[32];
        nfds_t count = 0;
        for (int fd = 0; fd < 32; fd++)
            if (watched & 1U << fd)
                waits[count++] = {fd, POLLIN, 0};
        if (poll(waits, count, -1) > 0)
            V_ApiService(nullptr);
    }
    V_ApiShutDown();
    return 0;
}

int visit(const char *program)
{
    VA_TimeOut = {600, 0};
    V_ApiSetFdFunc(watch);
    const IntT result = V_ApiConnectToSession("visitor", std::getenv("SESSION_HOST"),
                                              static_cast<UIntT>(std::stoul(program)));
    log("connect %d %d %d\n", result, VA_errno, VA_TimeOut.seconds);
    if (result != 0)
        return 100 - result;
    while (!VA_bailout)
        V_ApiService(nullptr);
    V_ApiShutDown();
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    alarm(1200); // whatever goes wrong, no client stays
    if (wanted("exit at once"))
        return 9;
    if (wanted("never acknowledge"))
        for (;;)
            pause();
    if (const char *program = std::getenv("VQTEST_SESSION"))
        return visit(program);
    if (const char *own = std::getenv("OWN_LOOP"))
        return own_loop(std::atoi(own));
    if (asked("WAIT_LOOP"))
        return wait_loop();
    const IntT status = V_ApiRun(argc, argv);
    log("exit %d number %d timeout %d\n", status, VA_clientno, VA_TimeOut.seconds);
    if (wanted("crash at the end"))
        raise(SIGKILL);
    if (wanted("fail at the end"))
        _exit(9);
    return status;
}
