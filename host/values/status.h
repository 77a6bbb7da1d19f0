// The statuses with which the host refuses a call.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/error.h"
#include "velt/scalars.h"

namespace velt::host
{

// The status 0 is success.
enum Status : IntT {
    ok = 0,
#define V_STATUS(code, name, meaning) name = code,
#include "velt/tables/statuses.def"
};

const char *meaning_of(Status status);

// Returns the names of all but success, such as "not-permitted"; and the status of such a name, or
// nothing.
std::vector<std::string> status_names();
std::optional<IntT> status_named(std::string_view name);
// Returns what to tell of a name that is none of these.
std::string no_status(std::string_view name);

// The model throws it; the code that answers a call turns it into the status of the result.
class StatusError : public Error
{
public:
    explicit StatusError(Status status) : StatusError(status, meaning_of(status)) {}
    StatusError(Status status, const std::string &why) : Error(failed, why), status_(status) {}
    Status status() const { return status_; }

private:
    Status status_;
};

inline void check(bool holds, Status status)
{
    if (!holds)
        throw StatusError(status);
}

} // namespace velt::host
