// Prepares a session as the command line says.
#pragma once

#include "host/program/arguments.h"
#include "host/session/options.h"

namespace velt::host
{

// Returns the directory for resources that is installed with this program.
std::string installed_home();
// Sets VQHOME, unless it names a directory, so that clients of an installed host find the resources
// that are installed with it.
void default_home();

// Throws Error when the port mapper that is asked for cannot be used.
Options options_of(const Arguments &arguments);

} // namespace velt::host
