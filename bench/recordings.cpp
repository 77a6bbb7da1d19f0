#include "bench/recordings.h"

#include <filesystem>
#include <stdexcept>

#include "bench/compare.h"
#include "bench/service.h"
#include "host/console/console.h"
#include "host/scenario/recorder.h"
#include "host/scenario/replay.h"
#include "host/session/host.h"
#include "velt/vde/language.h"

namespace velt::bench
{
namespace
{

constexpr std::size_t calls = 20'000;
// What a call may take where 50,000 a second are to be recorded, or replayed.
constexpr double share = 20e-6;

struct Nobody : host::Console {
    host::Reply ask(const host::Question &) override { return {}; }
    void report(const std::string &) override {}
};

// A call that asks for an integer, as in the lines of calls, and its answer.
struct Asked {
    explicit Asked(IntT number) : argument{1, 2, {number, nullptr}}, result{0, number} {}

    ApiVqGetPropArgT argument;
    ApiVqGetIntRetT result;
    const host::Procedure &procedure =
        *host::find_procedure(host::host_procedures(), number_of("api_vq_get_int_1"));
};

class Recorded
{
public:
    Recorded() : path_(std::filesystem::temp_directory_path() / "velt-bench-recording") {}
    Recorded(const Recorded &) = delete;
    Recorded &operator=(const Recorded &) = delete;
    ~Recorded() { std::filesystem::remove(path_); }

    double record()
    {
        host::Recorder recorder(OutputFile(path_), text_, {});
        recorder.begin(V_language_usenglish);
        const double seconds = timed(calls, [&](std::size_t i) {
            Asked call(static_cast<IntT>(i));
            host::TraceEvent event = {};
            event.time = std::chrono::system_clock::now();
            event.client = 1;
            event.client_name = "client";
            event.direction = host::Direction::to_host;
            event.procedure = call.procedure.name;
            event.number = static_cast<unsigned>(call.procedure.number);
            event.arguments = {call.procedure.argument.shape, &call.argument};
            event.result = {call.procedure.result.shape, &call.result};
            event.outcome = host::outcomes::answered;
            event.duration = std::chrono::microseconds(1);
            recorder.write(event);
        });
        recorder.end();
        recorder.check();
        return seconds;
    }

    // The host is there, and a client calls; what is between them is left out.
    double replay()
    {
        host::Recording recording(path_);
        host::Replay replay(
            recording, text_, host::KeptOrder::connection,
            [](host::Host &, int, const std::string &) {}, nullptr);
        Nobody nobody;
        host::Host host({}, replay, nobody);
        host::Client client;
        client.number = 1;
        const double seconds = timed(calls, [&](std::size_t i) {
            Asked call(static_cast<IntT>(i));
            call.result = {};
            host::Call made{host, client, call.procedure, &call.argument, &call.result};
            if (replay.respond(made) != host::Responder::Reaction::answer ||
                call.result.result != static_cast<IntT>(i))
                throw std::runtime_error("a recording is not replayed: " + replay.difference());
        });
        return seconds;
    }

private:
    std::string path_;
    const host::SessionText text_{V_language_usenglish};
};

void measure(benchmark::State &state, double (Recorded::*ours)())
try {
    Recorded recorded;
    recorded.record();
    compare(
        state, [] { return share; }, [&] { return (recorded.*ours)(); });
    state.counters[counter::goal] = 1;
    state.counters[counter::as_rate] = 1;
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

} // namespace

void register_recordings()
{
    const auto add = [](const char *name, double (Recorded::*ours)()) {
        benchmark::RegisterBenchmark(name, measure, ours)->Iterations(11);
    };
    add("record calls / 50000 a second", &Recorded::record);
    add("replay calls / 50000 a second", &Recorded::replay);
}

} // namespace velt::bench
