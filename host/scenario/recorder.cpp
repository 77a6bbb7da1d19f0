#include "host/scenario/recorder.h"

#include <algorithm>

#include "common/error.h"
#include "common/nearest.h"
#include "common/printable.h"
#include "host/json/writer.h"
#include "host/wire/procedures.h"
#include "velt/vde/language.h"

namespace velt::host
{
namespace
{

using FieldNames = std::set<std::string, std::less<>>;

// Passes the parts of a value on, but for the fields of some names, and replaces the texts of
// others.
class Sieve final : public JsonOut
{
public:
    Sieve(JsonWriter &out, const FieldNames &left_out, const FieldNames &left_out_too,
          const FieldNames &scrubbed)
        : out_(out), left_out_(left_out), left_out_too_(left_out_too), scrubbed_(scrubbed)
    {
    }
    void begin(char bracket) override
    {
        if (skips())
            skipped_++;
        else
            out_.begin(bracket);
    }
    void end(char bracket) override
    {
        if (skipped_ == 0)
            return out_.end(bracket);
        skipped_--;
        value_is_over();
    }
    void key(std::string_view name) override
    {
        if (skipped_ > 0)
            return;
        skips_next_ = left_out_.contains(name) || left_out_too_.contains(name);
        scrubs_ = scrubbed_.contains(name);
        if (!skips_next_)
            out_.key(name);
    }
    void text(std::string_view text) override
    {
        if (!skips())
            out_.text(scrubs_ ? "scrubbed" : text);
        value_is_over();
    }
    void number(std::int64_t number) override
    {
        if (!skips())
            out_.number(number);
        value_is_over();
    }
    void null() override
    {
        if (!skips())
            out_.null();
        value_is_over();
    }

private:
    bool skips() const { return skips_next_ || skipped_ > 0; }
    void value_is_over()
    {
        if (skipped_ == 0)
            skips_next_ = false;
    }

    JsonWriter &out_;
    const FieldNames &left_out_, &left_out_too_, &scrubbed_;
    bool skips_next_ = false; // the value of the last key is left out
    bool scrubs_ = false;
    int skipped_ = 0; // brackets that are open in it
};

const Failure &failure_of(std::string_view outcome)
{
    const auto *found = std::ranges::find(failures, outcome, &Failure::outcome);
    return found == std::end(failures) ? std::end(failures)[-1] : *found;
}

// How a message is named, and how when it is bytes.
struct Names {
    const char *decoded, *bytes;
};
constexpr Names arguments = {"arguments", "argumentBytes"}, answer = {"answer", "answerBytes"};

// What the host sends has all its fields, so that a replay can send it.
enum class Sender { client, host };

void write_message(JsonWriter &out, const Names &named, const TracedMessage &message, Sender from,
                   const SessionText &text, const RecordedFields &fields)
{
    static const FieldNames none;
    if (!message.shape)
        return;
    const bool bytes = is_bytes(message.shape), is_hosts = from == Sender::host;
    out.key(bytes ? named.bytes : named.decoded);
    // Nobody can tell where in the bytes a text is that is not to be there.
    if (bytes && !fields.scrubbed.empty())
        return is_hosts ? out.empty_list() : out.null();
    Sieve sieve(out, is_hosts ? none : fields.left_out, is_hosts ? none : fields.scrubbed,
                is_hosts ? fields.scrubbed : none);
    write_value(*message.shape, message.value, sieve,
                [&text](const char *each) { return text.to_utf8(each); });
}

void write_names(JsonWriter &out, const char *member, const FieldNames &names)
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

constexpr std::string_view field_names[] = {
#define V_RECORD(name, fields) fields
#define V_UNION(name, cases) cases
#define V_FIELD(type, name) #name,
#define V_FIELD_IF_ZERO(key, type, name) #name,
#define V_OPTIONAL(type, name) #name,
#define V_SWITCH(type, name, tag) #name,
#define V_CASE(tag, type, member) #member,
#define V_CASE_OPTIONAL(tag, type, member) #member,
#define V_SAME_CASE(tag, type, member)
#define V_OTHER_CASES(type, member) #member,
#include "velt/tables/values.def"
#define V_RECORD(name, fields) fields
#define V_FIELD(type, name) #name,
#define V_FIELD_IF_ZERO(key, type, name) #name,
#define V_OPTIONAL(type, name) #name,
#define V_SWITCH(type, name, tag) #name,
#include "velt/tables/records.def"
#define V_RECORD(name, fields) fields
#define V_FIELD(type, name) #name,
#include "velt/tables/callbacks.def"
};

} // namespace

const std::string &known_field(const std::string &name)
{
    Nearest nearest(name);
    for (const std::string_view each : field_names) {
        if (each == name)
            return name;
        nearest.consider(each);
    }
    misuse("no message has a field " + in_quotes(name) + nearest.hint());
}

void Recorder::begin(IntT language)
{
    start_ = std::chrono::system_clock::now();
    JsonWriter header(JsonWriter::one_line);
    header.begin('{');
    header.number("format", 1);
    header.text("language", V_LanguageString(language));
    header.text("order", "file");
    write_names(header, "leftOut", fields_.left_out);
    write_names(header, "scrubbed", fields_.scrubbed);
    header.key("recorded");
    header.begin('[');
    header_ = header.take();
}

std::string recorded_line(const TraceEvent &event, const std::string &client_name,
                          std::optional<double> time, const SessionText &text,
                          const RecordedFields &fields)
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
        write_message(line, arguments, event.arguments, Sender::client, text, fields);
        if (event.outcome == outcomes::answered)
            write_message(line, answer, event.result, Sender::host, text, fields);
        else
            line.text("failed", failure_of(event.outcome).word);
        break;
    case Direction::to_client:
        line.text("callback", event.procedure);
        if (event.client_waits)
            line.number("waits", 1);
        write_message(line, arguments, event.arguments, Sender::host, text, fields);
        break;
    case Direction::from_client:
        write_end(line, event);
        break;
    }
    line.end('}');
    return line.take();
}

void Recorder::write(const TraceEvent &event) noexcept
try {
    // How a client comes up is the same in each run.
    if (event.direction == Direction::to_host &&
        (event.number == procedure::api_vq_init_ack_5_1::number ||
         event.number == procedure::api_vq_init_ack_4_1::number))
        return;
    std::string &known = names_[event.client];
    const bool is_new = known != event.client_name;
    if (is_new)
        known = event.client_name;
    const std::chrono::duration<double> time = event.time - start_;
    put((first_ ? header_ + "\n" : ",\n") +
        recorded_line(event, is_new ? known : "", time.count(), text_, fields_));
    first_ = false;
} catch (const std::exception &) {
    error_ = std::make_error_code(std::errc::not_enough_memory);
}

void Recorder::end()
{
    if (!empty())
        put("\n]}\n");
}

void Recorder::put(const std::string &text)
try {
    if (first_)
        file_.begin();
    if (!error_)
        file_.write(text);
} catch (const std::system_error &error) {
    error_ = error.code();
}

void Recorder::check() const
{
    if (error_)
        throw std::system_error(error_, file_.path() + ": the recording is not complete");
}

} // namespace velt::host
