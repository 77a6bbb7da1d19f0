// What a script may expect.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace velt::host
{

class Commands;

struct Expectation {
    // Whether it is so, and what is then done; and what is wanted and is, for the message.
    struct Verdict {
        bool met;
        std::string wanted, is;
        std::function<void()> done = {};
    };
    std::string_view name, arguments, summary;
    Verdict (*check)(Commands &, std::string_view rest);

    std::string usage() const;
    static std::span<const Expectation> all();
    // Null when there is none of the name.
    static const Expectation *find(std::string_view name);
    // Of an expectation by its name and arguments. Throws Error for what is none.
    static Verdict verdict(Commands &, std::string_view rest);
};

// Throws Unmet, or Error for what is no expectation.
void expect(Commands &commands, std::string_view rest);

} // namespace velt::host
