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

class TraceOutput
{
public:
    // Without a file, the trace goes to the standard error.
    TraceOutput(std::optional<OutputFile> file, std::unique_ptr<TraceForm> form, TraceFilter filter)
        : file_(std::move(file)), form_(std::move(form)), filter_(std::move(filter))
    {
        put(form_->begin());
    }

    // Writes each event in one piece, so that it stays whole among what others write there.
    void write(const TraceEvent &event, const SessionText &text);
    // Writes what the trace ends with.
    void end() noexcept;

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
    bool told_ = false; // by check()
};

} // namespace velt::host
