// A desk on output streams.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <ostream>
#include <string>

#include "host/desk.h"
#include "host/text.h"

namespace velt::host
{

// A desk that prints. Alerts are answered from a queue, else by a person, else with 0.
class PrintingDesk : public Desk
{
public:
    PrintingDesk(std::ostream &out, std::ostream &errors) : out_(out), errors_(errors) {}

    IntT alert(int client, const std::string &message, IntT type) override;
    void report(const std::string &line) override;

    std::optional<SessionText> text; // for what clients send, as long as one may send
    std::deque<IntT> answers;
    std::function<IntT()> ask; // a person, when there is one
    // What the script has not expected yet.
    std::deque<std::string> alerts;

private:
    std::ostream &out_;
    std::ostream &errors_;
};

} // namespace velt::host
