#include "vdelib/support.h"

namespace
{

using Failure = FreshInstance;

void report()
{
    std::fputs("handler\n", stderr);
}

TEST_F(Failure, EndsTheProcessAfterTheInstalledHandler)
{
    EXPECT_ABORT(VdeFail(), "");
    EXPECT_ABORT(VdeEnforcement(), "");
    const VdeRoutineT none = V_SetAssert(nullptr);
    EXPECT_ABORT(none(), "");
    EXPECT_EQ(V_SetAssert(report), none);
    EXPECT_ABORT(VdeFail(), "handler\n");
    EXPECT_ABORT(VdeEnforcement(), "handler\n");
    EXPECT_EQ(V_SetAssert(nullptr), report);
    EXPECT_ABORT(VdeFail(), "");
}

TEST_F(Failure, EnforcementIsLenientOnlyUntilTheNextInitialisation)
{
    EXPECT_EQ(VdeSetStrictEnforcement(0), 1);
    EXPECT_EQ(VdeEnforcement(), 1);
    EXPECT_EQ(VdeSetStrictEnforcement(0), 1);
    EXPECT_EQ(VdeSetStrictEnforcement(256), 1);
    EXPECT_EQ(VdeInstance->strictEnforcement, 1);
    VdeSetStrictEnforcement(0);
    V_SetAssert(nullptr);
    EXPECT_ABORT(VdeEnforcement(), "");
}

TEST_F(Failure, InitialisingAgainKeepsTheRecord)
{
    V_SetDSExit(report);
    VdeInstanceT *const instance = VdeInstance;
    EXPECT_EQ(instance->srIndex, nullptr);
    VdeInstanceInit();
    EXPECT_EQ(VdeInstance, instance);
    EXPECT_EQ(instance->dsExitHandler, report);
}

} // namespace
