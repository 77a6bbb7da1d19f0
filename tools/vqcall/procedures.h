// The host's procedures by their names and by those of the public calls, and those of its clients.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/wire/catalogue.h"

namespace velt::call
{

struct ProcedureFacts {
    const host::Procedure *procedure;
    std::string_view argument, result; // the types by their names
    bool is_modelled = false;          // by the reference host
    bool is_callback = false;          // a client's, which the host calls
};

// A function of the client library that uses a procedure.
struct User {
    std::string_view stub, name;
    std::string_view declaration; // empty for one that is not public
};

// Returns the procedures of the host, and then the clients', in ascending order of their numbers.
std::span<const ProcedureFacts> procedures();
std::vector<User> users_of(std::string_view stub);
// Returns the procedure by its stub's name, its number if it is the host's, or the name of a call
// that uses no other. Throws Error.
const ProcedureFacts &find_procedure(const std::string &name);
// Returns all names by which a procedure can be found.
std::vector<std::string> procedure_names(bool with_callbacks);

// Returns a line for each procedure of which a name matches the pattern. Throws Error when there is
// none.
std::string list(const std::string &pattern);
std::string describe(const ProcedureFacts &of);

} // namespace velt::call
