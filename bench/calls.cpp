#include "bench/calls.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "apilib/unix/transport/transport.h"
#include "apilib/wire/routines.h"
#include "bench/compare.h"
#include "bench/processor.h"
#include "bench/service.h"
#include "bench/shapes.h"
#include "host/portmap/portmap.h"
#include "velt/api.h"

// This process acts as a client as well, so it defines the callbacks.
void V_ApiInitialize(IntT) {}

void V_ApiCommand(IntT) {}

namespace velt::bench
{
namespace
{

// Program numbers of the host in its own process, of the host that this process acts as, and of
// their clients.
constexpr rpcprog_t far_host = 0x20100000;
constexpr rpcprog_t far_client = far_host + 1;
constexpr rpcprog_t near_host = far_host + 2;
constexpr rpcprog_t near_client = far_host + 3;

constexpr timeval limit = {10, 0};
constexpr std::size_t calls_in_block = 200;

void require(bool done, const char *what)
{
    if (!done)
        throw std::runtime_error(what);
}

// A child process, which ends with this object. It shares this process's memory until it has
// started its program: copying that of a large process would be measured with every start.
class Process
{
public:
    explicit Process(std::vector<const char *> words, int output = STDOUT_FILENO)
    {
        words.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        const int error = posix_spawn(&id_, words[0], &actions, nullptr,
                                      const_cast<char **>(words.data()), environ);
        posix_spawn_file_actions_destroy(&actions);
        require(error == 0, "cannot start a process");
    }
    ~Process()
    {
        if (id_ > 0) {
            kill(id_, SIGKILL);
            waitpid(id_, nullptr, 0);
        }
    }
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    void wait_for_success()
    {
        int status = 0;
        require(waitpid(id_, &status, 0) == id_, "cannot wait for a process");
        id_ = -1;
        require(WIFEXITED(status) && WEXITSTATUS(status) == 0, "a process failed");
    }

private:
    pid_t id_ = -1;
};

// A client in another process; this process acts as its host.
class HostedClient
{
public:
    explicit HostedClient(const std::vector<const char *> &words = {VELT_BENCH_CLIENT})
        : process_(words)
    {
        serve_one(&AnsweredCalls::acknowledgements);
    }

    void connect()
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(mapper_find(address, near_client, 1, IPPROTO_TCP, limit));
        int socket = RPC_ANYSOCK;
        handle_.reset(clnttcp_create(&address, near_client, 1, &socket, 0, 0));
        require(handle_ != nullptr, "cannot connect to the client");
    }

    // Has the client make so many calls, and returns the seconds that each took.
    double make_calls(std::size_t count)
    {
        constexpr rpcproc_t command_procedure = 3;
        VqApiCommandArgT command = {static_cast<IntT>(count)};
        return timed(1,
                     [&](std::size_t) {
                         call(command_procedure, &command);
                         serve_one(&AnsweredCalls::hand_overs);
                     }) /
               static_cast<double>(count);
    }

    template <class Argument>
    void call(rpcproc_t procedure, Argument *argument)
    {
        require(clnt_call(handle_.get(), procedure, routine<Argument>(), argument, routine<void>(),
                          nullptr, limit) == RPC_SUCCESS,
                "the client does not answer");
    }

    void quit()
    {
        constexpr rpcproc_t quit_procedure = 1;
        call<void>(quit_procedure, nullptr);
        process_.wait_for_success();
    }

private:
    struct Destroy {
        void operator()(CLIENT *client) const { clnt_destroy(client); }
    };

    Process process_;
    std::unique_ptr<CLIENT, Destroy> handle_;
};

void describe_near_client()
{
    setenv("VQAPIX", description(near_client, near_host, getpid()).c_str(), 1);
}

void callbacks(benchmark::State &state, bool one_processor)
try {
    std::optional<OneProcessor> one;
    if (one_processor)
        one.emplace();
    describe_near_client();
    HostedClient client;
    client.connect();
    char text[] = "";
    VqApiNotifyArgT argument = {1, 2, text, 3};
    compare(
        state,
        [&] {
            return timed(calls_in_block, [&](std::size_t) {
                for (int call = 0; call < 2; call++)
                    client.call<void>(NULLPROC, nullptr);
            });
        },
        [&] {
            constexpr rpcproc_t notify_procedure = 7;
            return timed(calls_in_block, [&](std::size_t) {
                client.call(notify_procedure, &argument);
                serve_one(&AnsweredCalls::hand_overs);
            });
        });
    state.counters[counter::as_rate] = 1;
    state.counters[counter::goal] = 0.95;
    client.quit();
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

// The two clients share the numbers of their programs, so one runs after the other has ended.
void recorded_calls(benchmark::State &state)
{
    const auto time_of = [](const std::vector<const char *> &words) {
        describe_near_client();
        HostedClient client(words);
        client.connect();
        client.make_calls(1); // by then those who call each other know who they are
        const double seconds = client.make_calls(5 * calls_in_block);
        client.quit();
        return seconds;
    };
    compare(
        state, [&] { return time_of({VELT_BENCH_CLIENT}); },
        [&] {
            return time_of({VELT_BENCH_VQRECORD, "-o", "/dev/null", VELT_BENCH_CLIENT});
        });
}

double start_true()
{
    return timed(1, [](std::size_t) { Process({"/bin/true"}).wait_for_success(); });
}

void start_up(benchmark::State &state, const char *program)
{
    describe_near_client();
    compare(state, start_true, [program] {
        std::unique_ptr<HostedClient> client;
        const double seconds = timed(
            1, [&](std::size_t) { client = std::make_unique<HostedClient>(std::vector{program}); });
        client->connect();
        client->quit();
        return seconds;
    });
    state.counters[counter::goal] = 1.6;
}

// The client reports its first callback on the output that it shares with its host.
void first_callback(benchmark::State &state)
try {
    setenv("VELT_BENCH_TELL", "", 1);
    compare(state, start_true, [] {
        int ends[2];
        require(pipe2(ends, O_CLOEXEC) == 0, "no pipe");
        std::unique_ptr<Process> host;
        const double seconds = timed(1, [&](std::size_t) {
            host = std::make_unique<Process>(std::vector{VELT_BENCH_VQHOST, "run", VELT_BENCH_BOOK,
                                                         "--port-mapper", "own", "--client",
                                                         VELT_BENCH_CLIENT, "quit"},
                                             ends[1]);
            close(ends[1]);
            char byte;
            require(read(ends[0], &byte, 1) == 1, "no callback");
        });
        host->wait_for_success();
        close(ends[0]);
        return seconds;
    });
    unsetenv("VELT_BENCH_TELL");
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

} // namespace

std::unique_ptr<ServiceProcess> register_calls()
{
    VA_TimeOut.seconds = static_cast<IntT>(limit.tv_sec);
    // The child is forked before this process starts a service, whose socket it would inherit.
    auto host = std::make_unique<ServiceProcess>([](const std::function<void(in_port_t)> &tell) {
        host::SessionPortMapper mapper;
        mapper.set({far_host, 1, IPPROTO_TCP, open_service(far_host)});
        tell(static_cast<in_port_t>(std::stoi(mapper.name())));
        serve_forever();
    });
    setenv("VQPMAP", std::to_string(ntohs(host->address().sin_port)).c_str(), 1);
    require(mapper_set(near_host, 1, IPPROTO_TCP, open_service(near_host)),
            "cannot register with the port mapper");
    register_shapes(description(far_client, far_host, host->id()));
    benchmark::RegisterBenchmark("callback with hand-over / 2 bare calls", callbacks, false)
        ->Iterations(51);
    benchmark::RegisterBenchmark("callback / 2 bare calls, one CPU", callbacks, true)
        ->Iterations(51);
    benchmark::RegisterBenchmark("call through vqrecord / without it", recorded_calls)
        ->Iterations(21);
    benchmark::RegisterBenchmark("start of a client / of \"true\"", start_up, VELT_BENCH_CLIENT)
        ->Iterations(101);
    benchmark::RegisterBenchmark("the same, shared library / \"true\"", start_up,
                                 VELT_BENCH_CLIENT_SHARED)
        ->Iterations(101);
    benchmark::RegisterBenchmark("vqhost to first callback / \"true\"", first_callback)
        ->Iterations(51);
    return host;
}

} // namespace velt::bench
