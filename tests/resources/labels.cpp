// Shelfwise's labels, in the built tree, in every language of the host.
#include <set>

#include "support/resource_files.h"
#include "velt/vde/language.h"

TEST_F(Resources, LabelsInEveryLanguage)
{
    setenv("VQHOME", SHELFWISE_VQHOME, 1);
    std::set<std::string> languages;
    for (IntT number = 1; const char *language = V_LanguageString(number); ++number) {
        ASSERT_EQ(init("shelfwise", language), 0) << language;
        languages.insert(VdeInstance->language);
        std::set<std::string> labels;
        for (const IntT id : {0, 1, 2}) {
            const std::string label = get(id);
            EXPECT_FALSE(label.empty()) << language;
            EXPECT_LE(label.size(), 255u) << language;
            EXPECT_NE(label, "???") << language;
            labels.insert(label);
        }
        EXPECT_EQ(labels.size(), 3u) << language;
        EXPECT_EQ(get(3), "???") << language;
    }
    EXPECT_EQ(languages.size(), 24u);
}
