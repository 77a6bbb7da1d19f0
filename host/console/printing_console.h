// A console that prints to output streams.
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

// Prints alerts. It takes each answer from the queue, or asks the person when the queue is empty,
// or answers 0 when there is no person.
class PrintingConsole : public Console
{
public:
    PrintingConsole(std::ostream &out, std::ostream &errors) : out_(out), errors_(errors) {}

    Reply ask(const Question &question) override;
    void report(const std::string &line) override;
    void progress(int client, IntT percent) override;

    std::optional<SessionText> text; // decodes what clients send; set as long as one may send
    std::deque<IntT> answers;
    std::function<Reply(const Question &)> person; // asks the person; empty when there is none
    // The alerts that no expectation of the script has matched yet.
    std::deque<std::string> alerts;

private:
    std::string shown(const std::string &bytes) const;

    std::ostream &out_;
    std::ostream &errors_;
};

} // namespace velt::host
