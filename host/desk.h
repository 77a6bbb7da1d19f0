// The person at the host, as the host sees them: who reads alerts and answers them.
#pragma once

#include <string>

#include "velt/scalars.h"

namespace velt::host
{

class Desk
{
public:
    virtual ~Desk() = default;

    // Shows an alert of a client and returns the answer that goes back to it.
    virtual IntT alert(int client, const std::string &message, IntT type) = 0;

    // One line for the person: a client's end, a breach of turn-taking, a delay.
    virtual void report(const std::string &line) = 0;
};

} // namespace velt::host
