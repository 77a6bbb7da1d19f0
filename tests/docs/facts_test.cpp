// The manual says of the numbers of host and languages what the tables say.

namespace
{

std::string page(const std::string &name)
{
    std::ostringstream text;
    text << std::ifstream(MANUAL + name).rdbuf();
    return text.str();
}

TEST(Facts, LanguagesStandInTheManual)
{
    std::string manual = page("vqsre.1"), others;
    std::ranges::replace(manual, '\n', ' ');
#define V_LANGUAGE(number, name, encoding)                                                         \
    if (std::string(#encoding) == "Quire")                                                         \
        others += others.empty() ? #name : ", " #name;                                             \
    else                                                                                           \
        EXPECT_NE(manual.find(".It " #name " Ta "), manual.npos) << #name;
#include "velt/tables/languages.def"
    others.replace(others.rfind(", "), 2, " and ");
    EXPECT_NE(manual.find("The others are " + others + ". "), manual.npos) << others;
}

TEST(Facts, NumbersStandInTheManual)
{
    const std::string manual = page("vqhost.1");
    const auto expect = [&](int number, const std::string &meaning) {
        const std::string item = ".It " + std::to_string(number) + '\n' + meaning;
        EXPECT_NE(manual.find(item), manual.npos) << item;
    };
    const auto dashed = [](std::string name) {
        std::ranges::replace(name, '_', '-');
        return name;
    };
#define V_STATUS(code, name, meaning) expect(code, dashed(#name) + ": " + meaning + ".\n");
#include "velt/tables/statuses.def"
#define V_PROPERTY(number, kind, object, name, rule, meaning)                                      \
    expect(number, std::string(#kind ", of ") +                                                    \
                       (std::string(#object) == "session" ? "the " : "a ") +                       \
                       #object ": " meaning);
#include "velt/tables/properties.def"
#define V_HOST_OPTION(operation, number, name, kind, meaning)                                      \
    if (std::string(#operation) != "Close" && std::string(#operation) != "Returned")               \
        expect(number, #kind ", of " #operation ": " meaning ".\n");
#include "velt/tables/host_options.def"
#define V_FILE_STATUS(bit, name, status, meaning)                                                  \
    expect(bit, dashed(#name) + ": " + meaning + ".\n");
#include "velt/tables/file_statuses.def"
#define V_NOTIFICATION(code, name, meaning) expect(code, #name ": " meaning ".\n");
#include "velt/tables/notifications.def"
#define V_OBJECT_TYPE(number, name, meaning)                                                       \
    EXPECT_NE(manual.find(#name " (" #number ")"), manual.npos) << #name;
#include "velt/tables/object_types.def"
#define V_FONT_FAMILY(number, name, encoding)                                                      \
    EXPECT_NE(manual.find(name " (" #number ")"), manual.npos) << name;
#define V_COMBINED_FAMILY(number, name) V_FONT_FAMILY(number, name, "")
#include "velt/tables/fonts.def"
#define V_KIND(code, name)                                                                         \
    EXPECT_TRUE(std::string(#name).starts_with("integer_") || manual.find(#name) != manual.npos)   \
        << #name;
#include "velt/tables/kinds.def"
}

} // namespace
