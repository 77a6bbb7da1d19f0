#include "host/trace_output.h"

#include <fcntl.h>
#include <fnmatch.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "host/words.h"

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
            throw std::runtime_error("no procedure is called \"" + pattern +
                                     "\"; a trace shows their names");
}

bool TraceFilter::shows(const TraceEvent &event) const
{
    const std::string name(event.procedure);
    const auto is_it = [&](const std::string &pattern) { return matches(pattern, name); };
    return (patterns_.empty() || std::ranges::any_of(patterns_, is_it)) &&
           (!failures_ || trace_failed(event));
}

TraceOutput::TraceOutput(const std::string &file, bool json, TraceFilter filter, bool colour)
    : name_(file),
      file_(file.empty()
                ? -1
                : open(file.c_str(),
                       O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_NONBLOCK | O_CLOEXEC, 0666)),
      json_(json), filter_(std::move(filter)), colour_(colour && file.empty())
{
    if (!file.empty() && !file_)
        throw std::system_error(errno, std::generic_category(), file + ": cannot be written");
    // Nobody is waited for who may read from a pipe, but what one reads is written whole.
    if (file_)
        fcntl(file_.get(), F_SETFL, O_APPEND);
}

void TraceOutput::write(const TraceEvent &event, const SessionText &text)
{
    if (error_ != 0 || !filter_.shows(event))
        return;
    const std::string line =
        (json_ ? trace_json(event, text) : trace_text(event, text, colour_)) + "\n";
    for (std::string_view rest = line; !rest.empty();) {
        const ssize_t written =
            ::write(file_ ? file_.get() : STDERR_FILENO, rest.data(), rest.size());
        if (written >= 0)
            rest.remove_prefix(static_cast<std::size_t>(written));
        else if (errno != EINTR) {
            error_ = errno;
            return;
        }
    }
}

void TraceOutput::finish() const
{
    if (error_ != 0)
        throw std::system_error(error_, std::generic_category(),
                                (file_ ? name_ : "standard error") + ": the trace is not complete");
}

} // namespace velt::host
