// The verb `vqhost check`, which examines a client.
#pragma once

#include <string>
#include <vector>

namespace velt::host
{

// Carries out the command line, and returns the exit code. Throws Error.
int check_client(int argc, char **argv);

// Returns what may stand in place of the last of its words, for a shell.
std::vector<std::string> complete_check(const std::vector<std::string> &words);

} // namespace velt::host
