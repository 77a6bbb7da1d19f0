#include "host/scenario/recording.h"

#include <sys/wait.h>

#include <algorithm>
#include <charconv>
#include <fstream>

#include "common/error.h"
#include "common/file.h"
#include "host/scenario/pattern.h"
#include "host/session/process.h"
#include "host/values/text.h"

namespace velt::host
{
namespace
{

// Returns the number of a procedure that has none but that in the place of a name.
std::optional<rpcproc_t> unknown_number(std::string_view name)
{
    constexpr std::string_view before = "procedure_";
    std::uint32_t number = 0;
    if (!name.starts_with(before))
        return {};
    name.remove_prefix(before.size());
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    return error == std::errc() && end == name.data() + name.size() ? std::optional(number)
                                                                    : std::nullopt;
}

// Takes the procedure that the event names, and its messages.
void take_procedure(RecordedEvent &event, const JsonNode &name, std::span<const Procedure> among)
{
    const auto message = [&event](const char *decoded, const char *bytes) {
        const JsonNode *as_bytes = event.node->member(bytes);
        return std::pair(as_bytes ? as_bytes : event.node->member(decoded), as_bytes != nullptr);
    };
    const auto [arguments, bytes_in] = message("arguments", "argumentBytes");
    const auto [answer, bytes_out] = message("answer", "answerBytes");
    event.arguments = arguments && arguments->is_null() && bytes_in ? nullptr : arguments;
    event.answer = answer;
    const auto found = std::ranges::find(among, name.text(), &Procedure::name);
    const auto unknown = unknown_number(name.text());
    if (found == among.end() && !unknown)
        throw JsonError(name, "no procedure is called " + in_quotes(name.text()));
    const bool known = found != among.end();
    event.procedure = known && !bytes_in && !bytes_out
                          ? &*found
                          : &as_bytes(among, known ? found->number : *unknown, bytes_in, bytes_out);
}

std::set<std::string, std::less<>> names_in(const JsonNode &header, const char *member)
{
    std::set<std::string, std::less<>> names;
    if (const JsonNode *list = header.member(member))
        for (const auto &each : list->members)
            names.insert(each.second.text());
    return names;
}

std::optional<double> seconds(const JsonNode &event, std::string_view name)
{
    const JsonNode *node = event.member(name);
    if (!node)
        return {};
    if (const std::optional<double> time = node->real(); time && *time >= 0)
        return time;
    throw JsonError(*node, "a number of seconds is needed here");
}

RecordedEvent event_of(std::shared_ptr<const JsonNode> node)
{
    RecordedEvent event;
    event.node = node;
    node->need(JsonNode::object);
    const auto client = node->member("client");
    if (const auto number = client ? client->integer(0, INT32_MAX) : std::nullopt)
        event.client = static_cast<int>(*number);
    else
        throw JsonError(*node, "\"client\" is missing");
    if (const JsonNode *call = node->member("call")) {
        event.kind = RecordedEvent::call;
        take_procedure(event, *call, host_procedures());
    } else if (const JsonNode *callback = node->member("callback")) {
        event.kind = RecordedEvent::host_call;
        take_procedure(event, *callback, client_procedures());
    } else if (const JsonNode *end = node->member("end")) {
        event.exited = end->text() == "exited";
        if (!event.exited && end->text() != "handed back")
            throw JsonError(*end, "\"handed back\" or \"exited\" is needed here");
        for (auto [member, part] :
             {std::pair("status", &event.status.status), {"signal", &event.status.signal}})
            if (const JsonNode *given = node->member(member)) {
                if (const auto number = given->integer(0, 255))
                    *part = static_cast<int>(*number);
                else
                    throw JsonError(*given, "a number from 0 to 255 is needed here");
            }
    } else {
        throw JsonError(*node, "an event has \"call\", \"callback\" or \"end\"");
    }
    if (const JsonNode *name = node->member("name"))
        event.client_name = name->text();
    event.waits = node->member("waits") != nullptr;
    if ((event.failed = node->member("failed"));
        event.failed && !failure_named(event.failed->text()))
        throw JsonError(*event.failed, "there is no such failure");
    event.time = seconds(*node, "time");
    event.took = seconds(*node, "took");
    return event;
}

std::unique_ptr<std::istream> opened(const std::string &path)
try {
    expect_plain_file(path);
    auto file = std::make_unique<std::ifstream>(path);
    if (!*file)
        fail(path + ": it cannot be opened");
    return file;
} catch (const std::runtime_error &error) {
    misuse(std::string("cannot read the recording ") + error.what());
}

} // namespace

ExitStatus::ExitStatus(std::optional<int> as_waited_for)
{
    if (as_waited_for && WIFSIGNALED(*as_waited_for))
        signal = WTERMSIG(*as_waited_for);
    else if (as_waited_for)
        status = WEXITSTATUS(*as_waited_for);
}

std::string ExitStatus::text() const
{
    return describe_exit(signal != 0 ? signal : W_EXITCODE(status, 0));
}

const Failure *failure_named(std::string_view word)
{
    const auto *found = std::ranges::find(failures, word, &Failure::word);
    return found == std::end(failures) ? nullptr : found;
}

std::string RecordedEvent::text() const
{
    if (kind == end)
        return exited ? "the client " + status.text() : "the client hands control back";
    const auto shown = [](const JsonNode *part) {
        return part ? shortened(json_of(*part), most_shown) : "";
    };
    return (kind == host_call ? "-> " : "") + std::string(procedure->name) + "(" +
           shown(arguments) + ")" + (answer ? " = " + shown(answer) : "") +
           (failed ? " failed: " + shown(failed) : "");
}

Recording::Recording(const std::string &path) : Recording(opened(path), path) {}

Recording::Recording(std::unique_ptr<std::istream> file, const std::string &path)
    : path_(path), file_(std::move(file))
{
    JsonNode root;
    try {
        read_line();
        parse_json(line_ + "]}", root);
        const JsonNode *format = root.member("format"), *language = root.member("language");
        if (!format || !language || !root.member("recorded"))
            refuse("this is no recording");
        if (!format->integer(1, 1))
            refuse("a newer version has written this recording");
        language_ = language_number(language->text());
        fields_ = {names_in(root, "leftOut"), names_in(root, "scrubbed")};
        header_ = line_;
    } catch (const JsonError &) {
        refuse("this is no recording: those begin with {\"format\": on a line of their own");
    }
}

void Recording::refuse(const std::string &reason) const
{
    misuse(path_ + ":" + std::to_string(number_) + ": " + reason);
}

// Reads up to the next line that is not empty, without the blanks at its end.
void Recording::read_line()
{
    do {
        line_.clear();
        number_++;
        for (bool ends = false; !ends && (from_ < block_.size() || read_block());) {
            const std::size_t to = std::min(block_.find('\n', from_), block_.size());
            line_.append(block_, from_, to - from_);
            ends = to < block_.size();
            from_ = to + ends;
            if (line_.size() > longest_line)
                refuse("a line is longer than 256 MiB");
        }
        line_.resize(line_.find_last_not_of(" \t\r") + 1);
    } while (line_.empty() && !block_.empty());
}

// Reads the next block; at the end of the file that is empty, and false is returned.
bool Recording::read_block()
{
    block_.resize(Digest::block_size);
    file_->read(block_.data(), static_cast<std::streamsize>(block_.size()));
    block_.resize(static_cast<std::size_t>(file_->gcount()));
    from_ = 0;
    // A file that cannot be read to its end is none that was cut off.
    if (file_->bad())
        fail(path_ + ": it cannot be read, or there is no memory for that");
    if (!block_.empty())
        digest_.add(block_);
    return !block_.empty();
}

std::optional<RecordedEvent> Recording::next()
{
    if (over_)
        return {};
    read_line();
    const bool at_end = line_ == "]}";
    const bool line_ends = !block_.empty();
    if (at_end || line_.empty()) {
        over_ = true;
        cut_off_ = !at_end;
        if (at_end)
            read_line();
        if (at_end && !line_.empty())
            refuse("something stands behind the end of the recording");
        return {};
    }
    if (line_.ends_with(','))
        line_.pop_back();
    const auto node = std::make_shared<JsonNode>();
    bool is_json = false;
    try {
        const std::vector<JsonError> problems = parse_json(line_, *node);
        is_json = true;
        if (!problems.empty())
            throw JsonError(problems.front());
        RecordedEvent event = event_of(node);
        event.place = path_ + ":" + std::to_string(number_);
        event.line = std::move(line_);
        return event;
    } catch (const JsonError &error) {
        // The end of the last line is written with the next event, so it may be whole without.
        if (!line_ends && !is_json) {
            over_ = cut_off_ = true;
            return {};
        }
        misuse(path_ + ":" + std::to_string(number_) + ":" + std::to_string(error.column) + ": " +
               error.what());
    }
}

} // namespace velt::host
