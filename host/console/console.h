// The interface to the person at the host, who reads alerts, answers questions, and sees how far
// clients are.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "velt/api.h"

namespace velt::host
{

// A question to the person. Texts are in the session's own encoding.
struct Question {
    enum Kind {
#define V_QUESTION(kind, answer, title) kind,
#include "host/console/questions.def"
    };
    Kind kind;
    int client; // that asks; 0 for the host itself
    std::string text = {};
    std::string suggestion = {};         // what the answer is unless the person changes it
    std::vector<std::string> items = {}; // to choose from
    IntT detail = 0; // the type of an alert; the length that a number without a unit counts
};

// The answer. It holds the alternative that questions.def says, or nothing when the person has
// cancelled the question or nobody is there to answer.
using Reply = std::variant<std::monostate, IntT, std::string, V_PointT, RectT>;

class Console
{
public:
    virtual ~Console() = default;

    // Shows the question and returns its answer.
    virtual Reply ask(const Question &question) = 0;

    // Shows the person one line: a client's end, a breach of turn-taking, a delay.
    virtual void report(const std::string &line) = 0;

    // Shows how far the client is, in per cent.
    virtual void progress(int, IntT) {}
};

} // namespace velt::host
