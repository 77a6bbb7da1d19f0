#include "host/trace/filter.h"

#include <fnmatch.h>

#include <algorithm>

#include "common/error.h"
#include "common/words.h"

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

} // namespace velt::host
