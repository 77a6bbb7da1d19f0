// The expectations of a run and their results, for the person and for tools that count them.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "common/words.h"

namespace velt::host
{

// Thrown for an expectation that is not met; the run goes on and fails at its end.
class Unmet : public Error
{
public:
    explicit Unmet(const std::string &text) : Error(failed, text) {}
};

// The place of a command in a script or among the arguments.
struct Position {
    std::string source; // a script's name; empty for the arguments of the program
    int number;         // of the line or argument, from 1; 0 stands for the run as a whole

    // Returns a text such as "script:2" or "argument 2".
    std::string text() const;
};

class Checks
{
public:
    // Each expectation that is not met is reported to `errors` at once.
    explicit Checks(std::ostream &errors) : errors_(errors) {}

    void met(const Position &position, std::string_view command);
    void unmet(const Position &position, std::string_view command, const std::string &why);
    // Record what was expected of the run as a whole, and is reported by the caller.
    void met(std::string_view what);
    void unmet(std::string_view what, const std::string &why);
    // Records another reason for which the run fails. The caller sees to it that it is reported.
    void failed(const std::string &why);

    // Prints one line if the script expected anything. Returns whether every expectation was met
    // and nothing else failed.
    bool summarise() const;
    // Returns all results in the format of JUnit; the suite has the book's name.
    std::string junit(const std::string &book) const;
    static constexpr std::string_view junit_beginning =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites";
    bool empty() const { return cases_.empty(); }

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
