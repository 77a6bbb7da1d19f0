// Reads a recording, one event after the other.
#pragma once

#include <istream>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "common/file.h"
#include "host/json/node.h"
#include "host/scenario/redaction.h"
#include "host/session/responder.h"
#include "host/trace/trace.h"
#include "host/wire/catalogue.h"

namespace velt::host
{

// A line of a recording is no longer, with the comma at its end. Only tests set it.
inline std::size_t longest_line = std::size_t{256} << 20;

// How a process has ended: with a status, or by a signal, which is 0 then. One of which nothing is
// known counts as one that ended well.
struct ExitStatus {
    int status = 0, signal = 0;

    ExitStatus() = default;
    explicit ExitStatus(std::optional<int> as_waited_for);
    bool well() const { return *this == ExitStatus(); }
    // Returns a text such as "exited with status 3".
    std::string text() const;
    bool operator==(const ExitStatus &) const = default;
};

// Why a call has no answer: as recordings name it, what the host does then, and how that is traced.
struct Failure {
    std::string_view word;
    Responder::Reaction reaction;
    std::string_view outcome;
};
// Of a failure that has none of these outcomes, the last is recorded.
inline constexpr Failure failures[] = {
    {"none", Responder::Reaction::drop, outcomes::no_reply},
    {"half", Responder::Reaction::half, outcomes::half_reply},
    {"close", Responder::Reaction::close, outcomes::closed},
    {"undecoded", Responder::Reaction::undecoded, outcomes::undecoded},
    {"unknown", Responder::Reaction::unknown, outcomes::unknown},
    {"error", Responder::Reaction::rpc_error, "an RPC error"},
};
// Returns null when there is none.
const Failure *failure_named(std::string_view word);

struct RecordedEvent {
    std::string place; // in the file
    std::string line;  // the event as it stands there
    int client = 0;
    std::string client_name; // in the first event of each client
    enum Kind { call, host_call, end } kind = end;
    // Null for an end. Its argument, or its result, is that of bytes when these did not decode.
    const Procedure *procedure = nullptr;
    std::shared_ptr<const JsonNode> node;
    const JsonNode *arguments = nullptr, *answer = nullptr;
    const JsonNode *failed = nullptr; // why there was no answer
    bool waits = false;               // a call of the host that came while the client waits
    // How a turn has ended, and with an exit of which status.
    bool exited = false;
    ExitStatus status;
    // In seconds: when it was, since the recording began, and how long the host took to answer.
    std::optional<double> time, took;

    // The event in one line, and how many characters of a message that has.
    std::string text() const;
    static constexpr std::size_t most_shown = 300;
};

class Recording
{
public:
    // Opens the file. Throws Error when it is no recording.
    explicit Recording(const std::string &path);
    Recording(std::unique_ptr<std::istream> file, const std::string &path);

    const std::string &path() const { return path_; }
    IntT language() const { return language_; }
    const RecordedFields &fields() const { return fields_; }
    // The line with which the file begins.
    const std::string &header() const { return header_; }
    // Returns the next event; nothing at the end. Throws Error for a line that is no event.
    std::optional<RecordedEvent> next();
    // Returns whether the file has no end, because the run that wrote it was cut off. It is known
    // once the last event has been read.
    bool cut_off() const { return cut_off_; }
    // What the file has held as far as it has been read, which is all of it once cut_off() is
    // known.
    const Digest &digest() const { return digest_; }

private:
    [[noreturn]] void refuse(const std::string &reason) const;
    void read_line();
    bool read_block();

    std::string path_, line_, header_;
    std::unique_ptr<std::istream> file_;
    std::string block_;    // that was read last,
    std::size_t from_ = 0; // and where in it the next line begins
    Digest digest_;
    std::size_t number_ = 0; // of the line
    IntT language_ = 0;
    RecordedFields fields_;
    bool over_ = false, cut_off_ = false;
};

} // namespace velt::host
