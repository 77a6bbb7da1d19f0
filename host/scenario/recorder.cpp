#include "host/scenario/recorder.h"

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

using Names = std::set<std::string, std::less<>>;

// Passes the parts of a value on, but for the fields of some names, and replaces the texts of
// others.
class Sieve final : public JsonOut
{
public:
    Sieve(JsonWriter &out, const Names &left_out, const Names &scrubbed)
        : out_(out), left_out_(left_out), scrubbed_(scrubbed)
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
        skips_next_ = left_out_.contains(name);
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
    const Names &left_out_, &scrubbed_;
    bool skips_next_ = false; // the value of the last key is left out
    bool scrubs_ = false;
    int skipped_ = 0; // brackets that are open in it
};

const char *name_of_failure(std::string_view outcome)
{
    return outcome == outcomes::no_reply     ? "none"
           : outcome == outcomes::half_reply ? "half"
           : outcome == outcomes::closed     ? "close"
                                             : "error";
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
try {
    file_.begin();
    start_ = std::chrono::system_clock::now();
    JsonWriter header(JsonWriter::one_line);
    header.text(V_LanguageString(language));
    put("{\"format\":1,\"language\":" + header.take() + ",\"order\":\"file\",\"recorded\":[");
} catch (const std::system_error &error) {
    error_ = error.code();
}

void Recorder::message(JsonWriter &out, const char *name, const TracedMessage &message)
{
    static const Names none;
    if (!message.shape)
        return;
    out.key(name);
    const bool is_answer = name == std::string_view("answer");
    Names left_out = fields_.left_out;
    if (!is_answer)
        left_out.insert(fields_.scrubbed.begin(), fields_.scrubbed.end());
    Sieve sieve(out, is_answer ? none : left_out, fields_.scrubbed);
    write_value(*message.shape, message.value, sieve,
                [this](const char *bytes) { return text_.to_utf8(bytes); });
}

void Recorder::write(const TraceEvent &event) noexcept
try {
    // How a client comes up is the same in each run.
    if (event.direction == Direction::to_host &&
        (event.number == procedure::api_vq_init_ack_5_1::number ||
         event.number == procedure::api_vq_init_ack_4_1::number))
        return;
    using std::chrono::duration;
    JsonWriter line(JsonWriter::one_line);
    line.begin('{');
    line.number("client", event.client);
    line.seconds("time", duration<double>(event.time - start_).count());
    switch (event.direction) {
    case Direction::to_host:
        if (event.duration)
            line.seconds("took", duration<double>(*event.duration).count());
        line.text("call", event.procedure);
        message(line, "arguments", event.arguments);
        if (event.outcome == outcomes::answered)
            message(line, "answer", event.result);
        else
            line.text("failed", name_of_failure(event.outcome));
        break;
    case Direction::to_client:
        line.text("callback", event.procedure);
        if (event.client_waits)
            line.number("waits", 1);
        message(line, "arguments", event.arguments);
        break;
    case Direction::from_client:
        line.text("end", event.outcome == outcomes::handed_back ? "handed back" : "exited");
        break;
    }
    line.end('}');
    put((first_ ? "\n" : ",\n") + line.take());
    first_ = false;
} catch (const std::exception &) {
    error_ = std::make_error_code(std::errc::not_enough_memory);
}

void Recorder::end()
{
    put("\n]}\n");
}

void Recorder::put(const std::string &text)
try {
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
