// The interface to the person at the host, who reads alerts and answers questions.
#pragma once

#include <optional>
#include <string>

#include "velt/scalars.h"

namespace velt::host
{

// A client's alert. Its type decides which kind of answer it takes.
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

    // Shows the alert and returns the answer for the client; returns nothing when the alert was
    // cancelled, which the client learns as the answer `cancelled`.
    virtual std::optional<IntT> ask(const Alert &alert) = 0;

    // Shows the person one line: a client's end, a breach of turn-taking, a delay.
    virtual void report(const std::string &line) = 0;
};

} // namespace velt::host
