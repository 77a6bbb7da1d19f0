// The manual of the reference host says of its numbers what the tables say.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>

namespace
{

TEST(Facts, StandInTheManual)
{
    std::ostringstream page;
    page << std::ifstream(MANUAL).rdbuf();
    const std::string manual = page.str();
    const auto expect = [&](int number, const std::string &meaning) {
        const std::string item = ".It " + std::to_string(number) + '\n' + meaning;
        EXPECT_NE(manual.find(item), manual.npos) << item;
    };
#define V_STATUS(code, name, meaning)                                                              \
    {                                                                                              \
        std::string dashed = #name;                                                                \
        std::ranges::replace(dashed, '_', '-');                                                    \
        expect(code, dashed + ": " + meaning + ".\n");                                             \
    }
#include "velt/tables/statuses.def"
#define V_PROPERTY(number, kind, object, name, rule, meaning)                                      \
    expect(number, std::string(#kind ", of ") +                                                    \
                       (std::string(#object) == "session" ? "the " : "a ") +                       \
                       #object ": " meaning);
#include "velt/tables/properties.def"
#define V_OBJECT_TYPE(number, name, meaning)                                                       \
    EXPECT_NE(manual.find(#name " (" #number ")"), manual.npos) << #name;
#include "velt/tables/object_types.def"
#define V_KIND(code, name)                                                                         \
    EXPECT_TRUE(std::string(#name).starts_with("integer_") || manual.find(#name) != manual.npos)   \
        << #name;
#include "velt/tables/kinds.def"
}

} // namespace
