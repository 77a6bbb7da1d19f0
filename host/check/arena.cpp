#include "host/check/arena.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <optional>
#include <set>
#include <system_error>

#include "common/descriptor.h"
#include "common/interrupts.h"
#include "common/printable.h"
#include "host/check/processes.h"
#include "host/session/process.h"

namespace velt::host
{
namespace
{

using Clock = std::chrono::steady_clock;

// So much of the end of what is printed is kept.
constexpr std::size_t most_output = 2000;

struct Pipe {
    Descriptor in, out;
};

Pipe make_pipe()
{
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// Reads what is there. Returns false at the end.
bool read_some(int from, std::string &into)
{
    std::array<char, 4096> bytes;
    const ssize_t got = read(from, bytes.data(), bytes.size());
    if (got > 0)
        into.append(bytes.data(), static_cast<std::size_t>(got));
    return got > 0 || (got < 0 && (errno == EINTR || errno == EAGAIN));
}

void write_all(int to, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t put = write(to, text.data(), text.size());
        if (put < 0 && errno != EINTR)
            return;
        text.remove_prefix(put < 0 ? 0 : static_cast<std::size_t>(put));
    }
}

// A verdict on its way from one process to the other; no part of it holds the character 0.
std::string packed(const Verdict &verdict)
{
    return char{verdict.kind} + verdict.seen + '\0' + verdict.expected + '\0' + verdict.advice +
           '\0';
}

std::optional<Verdict> unpacked(const std::string &text)
{
    if (text.empty())
        return {};
    Verdict verdict{.kind = Verdict::Kind{text[0]}};
    std::size_t begin = 1;
    for (std::string *part : {&verdict.seen, &verdict.expected, &verdict.advice}) {
        const auto end = text.find('\0', begin);
        if (end == text.npos)
            return {};
        *part = text.substr(begin, end - begin);
        begin = end + 1;
    }
    return begin == text.size() ? std::optional(verdict) : std::nullopt;
}

Verdict judge(const std::function<void()> &point)
try {
    point();
    return {.kind = Verdict::good};
} catch (const Violation &violation) {
    return {.kind = Verdict::bad,
            .seen = violation.seen,
            .expected = violation.expected,
            .advice = violation.advice};
} catch (const Skipped &skipped) {
    return {.kind = Verdict::skipped, .seen = skipped.reason};
} catch (const std::exception &error) {
    return {.kind = Verdict::impossible, .seen = reason_of(error)};
}

// What fails here is nothing for which this process does what its parent would.
[[noreturn]] void judge_and_exit(const std::function<void()> &point, int report) noexcept
try {
    write_all(report, packed(judge(point)));
    _exit(0);
} catch (...) {
    _exit(1);
}

// Kills all that comes from this process and is not spared, and waits for it.
void end_all(const std::set<pid_t> &spared)
{
    const auto until = Clock::now() + kill_limit;
    for (;;) {
        const auto left = descendants(getpid(), spared);
        for (const Relative &each : left) {
            kill(each.id, SIGKILL);
            waitpid(each.id, nullptr, WNOHANG);
        }
        if (left.empty() || Clock::now() >= until)
            return;
        poll(nullptr, 0, 1);
    }
}

} // namespace

Verdict in_arena(const std::function<void()> &point, std::chrono::milliseconds limit)
{
    // What the arena leaves behind comes to this process when the arena has ended.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    // Whoever ignores this signal does not learn how its children end.
    std::signal(SIGCHLD, SIG_DFL);
    std::set<pid_t> spared;
    for (const Relative &each : descendants(getpid()))
        spared.insert(each.id);
    Pipe report = make_pipe(), output = make_pipe();
    const pid_t supervisor = getpid(), arena = fork();
    if (arena < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (arena == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != supervisor)
            _exit(1);
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        dup2(output.out.get(), STDOUT_FILENO);
        dup2(output.out.get(), STDERR_FILENO);
        judge_and_exit(point, report.out.get());
    }
    report.out = Descriptor();
    output.out = Descriptor();
    fcntl(output.in.get(), F_SETFL, O_NONBLOCK);

    std::string told;
    Verdict verdict;
    bool open = true;
    const auto until = Clock::now() + limit;
    while (open && interrupts.signal == 0 && Clock::now() < until) {
        std::array<pollfd, 2> waits{pollfd{report.in.get(), POLLIN, 0},
                                    pollfd{output.in.get(), POLLIN, 0}};
        poll(waits.data(), waits.size(), interrupt_interval);
        if (waits[1].revents & POLLIN)
            read_some(output.in.get(), verdict.output);
        if (verdict.output.size() > 2 * most_output)
            verdict.output.erase(0, verdict.output.size() - most_output);
        if (waits[0].revents)
            open = read_some(report.in.get(), told);
    }
    const bool late = open;
    kill(arena, SIGKILL);
    int status = 0;
    while (waitpid(arena, &status, 0) < 0 && errno == EINTR)
        ;
    end_all(spared);
    if (interrupts.signal)
        throw Interrupted();
    // No more than a pipe holds can have come since.
    for (std::size_t before = 0; before < verdict.output.size() + 1;) {
        before = verdict.output.size() + 1;
        read_some(output.in.get(), verdict.output);
    }
    if (verdict.output.size() > most_output)
        verdict.output.erase(0, verdict.output.size() - most_output);
    std::erase(verdict.output, '\r');
    verdict.output = printable_lines(verdict.output);

    if (std::optional<Verdict> whole = unpacked(told); whole && !late) {
        whole->output = std::move(verdict.output);
        verdict = std::move(*whole);
        if (verdict.kind == Verdict::impossible)
            fail(verdict.seen);
    } else if (late) {
        verdict.seen = "all of it took longer than " + std::to_string(limit.count()) + " ms";
    } else {
        verdict.seen = "the host, that the client was run on, " + describe_exit(status);
    }
    return verdict;
}

} // namespace velt::host
