// What goes between host and clients, decoded for reading.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "host/json/json.h"
#include "host/values/text.h"

namespace velt::host
{

enum class Direction {
    to_host,     // a client's call, told when it has been answered
    to_client,   // a call of the host, told when it is sent
    from_client, // how that call ended
};

struct TraceEvent {
    std::chrono::system_clock::time_point time;
    int client;
    Direction direction;
    std::string_view procedure;
    unsigned number;
    std::size_t depth;   // how many calls of the host the client is in
    Json arguments = {}; // null for void; strings hold the bytes that travelled
    Json result = {};
    std::string outcome = {}; // empty while a call of the host is under way
    std::optional<std::chrono::nanoseconds> duration = {};
};

// With every text in UTF-8.
Json decoded(const Json &value, const SessionText &text);

// Whether the call did not come to its end, or was refused: with a status other than 0, or, where
// the answer is a bare integer, a negative one.
bool trace_failed(const TraceEvent &event);

// One line, without its end, in the manner of strace; what is long is shortened. Bytes that encode
// nothing are shown as \xNN.
std::string trace_text(const TraceEvent &event, const SessionText &text, bool colour);

// One JSON object on one line, complete. Bytes that encode nothing are the private characters that
// they become in book files.
std::string trace_json(const TraceEvent &event, const SessionText &text);

} // namespace velt::host
