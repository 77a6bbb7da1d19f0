// A console on output streams.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <ostream>
#include <string>

#include "host/console/console.h"
#include "host/values/text.h"

namespace velt::host
{

// Prints alerts, and answers them from a queue, else by a person, else with 0.
class PrintingConsole : public Console
{
public:
    PrintingConsole(std::ostream &out, std::ostream &errors) : out_(out), errors_(errors) {}

    std::optional<IntT> ask(const Alert &alert) override;
    void report(const std::string &line) override;

    std::optional<SessionText> text; // for what clients send, as long as one may send
    std::deque<IntT> answers;
    std::function<std::optional<IntT>()> person; // when there is one
    // What the script has not expected yet.
    std::deque<std::string> alerts;

private:
    std::ostream &out_;
    std::ostream &errors_;
};

} // namespace velt::host
