// The calls between host and clients, decoded for reading.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "host/json/writer.h"
#include "host/values/shape.h"
#include "host/values/text.h"

namespace velt::host
{

enum class Direction {
    to_host,     // a client's call, traced when it has been answered
    to_client,   // a call of the host, traced when it is sent
    from_client, // the end of a call of the host
};

// A message of a call, whose texts are in the session's encoding. It lives only as long as the
// event is received.
struct TracedMessage {
    const Shape *shape = nullptr; // null for void
    void *value = nullptr;
};

// How calls end whose ends others tell apart.
namespace outcomes
{
inline constexpr std::string_view answered = "answered", handed_back = "handed control back",
                                  no_reply = "no reply", half_reply = "half a reply",
                                  closed = "the end of the connection",
                                  undecoded = "arguments that do not decode",
                                  unknown = "no such procedure",
                                  unsent = "the reply cannot be sent";
} // namespace outcomes

struct TraceEvent {
    std::chrono::system_clock::time_point time;
    int client;
    std::string_view client_name;
    Direction direction;
    unsigned program, version; // whose procedure it is
    std::string_view procedure;
    unsigned number;
    std::size_t depth; // the number of the host's calls that the client is in
    TracedMessage arguments = {};
    TracedMessage result = {};
    std::string outcome = {}; // empty while a call of the host is under way
    std::optional<std::chrono::nanoseconds> duration = {};
    std::optional<int> exit_status = {}; // as wait(2) gives it, when that ended a call of the host
    // The client waits for an answer, before which it does not get this call of the host; no turn
    // begins with that.
    bool client_waits = false;
};

// Returns a message as text: the fields of a struct, or the value itself; long values are
// shortened.
std::string fields_text(const TracedMessage &message, const SessionText &text);

// Writes a message as a member of an object, complete; null for void.
void write_message(JsonWriter &out, const char *name, const TracedMessage &message,
                   const SessionText &text);

// Returns the status of a client's call that was answered: where the result is a bare integer, this
// if it is negative, else 0. Returns nothing when the result has none.
std::optional<std::int64_t> trace_status(const TraceEvent &event);

// Returns whether the call did not come to its end, or was refused: with a status other than 0.
bool trace_failed(const TraceEvent &event);

// Returns one line, without a line end, in the manner of strace; long values are shortened. Bytes
// that encode no character are shown as \xNN.
std::string trace_text(const TraceEvent &event, const SessionText &text, bool colour);

// Returns the complete event as one JSON object on one line. Bytes that encode no character become
// the private characters that they are in book files.
std::string trace_json(const TraceEvent &event, const SessionText &text);

} // namespace velt::host
