#pragma once

#include <exception>

namespace velt::test
{

// The message of the error that the call throws; empty when it throws none.
std::string error_of(auto call)
{
    try {
        call();
    } catch (const std::exception &error) {
        return error.what();
    }
    return "";
}

} // namespace velt::test

// The text must have the part somewhere.
#define EXPECT_PART(text, part)                                                                    \
    EXPECT_PRED2([](const std::string &whole,                                                      \
                    const std::string &some) { return whole.find(some) != whole.npos; },           \
                 text, part)
