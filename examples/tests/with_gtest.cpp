// Tests replace, and its dialog, with GoogleTest.

#include <string>

#include <gtest/gtest.h>

#include <velt/mock.h>

namespace
{

class Replace : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(V_MockOpen("tea.json", nullptr), 0);
        ASSERT_EQ(V_MockInitialize(0), 0);
    }
    void TearDown() override { EXPECT_EQ(V_MockClose(), 0); }
};

TEST_F(Replace, UndoesAllWhenTheUserCancels)
{
    V_MockReply("raven");
    V_MockReply("hare");
    V_MockQueueDialogEvent(1, 1, 0);
    V_MockQueueDialogEvent(1, 1, 0);
    V_MockQueueDialogEvent(0, 0, 1);
    ASSERT_EQ(V_MockCommand(1), 0);
    EXPECT_GT(V_MockCount("api_vq_add_text_1"), 0);
    EXPECT_EQ(V_MockCount("api_vq_save_1"), 0);
    EXPECT_EQ(V_MockCount("api_vq_close_1"), 2);
}

TEST_F(Replace, AsksNothingMoreWhenThereIsNothingToFind)
{
    V_MockReply(nullptr);
    ASSERT_EQ(V_MockCommand(1), 0);
    EXPECT_EQ(V_MockCount("api_vq_modal_dialog_1"), 0);
}

} // namespace

// The client library has a main of its own, so the test needs one.
int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
