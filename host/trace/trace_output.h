// Where a trace goes, and what of it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "common/output_file.h"
#include "host/trace/trace.h"
#include "host/values/text.h"

namespace velt::host
{

// Procedures by their names, with * and ? for what may differ, and `failures`: separated by commas.
// An empty one lets all through.
class TraceFilter
{
public:
    // Throws std::runtime_error for what no procedure is called.
    explicit TraceFilter(const std::string &list);
    bool shows(const TraceEvent &event) const;

private:
    std::vector<std::string> patterns_;
    bool failures_ = false;
};

class TraceOutput
{
public:
    // To the standard error without a file.
    TraceOutput(std::optional<OutputFile> file, bool json, TraceFilter filter, bool colour)
        : file_(std::move(file)), json_(json), filter_(std::move(filter)), colour_(colour)
    {
    }

    // Each line is one write, so that it stays whole among what others write there.
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
    std::optional<std::system_error> error_;
};

} // namespace velt::host
