// A console that prints to output streams.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include "host/console/console.h"
#include "host/values/text.h"

namespace velt::host
{

// Prints questions and what they are answered with. It takes each answer from the queue, or asks
// the person when the queue is empty; without a person the question is cancelled.
class PrintingConsole : public Console
{
public:
    PrintingConsole(std::ostream &out, std::ostream &errors) : out_(out), errors_(errors) {}

    Reply ask(const Question &question) override;
    void report(const std::string &line) override;
    void progress(int client, IntT percent) override;

    // Ends the line in which a bar stands, so that other output can follow.
    void end_bar();
    // Throws Error if since the last call an answer in the queue has not fitted its question.
    void check();

    std::optional<SessionText> text; // decodes what clients send; set as long as one may send
    std::deque<std::string> answers; // in words, for the next questions
    // Asks the person for an answer in words; nothing cancels the question. The question's texts
    // are in UTF-8, and the hint says what fits. Empty when there is no person.
    std::function<std::optional<std::string>(const Question &, const std::string &hint)> person;
    bool bar = false; // whether progress is shown as a bar, which only a terminal can redraw

    // What no expectation of the script has matched yet; the questions include the alerts.
    std::deque<std::string> alerts, questions;
    std::optional<IntT> progressed; // the farthest since the last expected

private:
    Question in_utf8(Question question) const;
    void show(const Question &question);
    Reply read(const Question &question, const std::string &words) const;
    Reply next_answer(const Question &question);
    Reply ask_person(const Question &question);

    std::ostream &out_;
    std::ostream &errors_;
    std::optional<std::pair<int, IntT>> shown_progress_; // of which client, and how far
    bool bar_is_open_ = false;
    std::string misfit_; // why an answer has not fitted
};

} // namespace velt::host
