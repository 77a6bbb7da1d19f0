// What a run expects and what came of it, for the person and for tools that count.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "common/words.h"

namespace velt::host
{

// An expectation that is not met: the run goes on and fails at its end.
class Unmet : public Error
{
public:
    explicit Unmet(const std::string &text) : Error(failed, text) {}
};

// Where a command stands.
struct Position {
    std::string source; // a script's name; empty for the arguments of the program
    int number;         // of the line or argument, from 1

    // "script:2", "argument 2"
    std::string text() const;
};

class Checks
{
public:
    // Each expectation that is not met is told at once.
    explicit Checks(std::ostream &errors) : errors_(errors) {}

    void met(const Position &position, std::string_view command);
    void unmet(const Position &position, std::string_view command, const std::string &why);
    // What made the run fail otherwise, which somebody else tells.
    void failed(const std::string &why);

    // One line, if anything was expected; whether nothing was amiss.
    bool summarise() const;
    // All of it in the format of JUnit; the suite has the book's name.
    std::string junit(const std::string &book) const;

private:
    struct Case {
        Position position;
        std::string command;
        enum { good, bad, broken } outcome;
        std::string why;
    };
    std::ptrdiff_t count(int outcome) const;

    std::ostream &errors_;
    std::vector<Case> cases_;
};

} // namespace velt::host
