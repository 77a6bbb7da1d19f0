// A console that prints to output streams.
#pragma once

#include <deque>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "host/console/console.h"
#include "host/values/text.h"

namespace velt::host
{

// A prepared answer, in words.
struct Prepared {
    std::string words;
    bool quoted = false;    // then `cancel` is a text
    int position = 0;       // of the command in the script, for whoever prepares it
    std::size_t others = 0; // how many were prepared with it,
    std::size_t behind = 0; // and how many of these follow it
};

// Reads answers that stand one to a word. Throws Error for a quote that is not closed.
std::vector<Prepared> read_answers(std::string_view words, int position = 0);

// The person at a terminal, who may be typing a command while clients work.
class Person
{
public:
    virtual ~Person() = default;
    // Asks for an answer in words; nothing cancels the question. The question's texts are in UTF-8,
    // and the hint says what fits.
    virtual std::optional<std::string> ask(const Question &question, const std::string &hint) = 0;
    virtual bool is_typing() const = 0;
    // Take the line that is being typed off the terminal, so that something can be printed there,
    // and put it back; without one they do nothing.
    virtual void hide_line() = 0;
    virtual void show_line() = 0;
};

// Prints questions and what they are answered with. It takes each answer from the queue, or asks
// the person when the queue is empty or its answer does not fit; without a person the question is
// cancelled.
class PrintingConsole : public Console
{
public:
    PrintingConsole(std::ostream &out, std::ostream &errors) : out_(out), errors_(errors) {}

    Reply ask(const Question &question) override;
    void report(const std::string &line) override;
    void progress(int client, IntT value) override;

    // Ends the line in which a bar stands, so that other output can follow.
    void end_bar();
    // Prepares answers for the next questions.
    void prepare(std::vector<Prepared> more);
    // Throws Error if since the last call an answer in the queue has not fitted its question, and
    // nobody else was there to answer. `then` is the error that has come of it.
    void check(const std::string &then = {});

    std::optional<SessionText> text; // decodes what clients send; set as long as one may send
    std::deque<Prepared> answers;    // for the next questions
    Person *person = nullptr;        // null when there is none
    bool bar = false; // whether progress is shown as a bar, which only a terminal can redraw

    // What no expectation of the script has matched yet; the questions include the alerts.
    std::deque<std::string> alerts, questions;
    std::optional<IntT> progressed; // the farthest since the last expected

private:
    Question in_utf8(Question question) const;
    void show(const Question &question);
    Reply read(const Question &question, const std::string &words) const;
    std::optional<Reply> next_answer(const Question &question);
    Reply ask_person(const Question &question);

    std::ostream &out_;
    std::ostream &errors_;
    std::optional<std::pair<int, IntT>> shown_progress_; // of which client, and how far
    bool bar_is_open_ = false;
    std::string misfit_; // why the first such answer has not fitted
};

} // namespace velt::host
