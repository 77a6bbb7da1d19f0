#include "host/scenario/recorder.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "common/error.h"
#include "host/json/writer.h"
#include "host/wire/catalogue.h"
#include "velt/vde/language.h"

namespace velt::host
{
namespace
{

const Failure &failure_of(std::string_view outcome)
{
    const auto *found = std::ranges::find(failures, outcome, &Failure::outcome);
    return found == std::end(failures) ? std::end(failures)[-1] : *found;
}

// How a message is named, and how when it is bytes.
struct Names {
    const char *decoded, *bytes;
};
constexpr Names argument_names = {"arguments", "argumentBytes"},
                answer_names = {"answer", "answerBytes"};

using Sender = Redaction::Sender;

void write_message(JsonWriter &out, const Names &named, const TracedMessage &message, Sender from,
                   std::string_view procedure, const SessionText &text, Redaction &redaction)
{
    if (!message.shape)
        return;
    const bool bytes = is_bytes(message.shape);
    out.key(bytes ? named.bytes : named.decoded);
    // Nobody can tell where in the bytes a text is that is not to be there.
    if (bytes && !redaction.fields().scrubbed.empty())
        return from == Sender::host ? out.empty_list() : out.null();
    redaction.write(*message.shape, message.value, procedure, from, text, out);
}

void write_names(JsonWriter &out, const char *member,
                 const std::set<std::string, std::less<>> &names)
{
    if (names.empty())
        return;
    out.key(member);
    out.begin('[');
    for (const std::string &each : names)
        out.text(each);
    out.end(']');
}

void write_end(JsonWriter &out, const TraceEvent &event)
{
    if (event.outcome == outcomes::handed_back)
        return out.text("end", "handed back");
    out.text("end", "exited");
    const ExitStatus how(event.exit_status);
    if (how.signal != 0)
        out.number("signal", how.signal);
    else if (!how.well())
        out.number("status", how.status);
}

} // namespace

bool holds_recording(const OutputFile &file)
try {
    if (file.has_content())
        Recording{file.path()};
    return file.has_content();
} catch (const Error &error) {
    misuse(std::string(error.what()) +
           "; a recording takes the place of no other file: name another one, or remove it");
}

void Recorder::begin(IntT language)
{
    start_ = std::chrono::system_clock::now();
    JsonWriter header(JsonWriter::one_line);
    header.begin('{');
    header.number("format", 1);
    header.text("language", V_LanguageString(language));
    header.text("order", "file");
    write_names(header, "leftOut", redaction_.fields().left_out);
    write_names(header, "scrubbed", redaction_.fields().scrubbed);
    header.key("recorded");
    header.begin('[');
    header_ = header.take();
}

std::string recorded_line(const TraceEvent &event, const std::string &client_name,
                          std::optional<double> time, const SessionText &text, Redaction &redaction)
{
    JsonWriter line(JsonWriter::one_line);
    line.begin('{');
    line.number("client", event.client);
    if (!client_name.empty())
        line.text("name", client_name);
    if (time)
        line.seconds("time", *time);
    switch (event.direction) {
    case Direction::to_host:
        if (event.duration)
            line.seconds("took", std::chrono::duration<double>(*event.duration).count());
        line.text("call", event.procedure);
        write_message(line, argument_names, event.arguments, Sender::client, event.procedure, text,
                      redaction);
        if (event.outcome == outcomes::answered)
            write_message(line, answer_names, event.result, Sender::host, event.procedure, text,
                          redaction);
        else
            line.text("failed", failure_of(event.outcome).word);
        break;
    case Direction::to_client:
        line.text("callback", event.procedure);
        if (event.client_waits)
            line.number("waits", 1);
        write_message(line, argument_names, event.arguments, Sender::host, event.procedure, text,
                      redaction);
        break;
    case Direction::from_client:
        write_end(line, event);
        break;
    }
    line.end('}');
    std::string all = line.take();
    if (all.size() >= longest_line)
        fail("an event takes more than " + std::to_string(longest_line >> 20) +
             " MiB; --leave-out records calls without a field");
    return all;
}

void Recorder::write(const TraceEvent &event) noexcept
try {
    if (error_ || is_of_start(event.procedure))
        return;
    std::string &known = names_[event.client];
    const bool is_new = known != event.client_name;
    if (is_new)
        known = event.client_name;
    // The clock may have been set back since.
    const std::chrono::duration<double> time = std::max(event.time, start_) - start_;
    const std::string line =
        recorded_line(event, is_new ? known : "", time.count(), text_, redaction_);
    if (first_)
        file_.begin();
    file_.write((first_ ? header_ + "\n" : ",\n") + line);
    first_ = false;
} catch (const std::exception &) {
    error_ = std::current_exception();
}

void Recorder::end() noexcept
try {
    if (!first_ && !error_)
        file_.write("\n]}\n");
} catch (const std::exception &) {
    error_ = std::current_exception();
}

void Recorder::check()
try {
    if (error_ && !std::exchange(told_, true))
        std::rethrow_exception(error_);
} catch (const std::exception &error) {
    const auto *of_file = dynamic_cast<const std::system_error *>(&error);
    throw std::runtime_error(file_.path() + ": the recording is not complete: " +
                             (of_file ? of_file->code().message() : reason_of(error)));
}

std::vector<std::string> failures_of(std::optional<Recorder> &recorder,
                                     std::optional<TraceOutput> &trace)
{
    std::vector<std::string> reasons;
    const auto look = [&](auto &output) {
        try {
            if (output) {
                output->check();
                output->check_place();
            }
        } catch (const std::exception &error) {
            reasons.push_back(reason_of(error));
        }
    };
    look(recorder);
    look(trace);
    return reasons;
}

} // namespace velt::host
