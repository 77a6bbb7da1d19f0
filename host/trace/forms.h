// The forms in which a trace is written: each turns events into what stands in the file.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "host/trace/trace.h"

namespace velt::host
{

// What is written so far can be read at any time, so that a crash loses nothing.
class TraceForm
{
public:
    virtual ~TraceForm() = default;
    virtual std::string begin() { return {}; }
    virtual std::string event(const TraceEvent &event, const SessionText &text) = 0;
    virtual std::string end() { return {}; }
};

struct TraceFormat {
    std::string_view name, what;
    std::string_view beginning; // of each file of this format
    bool needs_file;            // nothing else may stand between its events
    std::unique_ptr<TraceForm> (*make)(bool colour);
};

// The first is the default.
std::span<const TraceFormat> trace_formats();
// Returns the format of the name. Throws Error, which lists the names, when there is none.
const TraceFormat &trace_format(std::string_view name);

std::unique_ptr<TraceForm> make_pcapng(bool);
std::unique_ptr<TraceForm> make_perfetto(bool);

} // namespace velt::host
