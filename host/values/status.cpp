#include "host/values/status.h"

#include <algorithm>

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
