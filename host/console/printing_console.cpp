#include "host/console/printing_console.h"

#include <algorithm>
#include <iomanip>

#include "common/words.h"
#include "host/console/replies.h"

namespace velt::host
{
namespace
{

// A longer list is not shown to its end.
constexpr std::size_t shown_items = 200;

constexpr const char *titles[] = {
#define V_QUESTION(kind, answer, title) title,
#include "host/console/questions.def"
};

std::string title(const Question &question)
{
    std::string title = titles[question.kind];
    if (question.client != 0)
        title += " of client " + std::to_string(question.client);
    if (question.kind == Question::alert)
        title += ", type " + std::to_string(question.detail);
    return title;
}

// Returns what stands before the text of the question, if it has one.
std::string heading(const Question &question)
{
    return title(question) + (question.text.empty() ? "" : ": ");
}

// Keeps the line that a person is typing off the terminal.
class HiddenLine
{
public:
    explicit HiddenLine(Person *person) : person_(person)
    {
        if (person_)
            person_->hide_line();
    }
    HiddenLine(const HiddenLine &) = delete;
    HiddenLine &operator=(const HiddenLine &) = delete;
    ~HiddenLine()
    {
        if (person_)
            person_->show_line();
    }

private:
    Person *person_;
};

} // namespace

Question PrintingConsole::in_utf8(Question question) const
{
    if (!text)
        return question;
    question.text = text->to_utf8(question.text);
    question.suggestion = text->to_utf8(question.suggestion);
    for (std::string &each : question.items)
        each = text->to_utf8(each);
    return question;
}

void PrintingConsole::show(const Question &question)
{
    out_ << heading(question);
    for (const char c : printable_lines(question.text))
        out_ << c << (c == '\n' ? "  " : "");
    out_ << "\n";
    for (std::size_t i = 0; i < std::min(question.items.size(), shown_items); i++)
        out_ << "  " << std::setw(2) << i + 1 << "  " << printable_line(question.items[i]) << "\n";
    if (question.items.size() > shown_items)
        out_ << "  and " << question.items.size() - shown_items << " more\n";
    out_ << std::flush;
    questions.push_back(printable_line(question.text));
    if (question.kind == Question::alert)
        alerts.push_back(questions.back());
}

// Reads an answer, which must also exist in the session's encoding.
Reply PrintingConsole::read(const Question &question, const std::string &words) const
{
    Reply reply = read_reply(question, words);
    if (const auto *answer = std::get_if<std::string>(&reply); answer && text)
        text->from_utf8(*answer);
    return reply;
}

std::vector<Prepared> read_answers(std::string_view words, int position)
{
    std::vector<Prepared> answers;
    for (words = trimmed(words); !words.empty();) {
        const bool quoted = words.starts_with('"');
        answers.push_back({take_word(words), quoted, position});
    }
    return answers;
}

void PrintingConsole::prepare(std::vector<Prepared> more)
{
    for (std::size_t i = 0; i < more.size(); i++) {
        more[i].others = more.size() - 1;
        more[i].behind = more.size() - 1 - i;
        answers.push_back(std::move(more[i]));
    }
}

// Replies to a question in UTF-8 as the queue says, or returns nothing when it is empty or its
// answer does not fit. Those that were prepared with that are then meant for other questions.
std::optional<Reply> PrintingConsole::next_answer(const Question &question)
{
    if (answers.empty())
        return {};
    const Prepared answer = answers.front();
    answers.pop_front();
    if (answer.words == "cancel" && !answer.quoted)
        return Reply();
    try {
        return read(question, answer.words);
    } catch (const std::runtime_error &error) {
        answers.erase(answers.begin(),
                      answers.begin() + static_cast<std::ptrdiff_t>(answer.behind));
        const std::string misfit =
            "the answer \"" + answer.words + "\" does not fit the " + heading(question) +
            printable_line(question.text) + "\n  " + error.what() +
            (answer.others > 0 && !answer.quoted ? " (an answer with a blank needs quotes)" : "");
        if (person)
            out_ << "  " << printable_lines(misfit) << std::endl;
        else if (misfit_.empty())
            misfit_ = misfit;
        return {};
    }
}

// Asks the person until the answer fits; an empty line takes the suggestion.
Reply PrintingConsole::ask_person(const Question &question)
{
    const std::string hint =
        std::string(wanted(question)) + " (" +
        (question.suggestion.empty() ? std::string()
                                     : "Enter: " + printable_line(question.suggestion) + ", ") +
        "Ctrl-D: cancel)";
    while (const std::optional<std::string> line = person->ask(question, hint)) {
        try {
            const std::string words = whole(*line);
            return read(question, words.empty() ? question.suggestion : words);
        } catch (const std::runtime_error &error) {
            out_ << "  " << printable(error.what()) << std::endl;
        }
    }
    return {};
}

Reply PrintingConsole::ask(const Question &original)
{
    end_bar();
    const Question question = in_utf8(original);
    const HiddenLine hidden(person);
    show(question);
    const std::optional<Reply> prepared = next_answer(question);
    const bool to_person = !prepared && person;
    Reply reply = to_person ? ask_person(question) : prepared.value_or(Reply());
    if (!to_person)
        out_ << "  " << printable(told(question, reply)) << std::endl;
    if (auto *answer = std::get_if<std::string>(&reply); answer && text)
        *answer = text->from_utf8(*answer);
    return reply;
}

void PrintingConsole::check(const std::string &then)
{
    if (!misfit_.empty())
        fail(std::exchange(misfit_, {}) + (then.empty() ? "" : "\n  " + then));
}

void PrintingConsole::report(const std::string &line)
{
    end_bar();
    const HiddenLine hidden(person);
    errors_ << "vqhost: " << printable(line) << std::endl;
}

void PrintingConsole::progress(int client, IntT value)
{
    const IntT percent = std::clamp(value, 0, 100);
    progressed = std::max(percent, progressed.value_or(percent));
    if (person && person->is_typing())
        return; // A bar would be drawn over the line.
    if (std::exchange(shown_progress_, std::pair(client, percent)) == std::pair(client, percent))
        return;
    const std::string title = "progress of client " + std::to_string(client) + ": ";
    if (!bar) {
        out_ << title << percent << " %" << std::endl;
        return;
    }
    constexpr int width = 40;
    const auto done = static_cast<std::size_t>(percent * width / 100);
    std::string line(width, ' ');
    line.replace(0, done, done, '#');
    out_ << "\r" << title << "[" << line << "] " << std::setw(3) << percent << " %" << std::flush;
    bar_is_open_ = true;
}

void PrintingConsole::end_bar()
{
    if (std::exchange(bar_is_open_, false))
        out_ << std::endl;
}

} // namespace velt::host
