// A client whose behaviour a test commands: by the environment at start-up, and by the messages
// that it gets later. What happens to it is written, a line each, to descriptor SESSION_LOG. With
// SOAK it makes as many calls as a command says, and waits for a dialog in each notification.

#include "velt/api.h"
#include "velt/wire.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <sys/un.h>
#include <unistd.h>

#include <rpc/rpc.h>

#include <rpc/pmap_prot.h>

namespace
{

bool asked(const char *name)
{
    return std::getenv(name) != nullptr;
}

[[gnu::format(printf, 1, 2)]] void log(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    if (const char *descriptor = std::getenv("SESSION_LOG"))
        vdprintf(std::atoi(descriptor), format, arguments);
    va_end(arguments);
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

// The machine's port mapper is the test's, or none; its name is what the test says.

extern "C" int connect(int descriptor, const sockaddr *address, socklen_t size)
{
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
    std::snprintf(name, size, "%s", asked("MACHINE_NAME") ? std::getenv("MACHINE_NAME") : "vm");
    return 0;
}

void V_ApiInitialize(IntT code)
{
    log("init %d\n", code);
}

void V_ApiCommand(IntT command)
{
    log("command %d\n", command);
    for (IntT i = 0; asked("SOAK") && i < command; i++)
        V_ApiGetInt(0, 0, 577);
}

void V_ApiNotify(IntT notification, V_ObjHandleT object, StringT text, IntT number)
{
    if (notification != 75) {
        log("notify %d %u \"%s\" %d\n", notification, object, text, number);
        if (asked("SOAK"))
            V_ApiModalDialog(7, 9);
        return;
    }
    const auto *filter = reinterpret_cast<const V_FilterArgsT *>(text);
    std::string held;
    for (StringT argument : filter->args)
        held += argument ? std::string(argument) + "," : "-,";
    for (UIntT i = 0; i < filter->extraArgs.len; i++)
        held += std::string("+") + filter->extraArgs.val[i];
    log("filter %u %s %d\n", object, held.c_str(), number);
}

void V_ApiDialogEvent(IntT dialog, IntT item, IntT detail)
{
    log("dialog %d %d %d\n", dialog, item, detail);
}

void V_ApiMessage(StringT message, V_ObjHandleT first, V_ObjHandleT second)
{
    std::string order = message;
    log("message \"%s\" %u %u\n", message, first, second);
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
    } else if (order == "give way") {
        log("previous %s\n", V_ApiSetFdFunc(give_way) ? "some" : "none");
    } else if (order == "watch") {
        log("previous %s\n", V_ApiSetFdFunc(watch) ? "some" : "none");
    }
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
    if (const char *failure = V_ApiStartUp(watch)) {
        V_ApiErr(failure);
        return 1;
    }
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

int connect(const char *host)
{
    VA_TimeOut = {600, 0};
    V_ApiSetFdFunc(watch);
    IntT result = V_ApiConnectToSession("caller", host, 0x20000200);
    log("connect %d %d %d\n", result, VA_errno, VA_TimeOut.seconds);
    while (result == 0 && !VA_bailout)
        V_ApiService(nullptr);
    V_ApiShutDown();
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    alarm(1200); // whatever goes wrong, no client stays
    int status = 0;
    if (const char *own = std::getenv("OWN_LOOP"))
        status = own_loop(std::atoi(own));
    else if (asked("WAIT_LOOP"))
        status = wait_loop();
    else if (const char *host = std::getenv("CONNECT"))
        status = connect(host);
    else
        status = V_ApiRun(argc, argv);
    log("exit %d number %d timeout %d\n", status, VA_clientno, VA_TimeOut.seconds);
    return status;
}
