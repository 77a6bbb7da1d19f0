// The destination of a trace.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "common/output_file.h"
#include "host/trace/filter.h"
#include "host/trace/forms.h"

namespace velt::host
{

// Returns whether colours are wanted on the descriptor.
bool coloured(int descriptor);

// Throws Error when the file holds anything else than a trace, of any form.
void need_trace(const OutputFile &file);

class TraceOutput
{
public:
    // Without a file, the trace goes to the standard error.
    TraceOutput(std::optional<OutputFile> file, std::unique_ptr<TraceForm> form, TraceFilter filter)
        : file_(std::move(file)), form_(std::move(form)), filter_(std::move(filter))
    {
    }

    // Writes each event in one piece, so that it stays whole among what others write there. The
    // file stays as it is until the first event comes.
    void write(const TraceEvent &event, const SessionText &text);
    // Writes what the trace ends with, if it was begun.
    void end() noexcept;
    // Returns whether there is a file for which nothing has happened.
    bool empty() const { return file_ && !begun_; }
    const std::string &path() const { return file_->path(); }

    // Throws std::system_error when a part of the trace could not be written, once.
    void check();
    // Throws std::runtime_error when what was written is lost.
    void check_place() const;

private:
    void put(std::string_view text) noexcept;

    std::optional<OutputFile> file_;
    std::unique_ptr<TraceForm> form_;
    TraceFilter filter_;
    std::error_code error_;
    bool begun_ = false;
    bool told_ = false; // by check()
};

} // namespace velt::host
