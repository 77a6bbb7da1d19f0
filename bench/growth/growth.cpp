// Measures how costs grow with the size of what is worked on, and prints the points of each curve
// as a block for gnuplot: `# NAME`, then lines of a size and a value.

#include <malloc.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "apilib/unix/transport/transport.h"
#include "bench/books.h"
#include "bench/compare.h"
#include "bench/echo.h"
#include "bench/foreign.h"
#include "host/files/book.h"
#include "host/session/host.h"
#include "velt/vde/encodings.h"
#include "velt/vde/memory.h"
#include "velt/vde/unicode.h"

namespace velt::bench
{
namespace
{

// What is fast is repeated for so many seconds; the value is the median of a few such times.
constexpr double block = 0.02;
constexpr int blocks = 5;

double time_of(const std::function<void()> &action)
{
    const auto once = [&](std::size_t) { action(); };
    const double first = timed(1, once);
    const auto count = static_cast<std::size_t>(block / first) + 1;
    std::vector<double> times;
    for (int i = 0; i < blocks && (i == 0 || first < 1); i++)
        times.push_back(timed(count, once));
    return median(times);
}

std::size_t allocated()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

std::size_t peak_of(pid_t process)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;) {
        std::size_t kilobytes = 0;
        if (word == "VmHWM:" && status >> kilobytes)
            return kilobytes * 1024;
    }
    throw std::runtime_error("the memory of a process is not told");
}

// Forgets what this process has taken at most, and gives back what it needs no more.
void forget_peak()
{
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << 5;
}

class Curve
{
public:
    explicit Curve(std::string name) : name_(std::move(name)) { std::cerr << name_ << '\n'; }
    Curve(const Curve &) = delete;
    Curve &operator=(const Curve &) = delete;
    ~Curve()
    {
        std::printf("# %s\n", name_.c_str());
        for (const auto &[size, value] : points_)
            std::printf("%zu %.4g\n", size, value);
        std::printf("\n\n");
        std::fflush(stdout);
    }
    void add(std::size_t size, double value) { points_.emplace_back(size, value); }

private:
    std::string name_;
    std::vector<std::pair<std::size_t, double>> points_;
};

// The service keeps a call whole while it answers it, and its caller the answer while it takes
// that.
void calls()
{
    struct Curves {
        Echo::Transport transport;
        Curve time, service, caller;
        explicit Curves(Echo::Transport which, const std::string &whose)
            : transport(which), time("call, " + whose), service("memory of a service, " + whose),
              caller("memory of a caller, " + whose)
        {
        }
    };
    Curves ours(Echo::ours, "ours"), theirs(Echo::rpc_library, "RPC library");
    for (const std::size_t size : {0, 1, 8, 64, 1024, 8192, 65536, 524288, 2097152, 8388608 - 64}) {
        const std::string text(size, 'a');
        for (Curves *curves : {&ours, &theirs}) {
            const Echo echo(curves->transport);
            forget_peak();
            curves->time.add(size, time_of([&] { echo.send(text); }));
            curves->service.add(size, static_cast<double>(peak_of(echo.service())));
            curves->caller.add(size, static_cast<double>(peak_of(getpid())));
        }
    }
}

// A client that asks for the names of so many objects, or a host for those that a client sets.
void lists()
{
    Curve time("string of a list there and back"), caller("memory of a client with a list"),
        service("memory of a service with a list");
    for (std::size_t count = 10; count <= 1'000'000; count *= 10) {
        std::string name = "Chapter 1";
        std::vector<StringT> names(count, name.data());
        const Echo echo(Echo::ours);
        forget_peak();
        time.add(count, time_of([&] {
                            echo.send(V_StringsT{static_cast<UIntT>(count), names.data()});
                        }) / static_cast<double>(count));
        caller.add(count, static_cast<double>(peak_of(getpid())));
        service.add(count, static_cast<double>(peak_of(echo.service())));
    }
}

constexpr std::size_t text_sizes[] = {1,     4,     16,     64,      256,     1024,     4096,
                                      16384, 65536, 262144, 1048576, 4194304, 16777216, 64000000};

// Of a process that has a text and its conversion.
void conversion_memory()
{
    Curve memory("memory of a client that converts");
    for (const std::size_t size : text_sizes) {
        const std::string text(size, 'a');
        forget_peak();
        V_Free(V_StrConvertEnc(text.c_str(), VdeEncShiftJis, VdeEncUtf8));
        memory.add(size, static_cast<double>(peak_of(getpid())));
    }
}

void conversions()
{
    Curve ours("conversion, ours"), iconv_curve("conversion, iconv"), icu_curve("conversion, ICU");
    // "Nihongo no bunsho." in Shift-JIS, in two bytes each.
    constexpr std::string_view sentence =
        "\x93\xFA\x96\x7B\x8C\xEA\x82\xCC\x95\xB6\x8F\xCD\x81\x42";
    constexpr std::size_t largest = text_sizes[std::size(text_sizes) - 1];
    Iconv iconv("SHIFT_JIS", "UTF-8", 2 * largest);
    Icu icu("Shift_JIS", "UTF-8", 2 * largest);
    std::string all;
    while (all.size() < largest)
        all += sentence;
    for (const std::size_t size : text_sizes) {
        const std::string text = size == 1 ? "a" : all.substr(0, size);
        const auto rate = [&](const std::function<void()> &convert) {
            return static_cast<double>(size) / time_of(convert);
        };
        ours.add(size,
                 rate([&] { V_Free(V_StrConvertEnc(text.c_str(), VdeEncShiftJis, VdeEncUtf8)); }));
        iconv_curve.add(size, rate([&] { iconv.convert(text); }));
        icu_curve.add(size, rate([&] { icu.convert(text); }));
    }
}

// Answers every call of a client with 42 or zeros.
struct Constant : host::Console, host::Responder {
    host::Reply ask(const host::Question &) override { return {}; }
    void report(const std::string &line) override { std::cerr << line << '\n'; }
    Reaction respond(host::Call &call) override
    {
        if (call.procedure.number == number_of("api_vq_get_int_1"))
            static_cast<ApiVqGetIntRetT *>(call.result)->result = 42;
        return Reaction::answer;
    }
    void client_exited(int) override {}
};

void clients()
{
    Curve start("start of a client among others"), command("command of one among others"),
        end("end of a client among others"), memory("memory of the host for a client"),
        its("memory of a client among others");
    for (const int count : {1, 2, 5, 10, 20, 50, 100, 200}) {
        Constant constant;
        const std::size_t before = allocated();
        host::Host host({}, constant, constant);
        const double seconds = timed(static_cast<std::size_t>(count), [&](std::size_t i) {
            host.start(VELT_BENCH_CLIENT, static_cast<int>(i) + 1, "client");
        });
        const auto each = static_cast<double>(count), number = each;
        start.add(static_cast<std::size_t>(count), seconds);
        memory.add(static_cast<std::size_t>(count),
                   static_cast<double>(allocated() - before) / number);
        command.add(static_cast<std::size_t>(count),
                    time_of([&] { host.command(host.clients().back(), 1); }));
        its.add(static_cast<std::size_t>(count),
                static_cast<double>(peak_of(host.clients().back().pid)));
        end.add(static_cast<std::size_t>(count), timed(1, [&](std::size_t) { host.end(); }) / each);
    }
}

void objects()
{
    Curve create("object, create"), find("object, find by name"), get("object, get a property"),
        load("object, load"), memory("memory of an object");
    for (std::size_t count = 10; count <= 1'000'000; count *= 10) {
        const auto each = static_cast<double>(count);
        const std::size_t before = allocated();
        host::Model model;
        const UIntT book = model.create(0, host::object_type::book, "book");
        create.add(count, timed(count, [&](std::size_t i) {
                       model.create(book, host::object_type::component, std::to_string(i));
                   }));
        memory.add(count, static_cast<double>(allocated() - before) / each);
        const std::string middle = std::to_string(count / 2);
        UIntT id = 0;
        find.add(count,
                 time_of([&] { id = model.find(book, host::object_type::component, middle)->id; }));
        const host::PropertyKey key(V_prop_moved);
        model.set(book, id, key, host::Value::integer(1).get());
        get.add(count, time_of([&] { benchmark::DoNotOptimize(model.get(book, id, key)); }));
        const std::string file = book_text(static_cast<int>(count));
        load.add(count, time_of([&] {
                            host::Model read;
                            host::read_book(file, "book", read);
                        }) / each);
    }
}

void documents()
{
    Curve add("paragraph, add"), edit("paragraph, edit one"), find("paragraph, find"),
        memory("memory of a paragraph");
    const std::string line =
        "The quick brown fox jumps over the lazy dog and goes its way again.\n";
    for (std::size_t count = 10; count <= 1'000'000; count *= 10) {
        const auto each = static_cast<double>(count);
        std::string text;
        for (std::size_t i = 0; i < count; i++)
            text += line;
        text += "The lazy cat.";
        const std::size_t before = allocated();
        host::Model model;
        const UIntT document = model.create_document("");
        UIntT paragraph = model.at(model.at(document).first).first;
        const V_TextLocT start = {paragraph, 0};
        add.add(count,
                timed(1, [&](std::size_t) { model.add_text(document, start, text); }) / each);
        memory.add(count, static_cast<double>(allocated() - before) / each);
        for (std::size_t i = 0; i < count / 2; i++)
            paragraph = model.at(paragraph).next;
        edit.add(count, time_of([&] {
                     model.add_text(document, {paragraph, 5}, "x");
                     model.remove_text(document, {{paragraph, 5}, {paragraph, 6}});
                 }));
        find.add(count, time_of([&] {
                            benchmark::DoNotOptimize(model.find_text(
                                document, start, {.text = "lazy cat", .match_case = true}));
                        }) / each);
    }
}

} // namespace
} // namespace velt::bench

// Whoever links the client library defines these.
void V_ApiInitialize(IntT) {}
void V_ApiCommand(IntT) {}

int main(int argc, char **argv)
try {
    constexpr struct {
        std::string_view name;
        void (*measure)();
    } parts[] = {
        {"calls", velt::bench::calls},
        {"lists", velt::bench::lists},
        {"memory", velt::bench::conversion_memory},
        {"clients", velt::bench::clients},
        {"conversions", velt::bench::conversions},
        {"objects", velt::bench::objects},
        {"documents", velt::bench::documents},
    };
    V_FdeInitUnicode(VELT_UNICODE_HOME);
    for (const auto &[name, measure] : parts) {
        if (argc > 1 && std::find(argv + 1, argv + argc, name) == argv + argc)
            continue;
        // In a process of its own, so that none has the memory that another has used before.
        const pid_t process = fork();
        if (process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            measure();
            return 0;
        }
        if (int status = -1; waitpid(process, &status, 0) != process || status != 0)
            return 1;
    }
} catch (const std::exception &error) {
    std::cerr << "velt-growth: " << error.what() << '\n';
    return 1;
}
