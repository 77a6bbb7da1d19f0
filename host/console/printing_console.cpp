#include "host/console/printing_console.h"

namespace velt::host
{

std::optional<IntT> PrintingConsole::ask(const Alert &alert)
{
    const std::string shown = printable(text ? text->to_utf8(alert.message) : alert.message);
    out_ << "alert of client " << alert.client << ", type " << alert.type << ": " << shown
         << std::endl;
    alerts.push_back(shown);
    IntT answer = 0;
    if (!answers.empty()) {
        answer = answers.front();
        answers.pop_front();
    } else if (person) {
        return person();
    }
    out_ << "  answered with " << answer << std::endl;
    return answer;
}

void PrintingConsole::report(const std::string &line)
{
    errors_ << "vqhost: " << printable(line) << std::endl;
}

} // namespace velt::host
