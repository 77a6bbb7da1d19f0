// The expectations that a script may state.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/script/command_table.h"
#include "velt/scalars.h"

namespace velt::host
{

struct Expectation {
    // The result of a check: whether the expectation is met, what to do once it is, and the wanted
    // and the actual state for the message.
    struct Verdict {
        bool met;
        std::string wanted, is;
        std::function<void()> done = {};
    };
    std::string_view name, arguments, summary;
    Verdict (*check)(Commands &, std::string_view rest);

    Syntax syntax() const { return {name, arguments}; }
    std::string usage() const; // with `expect`
    static std::span<const Expectation> all();
    // Returns the expectation of the name, or null.
    static const Expectation *find(std::string_view name);
    // Returns that with whose name this begins. Throws Error for an unknown one.
    static const Expectation &of(std::string_view rest);
    // Checks an expectation that is given by its name and arguments. Throws Error for an unknown
    // one.
    static Verdict verdict(Commands &, std::string_view rest);
};

// Returns the names of the host's own notifications.
std::vector<std::string> notification_names();
// Returns the code of a notification that is given by its name or its code. Throws Error.
IntT notification_code(std::string_view name);

// Checks an expectation. Throws Unmet when it is not met, or Error for an unknown one.
void expect(Commands &commands, std::string_view rest);

} // namespace velt::host
