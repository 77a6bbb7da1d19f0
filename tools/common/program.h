// What the tools have in common as programs: options, ways to end, and what goes to standard
// output.
#ifndef VELT_TOOLS_COMMON_PROGRAM_H
#define VELT_TOOLS_COMMON_PROGRAM_H

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

struct Program {
    const char *name;
    const char *help;
};

// An option with its letter, if it has one, and its name, if it has one. Either its value goes
// somewhere, or that it is given. Every program has --help (-h) and --version besides.
struct Option {
    char letter;
    const char *name;
    std::string *value;
    bool *given = nullptr;
};

struct UsageError : std::runtime_error {
    using runtime_error::runtime_error;
};

// Takes the options in and returns the other words. Throws UsageError.
std::vector<std::string> parse_options(const Program &program, int argc, char **argv,
                                       const std::vector<Option> &options = {});

// Writes to standard output, or throws.
void show(const std::string &text);

// Does what a program is for and returns its exit status: 0 all went well, 1 it did not, as the
// body says or an exception, 2 wrong usage.
int run_program(const Program &program, const std::function<bool()> &body);

#endif
