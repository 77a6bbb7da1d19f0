// What the tools have in common as programs: options, exit statuses and standard output.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "common/error.h"
#include "common/options.h"

namespace velt
{

struct Program {
    const char *name;
    const char *help;
};

// Processes the options, and --help (-h) and --version, which end the program; returns the other
// words. Throws Error.
std::vector<std::string> parse_options(const Program &program, int argc, char **argv,
                                       std::vector<Option> options = {});

// Writes to standard output, or throws.
void show(const std::string &text);

// Runs the body of a program and returns the exit status: 0 for success; 1 when the body returns
// false or throws; 2 for wrong usage.
int run_program(const Program &program, const std::function<bool()> &body);

} // namespace velt
