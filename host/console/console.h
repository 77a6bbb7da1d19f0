// The person at the host, as the host sees them: who reads alerts and answers questions.
#pragma once

#include <optional>
#include <string>

#include "velt/scalars.h"

namespace velt::host
{

// A client's alert; the kind of answer that it takes is the type's.
struct Alert {
    int client;
    std::string message; // in the session's own encoding
    IntT type;
};

inline constexpr IntT cancelled = -1;

class Console
{
public:
    virtual ~Console() = default;

    // Shows the alert. The answer that goes back to the client; none when the alert was cancelled,
    // of which the client hears as `cancelled`.
    virtual std::optional<IntT> ask(const Alert &alert) = 0;

    // One line for the person: a client's end, a breach of turn-taking, a delay.
    virtual void report(const std::string &line) = 0;
};

} // namespace velt::host
