#include "host/values/status.h"

#include <algorithm>

#include "common/nearest.h"
#include "common/printable.h"

namespace velt::host
{
namespace
{

constexpr std::pair<IntT, const char *> named[] = {
#define V_STATUS(code, name, meaning) {code, #name},
#include "velt/tables/statuses.def"
};

// The names are those of identifiers with hyphens in place of underscores.
std::string shown(std::string name)
{
    std::ranges::replace(name, '_', '-');
    return name;
}

} // namespace

std::vector<std::string> status_names()
{
    std::vector<std::string> names;
    for (const auto &[status, name] : named)
        names.push_back(shown(name));
    return names;
}

std::optional<IntT> status_named(std::string_view wanted)
{
    for (const auto &[status, name] : named)
        if (shown(name) == wanted)
            return status;
    return {};
}

std::string no_status(std::string_view wanted)
{
    Nearest nearest(wanted);
    const std::vector<std::string> names = status_names();
    for (const std::string &each : names)
        nearest.consider(each);
    const std::string hint = nearest.hint();
    return "no status is called " + in_quotes(wanted) +
           (hint.empty() ? "; vqhost(1) lists them" : hint);
}

const char *meaning_of(Status status)
{
    switch (status) {
    case ok:
        break;
#define V_STATUS(code, name, meaning)                                                              \
    case name:                                                                                     \
        return meaning;
#include "velt/tables/statuses.def"
    }
    return "ok";
}

} // namespace velt::host
