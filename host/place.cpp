#include "host/place.h"

#include "host/descriptor.h"

#include <rpc/rpc.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <rpc/pmap_prot.h>
#include <rpc/rpcb_prot.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <thread>

namespace velt::host
{
namespace
{

using std::chrono::milliseconds;

constexpr timeval answer_limit{1, 0};
constexpr timeval resend_interval{0, 200'000};
constexpr auto start_limit = std::chrono::seconds(5);

constexpr const char *allow_namespaces =
    "Allow user namespaces to ordinary users (sysctl kernel.unprivileged_userns_clone=1 and "
    "kernel.apparmor_restrict_unprivileged_userns=0 where the kernel has them, "
    "user.max_user_namespaces above 0), or install and start rpcbind.";
constexpr const char *use_rpcbind =
    "Install and start rpcbind, so that no private place is needed.";

[[noreturn]] void fail(const std::string &step, const std::string &reason,
                       const std::string &advice)
{
    throw PlaceError("no private place: " + step + ": " + reason + ". " + advice);
}

[[noreturn]] void fail(const std::string &step, const char *advice)
{
    fail(step, std::generic_category().message(errno), advice);
}

void write_file(const char *path, const std::string &text)
{
    const Descriptor file(open(path, O_WRONLY | O_CLOEXEC));
    if (!file || write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        fail(std::string("write ") + path, allow_namespaces);
}

void require_one_thread()
{
    std::error_code error;
    const std::filesystem::directory_iterator threads("/proc/self/task", error);
    if (!error && std::distance(begin(threads), end(threads)) > 1)
        fail("enter namespaces", "this process has several threads",
             "Enter the place before any thread is started.");
}

void enter_namespaces()
{
    constexpr int wanted = CLONE_NEWNET | CLONE_NEWNS | CLONE_NEWUTS;
    // Root keeps all its rights and all users when it can do without a user namespace.
    if (unshare(wanted) == 0)
        return;
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    if (errno != EPERM || unshare(CLONE_NEWUSER | wanted) != 0)
        fail("enter namespaces", allow_namespaces);
    write_file("/proc/self/setgroups", "deny");
    write_file("/proc/self/uid_map", user + " " + user + " 1");
    write_file("/proc/self/gid_map", group + " " + group + " 1");
}

// The directory of the local socket, empty and not shared with the rest of the machine.
void cover_run()
{
    const auto directory = std::filesystem::path(_PATH_RPCBINDSOCK).parent_path().string();
    if (mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) != 0)
        fail("make mounts private", allow_namespaces);
    if (mount("tmpfs", directory.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") != 0)
        fail("mount a tmpfs on " + directory, allow_namespaces);
}

void raise_loopback()
{
    const Descriptor any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    if (!any || ioctl(any.get(), SIOCGIFFLAGS, &request) != 0)
        fail("read the loopback interface's flags", use_rpcbind);
    request.ifr_flags |= IFF_UP;
    if (ioctl(any.get(), SIOCSIFFLAGS, &request) != 0)
        fail("raise the loopback interface", use_rpcbind);
}

// rpcbind changes its user, and with that forgets the signal that its parent's death would send:
// a keeper stands between.
void keep_rpcbind(const std::string &program)
{
    sigset_t events;
    sigemptyset(&events);
    sigaddset(&events, SIGTERM);
    sigaddset(&events, SIGCHLD);
    sigprocmask(SIG_BLOCK, &events, nullptr);
    const pid_t child = fork();
    if (child == 0) {
        sigprocmask(SIG_UNBLOCK, &events, nullptr);
        execl(program.c_str(), program.c_str(), "-f", nullptr);
        _exit(127);
    }
    int event = 0;
    sigwait(&events, &event);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

HelperProcess start_rpcbind(const std::string &program)
{
    if (access(program.c_str(), X_OK) != 0)
        fail("start " + program, "Install the package rpcbind.");
    if (geteuid() != 0)
        fail("start " + program, "it changes its user, for which it needs root",
             "Run as root, or use the private port mapper.");
    const auto body = [&] { keep_rpcbind(program); };
    return HelperProcess({}, body, SIGTERM);
}

HelperProcess start_own_mapper(milliseconds patience)
{
    try {
        return start_port_mapper({_PATH_RPCBINDSOCK, patience});
    } catch (const std::system_error &error) {
        fail("start the port mapper", error.what(), use_rpcbind);
    }
}

void wait_until_answered(HelperProcess &mapper)
{
    const auto give_up = std::chrono::steady_clock::now() + start_limit;
    while (!rpcbind_answers()) {
        if (!mapper.running())
            fail("start the port mapper", "it ended at once", use_rpcbind);
        if (std::chrono::steady_clock::now() > give_up)
            fail("start the port mapper", "it does not answer", use_rpcbind);
        std::this_thread::sleep_for(milliseconds(2));
    }
}

sockaddr_in mapper_address()
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(PMAPPORT);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

struct DestroyClient {
    void operator()(CLIENT *client) const { clnt_destroy(client); }
};
using Client = std::unique_ptr<CLIENT, DestroyClient>;

bool_t nothing(XDR *, ...)
{
    return TRUE;
}

clnt_stat call_mapper(const Client &client, rpcproc_t procedure, xdrproc_t decode, void *result)
{
    return clnt_call(client.get(), procedure, nothing, nullptr, decode, result, answer_limit);
}

// Reads the chain of optional entries itself: the library's routine for it reads what it has freed.
bool_t decode_programs(XDR *in, std::vector<RegisteredProgram> *programs)
{
    if (in->x_op == XDR_FREE)
        return TRUE;
    for (;;) {
        bool_t more = FALSE;
        pmap map{};
        if (!xdr_bool(in, &more) || (more && !xdr_pmap(in, &map)))
            return FALSE;
        if (!more)
            return TRUE;
        if (map.pm_prog != PMAPPROG)
            programs->push_back({map.pm_prog, map.pm_vers, map.pm_prot, map.pm_port});
    }
}

} // namespace

void check_reachable(const std::string &path)
{
    std::error_code error;
    const auto absolute = std::filesystem::weakly_canonical(path, error).string();
    if (absolute.starts_with("/run/"))
        throw PlaceError(path + " lies below /run, which a private place hides: take another "
                                "place, or use --system with rpcbind running");
}

bool rpcbind_answers()
{
    // Ports are looked up over UDP, so this is the way that has to work.
    sockaddr_in address = mapper_address();
    int fd = RPC_ANYSOCK;
    const Client client(clntudp_create(&address, PMAPPROG, PMAPVERS, resend_interval, &fd));
    return client && call_mapper(client, PMAPPROC_NULL, nothing, nullptr) == RPC_SUCCESS;
}

HelperProcess enter_private_place(const PlaceOptions &options)
{
    require_one_thread();
    enter_namespaces();
    cover_run();
    raise_loopback();
    if (!options.host_name.empty() &&
        sethostname(options.host_name.data(), options.host_name.size()) != 0)
        fail("set the host name", use_rpcbind);
    HelperProcess mapper = options.rpcbind_program.empty() ? start_own_mapper(options.patience)
                                                           : start_rpcbind(options.rpcbind_program);
    wait_until_answered(mapper);
    return mapper;
}

std::vector<RegisteredProgram> registered_programs()
{
    const auto fail_to_list = [](const char *reason) {
        throw PlaceError(std::string("cannot list the registered programs: ") + reason +
                         ". Start rpcbind.");
    };
    sockaddr_in address = mapper_address();
    // Connected here, within a time limit, which the library does not set.
    const Descriptor fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd || setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &answer_limit, sizeof answer_limit) ||
        connect(fd.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
        fail_to_list(std::strerror(errno));
    int socket_fd = fd.get();
    const Client client(clnttcp_create(&address, PMAPPROG, PMAPVERS, &socket_fd, 0, 0));
    if (!client)
        fail_to_list("no connection to the port mapper");

    std::vector<RegisteredProgram> programs;
    const clnt_stat status =
        call_mapper(client, PMAPPROC_DUMP, reinterpret_cast<xdrproc_t>(decode_programs), &programs);
    if (status != RPC_SUCCESS)
        fail_to_list(clnt_sperrno(status));
    return programs;
}

} // namespace velt::host
