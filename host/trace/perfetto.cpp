// Trace events in JSON, as viewers of time lines read them: an array with an object on each line.
// Readers accept an array without its end.

#include <algorithm>
#include <map>
#include <vector>

#include "host/trace/forms.h"
#include "host/wire/procedures.h"

namespace velt::host
{
namespace
{

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using Clock = std::chrono::system_clock;

class Perfetto final : public TraceForm
{
public:
    std::string begin() override { return "["; }
    std::string event(const TraceEvent &event, const SessionText &text) override;
    std::string end() override { return "\n]\n"; }

private:
    // A turn that is under way. One for which the client had to get an answer first is shown when
    // it is over.
    struct Turn {
        unsigned number;
        bool shown;
        Clock::time_point begin;
    };
    struct Process {
        std::string name;
        std::vector<Turn> turns;
    };

    void name_process(const TraceEvent &event, Process &process);
    void turn_ended(const TraceEvent &event, Process &process);
    // Begins an object; the caller adds its details and calls put().
    JsonWriter slice(const TraceEvent &event, std::string_view phase, Clock::time_point begin,
                     std::optional<nanoseconds> duration = {});
    void put(JsonWriter &object);

    std::map<int, Process> processes_;
    // Times are counted from here, since readers keep them in numbers of few digits.
    Clock::time_point start_ = Clock::now();
    std::string out_;
    bool first_ = true;
};

double microseconds(Clock::duration time)
{
    return static_cast<double>(std::chrono::duration_cast<nanoseconds>(time).count()) / 1000;
}

JsonWriter Perfetto::slice(const TraceEvent &event, std::string_view phase, Clock::time_point begin,
                           std::optional<nanoseconds> duration)
{
    JsonWriter object(JsonWriter::one_line);
    object.begin('{');
    object.text("name", event.procedure);
    object.text("cat", event.direction == Direction::to_host ? "call" : "turn");
    object.text("ph", phase);
    object.key("ts");
    object.real(microseconds(begin - start_));
    if (duration) {
        object.key("dur");
        object.real(microseconds(std::chrono::duration_cast<Clock::duration>(*duration)));
    }
    object.number("pid", event.client);
    object.number("tid", event.client);
    object.key("args");
    object.begin('{');
    return object;
}

void Perfetto::put(JsonWriter &object)
{
    object.end('}');
    object.end('}');
    out_ += (first_ ? "\n" : ",\n") + printable_json(object.take());
    first_ = false;
}

// A number may be used again, by another client.
void Perfetto::name_process(const TraceEvent &event, Process &process)
{
    if (process.name == event.client_name)
        return;
    process.name = event.client_name;
    JsonWriter object(JsonWriter::one_line);
    object.begin('{');
    object.text("name", "process_name");
    object.text("ph", "M");
    object.number("pid", event.client);
    object.key("args");
    object.begin('{');
    object.text("name", process.name);
    put(object);
}

void Perfetto::turn_ended(const TraceEvent &event, Process &process)
{
    const auto turn = std::find_if(process.turns.rbegin(), process.turns.rend(),
                                   [&](const Turn &each) { return each.number == event.number; });
    const bool known = turn != process.turns.rend(), shown = known && turn->shown;
    Clock::time_point begin = event.time;
    std::optional<nanoseconds> duration;
    if (!shown) {
        begin = known ? turn->begin : event.time - event.duration.value_or(0ns);
        duration = event.time - begin;
    }
    if (known)
        process.turns.erase(std::next(turn).base());
    JsonWriter object = slice(event, shown ? "E" : "X", begin, duration);
    object.text("outcome", event.outcome);
    put(object);
}

std::string Perfetto::event(const TraceEvent &event, const SessionText &text)
{
    out_.clear();
    Process &process = processes_[event.client];
    name_process(event, process);
    switch (event.direction) {
    case Direction::to_host: {
        const nanoseconds duration = event.duration.value_or(0ns);
        for (Turn &each : process.turns)
            if (!each.shown && event.time < each.begin)
                each.begin = event.time + duration;
        JsonWriter object = slice(event, "X", event.time, duration);
        write_message(object, "arguments", event.arguments, text);
        write_message(object, "result", event.result, text);
        object.text("outcome", event.outcome);
        put(object);
        break;
    }
    case Direction::to_client: {
        const bool ends = is_handed_back(event.number);
        if (ends)
            process.turns.push_back({event.number, !event.client_waits, event.time});
        JsonWriter object = slice(event, event.client_waits || !ends ? "i" : "B", event.time);
        write_message(object, "arguments", event.arguments, text);
        put(object);
        break;
    }
    case Direction::from_client:
        turn_ended(event, process);
        break;
    }
    return std::move(out_);
}

} // namespace

std::unique_ptr<TraceForm> make_perfetto(bool)
{
    return std::make_unique<Perfetto>();
}

} // namespace velt::host
