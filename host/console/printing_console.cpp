#include "host/console/printing_console.h"

namespace velt::host
{
namespace
{

constexpr const char *titles[] = {
#define V_QUESTION(kind, answer, title) title,
#include "host/console/questions.def"
};

} // namespace

std::string PrintingConsole::shown(const std::string &bytes) const
{
    return printable(text ? text->to_utf8(bytes) : bytes);
}

Reply PrintingConsole::ask(const Question &question)
{
    const std::string asked = shown(question.text);
    out_ << titles[question.kind] << " of client " << question.client << ", type "
         << question.detail << ": " << asked << std::endl;
    if (question.kind == Question::alert)
        alerts.push_back(asked);
    Reply reply = IntT{0};
    if (!answers.empty()) {
        reply = answers.front();
        answers.pop_front();
    } else if (person) {
        return person(question);
    }
    out_ << "  answered with " << std::get<IntT>(reply) << std::endl;
    return reply;
}

void PrintingConsole::report(const std::string &line)
{
    errors_ << "vqhost: " << printable(line) << std::endl;
}

void PrintingConsole::progress(int client, IntT percent)
{
    out_ << "progress of client " << client << ": " << percent << " %" << std::endl;
}

} // namespace velt::host
