// Errors, with the exit code of the program that they end.
#pragma once

#include <stdexcept>
#include <string>

namespace velt
{

// Exit codes of all programs here; no_mapper is vqhost's.
enum ExitCode { done = 0, failed = 1, misused = 2, no_mapper = 3 };

class Error : public std::runtime_error
{
public:
    Error(ExitCode exit_code, std::string text);
    ExitCode code;
};

[[noreturn]] inline void fail(const std::string &text)
{
    throw Error(failed, text);
}

// Reports wrong usage of a program or of a command.
[[noreturn]] inline void misuse(const std::string &text)
{
    throw Error(misused, text);
}

// Returns what a person is told of the exception.
std::string reason_of(const std::exception &error);

} // namespace velt
