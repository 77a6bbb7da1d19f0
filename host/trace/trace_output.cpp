#include "host/trace/trace_output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>
#include <vector>

namespace velt::host
{

bool coloured(int descriptor)
{
    const char *no_colour = std::getenv("NO_COLOR");
    return isatty(descriptor) && !(no_colour && *no_colour);
}

void need_trace(const OutputFile &file)
{
    std::vector<std::string_view> beginnings;
    for (const TraceFormat &each : trace_formats())
        beginnings.push_back(each.beginning);
    file.need_kind("trace", beginnings);
}

void TraceOutput::put(std::string_view text) noexcept
try {
    if (error_ || text.empty())
        return;
    if (file_)
        file_->write(text);
    else if (!write_whole(STDERR_FILENO, text))
        error_ = {errno, std::generic_category()};
} catch (const std::system_error &error) {
    error_ = error.code();
} catch (const std::exception &) {
    error_ = std::make_error_code(std::errc::not_enough_memory);
}

void TraceOutput::write(const TraceEvent &event, const SessionText &text)
try {
    if (file_ && !std::exchange(begun_, true)) {
        file_->begin();
        put(form_->begin());
    }
    if (!error_ && filter_.shows(event))
        put(form_->event(event, text));
} catch (const std::system_error &error) {
    error_ = error.code();
} catch (const std::exception &) {
    error_ = std::make_error_code(std::errc::not_enough_memory);
}

void TraceOutput::end() noexcept
try {
    if (begun_)
        put(form_->end());
} catch (const std::exception &) {
    error_ = std::make_error_code(std::errc::not_enough_memory);
}

void TraceOutput::check_place() const
{
    if (file_ && begun_)
        file_->check();
}

void TraceOutput::check()
{
    if (error_ && !std::exchange(told_, true))
        throw std::system_error(error_, (file_ ? file_->path() : "standard error") +
                                            ": the trace is not complete");
}

} // namespace velt::host
