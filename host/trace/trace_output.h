// The destination of a trace, and the filter that selects its events.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "common/output_file.h"
#include "host/trace/sink.h"
#include "host/values/text.h"

namespace velt::host
{

// A list, separated by commas, of procedure names, with * and ? as wildcards, and of `failures`. An
// empty list lets all events through.
class TraceFilter
{
public:
    // Throws Error for a name that matches no procedure.
    explicit TraceFilter(const std::string &list);
    bool shows(const TraceEvent &event) const;

private:
    std::vector<std::string> patterns_;
    bool failures_ = false;
};

class TraceOutput
{
public:
    // Without a file, the trace goes to the standard error.
    TraceOutput(std::optional<OutputFile> file, bool json, TraceFilter filter, bool colour)
        : file_(std::move(file)), json_(json), filter_(std::move(filter)), colour_(colour)
    {
    }

    // Writes each line in one piece, so that it stays whole among what others write there.
    void write(const TraceEvent &event, const SessionText &text);

    // Throws std::system_error when a part of the trace could not be written.
    void check() const;
    // Throws std::runtime_error when another file has taken the trace's place.
    void check_place() const;

private:
    std::optional<OutputFile> file_;
    bool json_;
    TraceFilter filter_;
    bool colour_;
    std::error_code error_;
};

} // namespace velt::host
