// A client with the faults that stand in the name that it is started under.

#include <rpc/rpc.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "velt/api.h"
#include "velt/wire.h"

namespace
{

enum : IntT { read_book = 1, show_dialog = 2, finish = 3 };
constexpr IntT dialog = 5;

bool has(const char *fault)
{
    return std::strstr(program_invocation_short_name, fault) != nullptr;
}

[[noreturn]] void wait_for_ever()
{
    for (;;)
        pause();
}

void limit_calls(long microseconds)
{
    timeval limit{microseconds / 1'000'000, microseconds % 1'000'000};
    clnt_control(velt_client, CLSET_TIMEOUT, reinterpret_cast<char *>(&limit));
}

UIntT served; // descriptors, as a mask
bool finished = false, used = false;

void watch(IntT descriptor, IntT)
{
    served ^= 1U << descriptor;
}

bool is_called()
{
    for (int fd = 0; fd < 32; fd++) {
        pollfd each{fd, POLLIN, 0};
        if (served & 1U << fd && poll(&each, 1, 0) > 0)
            return true;
    }
    return false;
}

bool user_cancels()
{
    if (!has("repeats-for-ever"))
        return V_ApiUserCancel() == 1;
    limit_calls(10'000);
    rpc_err error{};
    do {
        V_ApiUserCancel();
        clnt_geterr(velt_client, &error);
    } while (error.re_status == RPC_TIMEDOUT);
    limit_calls(600'000'000);
    return false;
}

// Leaves a process that no signal to its group reaches, and then does what it pleases.
[[noreturn]] void be_hostile()
{
    for (int signal = 1; signal < NSIG; signal++)
        std::signal(signal, SIG_IGN);
    if (fork() == 0) {
        setsid();
        wait_for_ever();
    }
    if (has("closes-everything"))
        close_range(0, ~0U, 0);
    else
        for (;;)
            V_ApiUserCancel();
    wait_for_ever();
}

void read_the_book()
{
    if (has("calls-for-ever") || has("closes-everything"))
        be_hostile();
    VA_errno = 0;
    if (has("is-impatient"))
        limit_calls(100'000);
    V_ApiGetId(0, 0, V_prop_active_book);
    limit_calls(600'000'000);
    if (has("serves-in-between") && is_called()) {
        V_ApiDoneCommand();
        V_ApiService(nullptr);
    }
    if (has("dies-refused") && VA_errno != 0 && VA_errno != V_error_no_answer)
        std::abort();
    if (has("dies-disconnected") && VA_errno == V_error_no_answer)
        std::abort();
    if (has("calls-without-control"))
        V_ApiDoneCommand();
    user_cancels();
    used = true;
    if (has("leaves-and-fails")) {
        V_ApiDisconnectFromSession();
        usleep(300'000); // longer than an end is waited for that was announced
        std::exit(3);
    }
    if (has("leaks-a-descriptor"))
        dup(STDERR_FILENO);
    if (has("hands-back-twice")) {
        V_ApiDoneCommand();
        IntT bailout = 0;
        Vapivq_TurnOverControl(&bailout);
    }
}

jmp_buf in_command;

void show_the_dialog()
{
    const V_ObjHandleT resource = V_ApiOpenResource(1, "Dialog");
    if (has("leaves-the-dialog") && setjmp(in_command) != 0)
        return;
    while (V_ApiModalDialog(dialog, resource) == V_status_cancelled && has("opens-another-dialog"))
        continue;
}

} // namespace

void V_ApiInitialize(IntT)
{
    if (has("dies-initialised"))
        std::abort();
    if (has("has-no-commands"))
        return;
    const V_ObjHandleT menu = V_ApiGetNamedObject(0, V_type_menu, "!BookContextMenu");
    V_ApiDefineAndAddCommand(read_book, menu, "Read", "Read", "");
    if (has("sound") || has("leaves-the-dialog") || has("opens-another-dialog"))
        V_ApiDefineAndAddCommand(show_dialog, menu, "Dialog", "Show Dialog", "");
    if (has("sound") || has("ignores-its-bail-out"))
        V_ApiDefineAndAddCommand(finish, menu, "Finish", "Finish", "");
    if (has("leaves-a-process") && fork() == 0)
        wait_for_ever();
}

void V_ApiCommand(IntT command)
{
    switch (command) {
    case read_book:
        return read_the_book();
    case show_dialog:
        return show_the_dialog();
    case finish:
        V_ApiBailOut();
        finished = true;
        if (has("ignores-its-bail-out")) {
            V_ApiDoneCommand();
            VA_bailout = 0;
        }
        return;
    }
    if (has("dies-of-the-unknown"))
        std::abort();
}

void V_ApiDialogEvent(IntT number, IntT, IntT)
{
    if (has("leaves-the-dialog") && number == dialog)
        longjmp(in_command, 1);
}

void V_ApiEmergency(void)
{
    int host = 0;
    std::sscanf(std::getenv("VQAPIX"), "%*d.%*d %*d.%*d %d", &host);
    // One that is about to end closes what it has open before it is seen as ended.
    constexpr unsigned exiting = 0x4;
    unsigned flags = exiting;
    if (FILE *file = std::fopen(("/proc/" + std::to_string(host) + "/stat").c_str(), "r")) {
        static_cast<void>(std::fscanf(file, "%*d %*s %*c %*d %*d %*d %*d %*d %u", &flags));
        std::fclose(file);
    }
    if (has("outlives-the-host") && flags & exiting)
        wait_for_ever();
}

int main()
{
    alarm(1200); // whatever goes wrong, no client stays
    const char *description = std::getenv("VQAPIX");
    char machine[100] = "";
    if (has("needs-an-address") &&
        (gethostname(machine, sizeof machine) != 0 || !gethostbyname(machine)))
        return 1;
    if (has("never-acknowledges"))
        wait_for_ever();
    int programs[5], number, name = 0;
    if (has("never-detaches") && description &&
        std::sscanf(description, "%d.%d %d.%d %d.%d.%n", programs, programs + 1, programs + 2,
                    programs + 3, programs + 4, &number, &name) == 6 &&
        number >= 0 && name > 0) {
        char other[300];
        std::snprintf(other, sizeof other, "%d.%d %d.%d %d.%d.%s", programs[0], programs[1],
                      programs[2], programs[3], programs[4], ~number, description + name);
        setenv("VQAPIX", other, 1);
    }
    if (const char *failure = V_ApiStartUp(watch)) {
        V_ApiErr(failure);
        V_ApiShutDown();
        return !has("hides-its-failure");
    }
    while (!VA_bailout || (has("ignores-quit") && !finished))
        V_ApiService(nullptr);
    if (has("stays-registered"))
        _exit(0);
    V_ApiShutDown();
    return has("exits-with-3") || (used && has("fails-when-used")) ? 3 : 0;
}
