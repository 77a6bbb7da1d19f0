// The calls between host and clients, decoded for reading.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

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

struct TraceEvent {
    std::chrono::system_clock::time_point time;
    int client;
    Direction direction;
    std::string_view procedure;
    unsigned number;
    std::size_t depth; // the number of the host's calls that the client is in
    TracedMessage arguments = {};
    TracedMessage result = {};
    std::string outcome = {}; // empty while a call of the host is under way
    std::optional<std::chrono::nanoseconds> duration = {};
};

// Returns a message as text: the fields of a struct, or the value itself; long values are
// shortened.
std::string fields_text(const TracedMessage &message, const SessionText &text);

// Returns whether the call did not come to its end, or was refused: with a status other than 0 or,
// where the result is a bare integer, with a negative one.
bool trace_failed(const TraceEvent &event);

// Returns one line, without a line end, in the manner of strace; long values are shortened. Bytes
// that encode no character are shown as \xNN.
std::string trace_text(const TraceEvent &event, const SessionText &text, bool colour);

// Returns the complete event as one JSON object on one line. Bytes that encode no character become
// the private characters that they are in book files.
std::string trace_json(const TraceEvent &event, const SessionText &text);

} // namespace velt::host
