// What the tools have in common as programs: options, exit statuses and standard output.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "common/completion.h"
#include "common/error.h"
#include "common/options.h"

namespace velt
{

struct Program {
    const char *name;
    const char *help;
};

// Processes the options, and --help (-h), --version and the completion for shells, which end the
// program; returns the other words. What `next` returns may be the next of these. Throws Error.
std::vector<std::string> parse_options(const Program &program, int argc, char **argv,
                                       std::vector<Option> options = {},
                                       const NextWords &next = no_words,
                                       OptionsStand where = OptionsStand::anywhere);

// Writes to standard output, or throws.
void show(const std::string &text);

// Runs the body of a program and returns the exit status: what the body returns; of an Error that
// it throws its code, and 1 of any other exception.
int run_program(const Program &program, const std::function<ExitCode()> &body);

} // namespace velt
