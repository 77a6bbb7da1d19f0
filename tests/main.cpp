// The main of GoogleTest, for tests some of which a machine may refuse: each of these says why in a
// line, and the test as a whole counts as skipped, unless one has failed.

#include <cstdio>

#include <gtest/gtest.h>

namespace
{

constexpr int skipped_status = 77;

class TellSkipped : public testing::EmptyTestEventListener
{
    void OnTestEnd(const testing::TestInfo &test) override
    {
        for (int i = 0; i < test.result()->total_part_count(); i++)
            if (const auto &part = test.result()->GetTestPartResult(i); part.skipped())
                std::printf("SKIPPED: %s.%s: %s\n", test.test_suite_name(), test.name(),
                            part.summary());
    }
};

} // namespace

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    const testing::UnitTest &tests = *testing::UnitTest::GetInstance();
    testing::UnitTest::GetInstance()->listeners().Append(new TellSkipped);
    const int status = RUN_ALL_TESTS();
    return status == 0 && tests.skipped_test_count() > 0 ? skipped_status : status;
}
