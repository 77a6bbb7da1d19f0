// What the tools have in common as programs: options, ways to end, and what goes to standard
// output.
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

// Takes the options in, and --help (-h) and --version besides, which end the program; returns the
// other words. Throws Error.
std::vector<std::string> parse_options(const Program &program, int argc, char **argv,
                                       std::vector<Option> options = {});

// Writes to standard output, or throws.
void show(const std::string &text);

// Does what a program is for and returns its exit status: 0 all went well, 1 it did not, as the
// body says or an exception, 2 wrong usage.
int run_program(const Program &program, const std::function<bool()> &body);

} // namespace velt
