#include "host/trace/trace_output.h"

#include <fnmatch.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "common/error.h"
#include "common/words.h"
#include "host/trace/trace.h"

namespace velt::host
{
namespace
{

constexpr const char *procedure_names[] = {
#define V_PROCEDURE(number, stub, argument, result) #stub,
#include "velt/tables/procedures.def"
#define V_CALLBACK(number, handler, argument) #handler,
#include "velt/tables/callbacks.def"
};

bool matches(const std::string &pattern, const std::string &name)
{
    return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
}

} // namespace

TraceFilter::TraceFilter(const std::string &list) : patterns_(split_list(list))
{
    failures_ = std::erase(patterns_, "failures") != 0;
    for (const std::string &pattern : patterns_)
        if (std::ranges::none_of(procedure_names,
                                 [&](const char *name) { return matches(pattern, name); }))
            misuse("no procedure is called \"" + pattern + "\"; a trace shows their names");
}

bool TraceFilter::shows(const TraceEvent &event) const
{
    const std::string name(event.procedure);
    const auto is_it = [&](const std::string &pattern) { return matches(pattern, name); };
    return (patterns_.empty() || std::ranges::any_of(patterns_, is_it)) &&
           (!failures_ || trace_failed(event));
}

void TraceOutput::write(const TraceEvent &event, const SessionText &text)
{
    try {
        if (error_ || !filter_.shows(event))
            return;
        const std::string line =
            (json_ ? trace_json(event, text) : trace_text(event, text, colour_)) + "\n";
        if (file_)
            file_->write(line);
        else if (!write_whole(STDERR_FILENO, line))
            throw std::system_error(errno, std::generic_category(), "standard error");
    } catch (const std::system_error &error) {
        error_ = error.code();
    } catch (const std::exception &) {
        error_ = std::make_error_code(std::errc::not_enough_memory);
    }
}

void TraceOutput::check_place() const
{
    if (file_)
        file_->check();
}

void TraceOutput::check() const
{
    if (error_)
        throw std::system_error(error_, (file_ ? file_->path() : "standard error") +
                                            ": the trace is not complete");
}

} // namespace velt::host
