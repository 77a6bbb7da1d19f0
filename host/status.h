// What the host answers when it refuses a call.
#pragma once

#include <exception>

#include "velt/scalars.h"

namespace velt::host
{

// 0 is success.
enum Status : IntT {
    ok = 0,
#define V_STATUS(code, name, meaning) name = code,
#include "velt/tables/statuses.def"
};

// Thrown by the model; its caller turns it into the status of an answer.
class Refusal : public std::exception
{
public:
    explicit Refusal(Status status) : status_(status) {}
    Status status() const { return status_; }
    const char *what() const noexcept override;

private:
    Status status_;
};

} // namespace velt::host
