#include "host/trace/filter.h"

#include <fnmatch.h>

#include <algorithm>
#include <string_view>

#include "common/error.h"
#include "common/nearest.h"
#include "common/words.h"
#include "host/values/status.h"
#include "host/wire/catalogue.h"

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

constexpr std::string_view failures = "failures",
                           client_is = "client=", status_is = "status=", lasts = "duration>=";

bool matches(const std::string &pattern, const std::string &name)
{
    return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
}

std::string checked_name(const std::string &pattern)
{
    Nearest nearest(pattern);
    nearest.consider(failures);
    const std::string as_part = "*" + pattern + "*";
    bool is_part = false;
    for (const char *name : procedure_names) {
        if (matches(pattern, name))
            return pattern;
        is_part = is_part || matches(as_part, name);
        nearest.consider(name);
    }
    // No name of a procedure has these characters.
    if (pattern.find_first_of("=<>!") != pattern.npos)
        misuse("a filter has no \"" + pattern +
               "\"; there are names of procedures, failures, client=NUMBER, status=STATUS and "
               "duration>=TIME");
    std::string hint = hint_of_call(pattern).value_or(nearest.hint());
    if (hint.empty() && is_part)
        hint = "; do you mean \"" + as_part + "\"?";
    misuse("no procedure is called \"" + pattern + "\"" +
           (hint.empty() ? "; a trace shows their names" : hint));
}

std::chrono::nanoseconds time_of(std::string_view text)
{
    constexpr std::pair<std::string_view, double> units[] = {{"us", 1e3}, {"ms", 1e6}, {"s", 1e9}};
    const std::size_t digits = std::min(text.find_first_not_of("0123456789."), text.size());
    const auto *unit =
        std::ranges::find(units, text.substr(digits), &std::pair<std::string_view, double>::first);
    if (unit == std::end(units) || digits == 0 || digits > 12)
        misuse("duration>=" + std::string(text) + ": not a time in us, ms or s, such as 10ms");
    return std::chrono::nanoseconds(
        static_cast<std::int64_t>(number<double>(text.substr(0, digits)) * unit->second));
}

int client_of(std::string_view text)
{
    if (!is_whole_number(text))
        misuse("client=" + std::string(text) +
               ": a client goes by its number here, as in client=1");
    return number<int>(text);
}

std::int64_t status_of(std::string_view text)
{
    const std::optional<IntT> named = status_named(text);
    if (!named && !is_whole_number(text))
        misuse(no_status(text));
    return named ? *named : number<int>(text);
}

template <class Values, class Value>
bool allows(const Values &values, const Value &value)
{
    return values.empty() || std::ranges::find(values, value) != values.end();
}

} // namespace

TraceFilter::TraceFilter(const std::string &list)
{
    for (const std::string &part : split_list(list)) {
        const std::string_view text = part;
        if (text == failures)
            failures_ = true;
        else if (text.starts_with(client_is))
            clients_.push_back(client_of(text.substr(client_is.size())));
        else if (text.starts_with(status_is))
            statuses_.push_back(status_of(text.substr(status_is.size())));
        else if (text.starts_with(lasts))
            least_duration_ = time_of(text.substr(lasts.size()));
        else
            patterns_.push_back(checked_name(part));
    }
}

bool TraceFilter::shows(const TraceEvent &event) const
{
    const std::string name(event.procedure);
    const auto is_it = [&](const std::string &pattern) { return matches(pattern, name); };
    return (patterns_.empty() || std::ranges::any_of(patterns_, is_it)) &&
           allows(clients_, std::int64_t{event.client}) && allows(statuses_, trace_status(event)) &&
           (!least_duration_ || event.duration >= least_duration_) &&
           (!failures_ || trace_failed(event));
}

} // namespace velt::host
