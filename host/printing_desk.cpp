#include "host/printing_desk.h"

namespace velt::host
{

IntT PrintingDesk::alert(int client, const std::string &message, IntT type)
{
    const std::string shown = printable(text ? text->to_utf8(message) : message);
    out_ << "alert of client " << client << ", type " << type << ": " << shown << std::endl;
    alerts.push_back(shown);
    IntT answer = 0;
    if (!answers.empty()) {
        answer = answers.front();
        answers.pop_front();
    } else if (ask) {
        return ask();
    }
    out_ << "  answered with " << answer << std::endl;
    return answer;
}

void PrintingDesk::report(const std::string &line)
{
    errors_ << "vqhost: " << printable(line) << std::endl;
}

} // namespace velt::host
