#include <cstring>

#include "support/vde.h"

namespace
{

using Memory = FreshInstance;
using Handles = FreshInstance;
using Failure = FreshInstance;

constexpr UIntT too_large = 100000000;

std::string bytes(const void *block, size_t size)
{
    return {static_cast<const char *>(block), size};
}

TEST_F(Memory, OversizedRequestsEndTheProcess)
{
    Owned<void> block{V_Alloc(too_large - 1, 0)};
    EXPECT_NE(block, nullptr);
    EXPECT_ABORT(V_Alloc(too_large, 0), "");
    EXPECT_ABORT(V_Calloc(too_large / 10, 10, 0), "");
    EXPECT_ABORT(V_Realloc(block.get(), too_large, 0), "");
    EXPECT_ABORT(V_CopyPtr("", block.get(), too_large), "");
    EXPECT_ABORT(V_Calloc(65536, 65537, 0), ""); // 65536 bytes in 32 bits
}

TEST_F(Memory, BlocksAreClearedWhereTheyShouldBe)
{
    EXPECT_EQ(bytes(Owned<void>{V_Calloc(25, 4, 0)}.get(), 100), std::string(100, '\0'));
    Owned<> text{static_cast<char *>(V_Realloc(nullptr, 8, 0))};
    EXPECT_EQ(bytes(text.get(), 8), std::string(8, '\0'));
    std::memcpy(text.get(), "content", sizeof "content");
    text.reset(static_cast<char *>(V_Realloc(text.release(), 4000, 0)));
    EXPECT_EQ(V_ClearPtr(text.get(), 3), 0);
    EXPECT_EQ(bytes(text.get(), 8), std::string("\0\0\0tent\0", 8));
    // An empty block is one, too.
    EXPECT_NE(Owned<void>{V_Alloc(0, V_AllocFatal)}, nullptr);
    text.reset(static_cast<char *>(V_Realloc(text.release(), 0, V_AllocFatal)));
    EXPECT_NE(text, nullptr);
}

TEST_F(Memory, NullIsRefused)
{
    void *variable = nullptr;
    EXPECT_EQ(V_Free(nullptr), -1);
    EXPECT_EQ(VdeFree(&variable), -1);
    EXPECT_EQ(V_CopyPtr(nullptr, &variable, 1), -1);
    EXPECT_EQ(V_CopyBytes(&variable, nullptr, 1), -1);
    EXPECT_EQ(V_ClearPtr(nullptr, 1), -1);
    EXPECT_EQ(V_DuplicatePtr(nullptr, 4, 0), nullptr);
    variable = V_Alloc(1, 0);
    EXPECT_EQ(VdeFree(&variable), 0);
    EXPECT_EQ(variable, nullptr);
}

TEST_F(Memory, CopiesMayOverlapAndNullEqualsZeroBytes)
{
    char text[] = "abcdef";
    EXPECT_EQ(V_CopyPtr(text, text + 2, 4), 0);
    EXPECT_STREQ(text, "ababcd");
    EXPECT_EQ(bytes(Owned<void>{V_DuplicatePtr(text + 2, 3, 0)}.get(), 3), "abc");
    EXPECT_EQ(V_PtrEqual(text, text + 2, 2), 1);
    EXPECT_EQ(V_PtrEqual(text, text + 2, 3), 0);
    EXPECT_EQ(V_PtrEqual("a", "b", 0), 1);
    EXPECT_EQ(V_PtrEqual(nullptr, "\0\0\0", 4), 1);
    EXPECT_EQ(V_PtrEqual("\0\0\0\1", nullptr, 4), 0);
    EXPECT_EQ(V_PtrEqual(nullptr, nullptr, 4), 1);
}

TEST_F(Memory, ExhaustionKeepsTheOldBlockOrRunsTheExitHandler)
{
    Owned<> block{V_StrCopyString("old")};
    {
        const FailingHeap heap;
        EXPECT_EQ(V_Calloc(1, 1, 2), nullptr);
        EXPECT_EQ(V_DuplicatePtr("x", 1, 0), nullptr);
        EXPECT_EQ(V_Realloc(block.get(), 1000, 0), nullptr);
        EXPECT_EQ(V_StrCopyString("new"), nullptr);
        EXPECT_STREQ(block.get(), "old");
    }
    const FailingHeap heap{1}; // the instance record's
    EXPECT_EXIT((V_Free(V_Alloc(1, 0)), V_Alloc(1, 1)), testing::KilledBySignal(SIGABRT), "^$");
    EXPECT_EQ(V_SetDSExit([] { std::fputs("exhausted\n", stderr); }), nullptr);
    EXPECT_ABORT(V_Alloc(1, 3), "exhausted\n");
    EXPECT_ABORT(V_Calloc(1, 1, 1), "exhausted\n");
    EXPECT_ABORT(V_Realloc(block.get(), 2, 1), "exhausted\n");
}

TEST_F(Handles, KeepSizeAndContent)
{
    V_HandleT *handle = V_AllocHandle(10, 0);
    EXPECT_EQ(bytes(handle->block, 10), std::string(10, '\0'));
    std::memcpy(handle->block, "content", sizeof "content");
    EXPECT_EQ(V_ReallocHandle(handle, 5000, 0), handle);
    {
        const FailingHeap heap;
        EXPECT_EQ(V_ReallocHandle(handle, 9000, 0), nullptr);
        EXPECT_EQ(V_ReallocHandle(handle, 5000, 0), handle); // nothing to do
    }
    EXPECT_EQ(V_GetHandleSize(handle), 5000u);
    EXPECT_STREQ(static_cast<char *>(handle->block), "content");
    EXPECT_EQ(VdeFreeHandle(&handle), 0);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(handle), 0xDEADDEADu);
}

TEST_F(Handles, LocksCountAndAreEnforced)
{
    V_HandleT *handle = V_AllocHandle(4, 0);
    EXPECT_EQ(V_UnlockHandle(handle), 0u);
    EXPECT_EQ(V_LockHandle(handle), handle->block);
    V_LockHandle(handle);
    EXPECT_EQ(V_UnlockHandle(handle), 1u);
    EXPECT_ABORT(V_FreeHandle(handle), "");
    EXPECT_ABORT(V_ReallocHandle(handle, 4, 0), "");
    VdeSetStrictEnforcement(0);
    EXPECT_EQ(V_ReallocHandle(handle, 8, 0), handle);
    EXPECT_EQ(V_FreeHandle(handle), 0);
}

TEST_F(Handles, CompareAndCopy)
{
    char digits[] = "0123456789";
    char letters[] = "abcd";
    V_HandleT ten{0, 10, digits};
    V_HandleT four{0, 4, letters};
    EXPECT_EQ(V_DuplicateHandle(&ten, &four), 0);
    EXPECT_STREQ(letters, "0123");
    EXPECT_EQ(V_HandleEqual(&ten, &four), 0);
    ten.size = 4;
    EXPECT_EQ(V_HandleEqual(&ten, &four), 1);
    EXPECT_EQ(V_ClearHandle(&ten), 0);
    EXPECT_EQ(bytes(digits, 5), std::string("\0\0\0\0004", 5));
    EXPECT_EQ(V_HandlesAreEqual(&ten, &four), 0);
    EXPECT_ABORT(V_FreeHandle(nullptr), "");
    EXPECT_ABORT(V_UnlockHandle(nullptr), "");
    EXPECT_ABORT(V_DuplicateHandle(nullptr, &four), "");
    EXPECT_ABORT(V_ClearHandle(nullptr), "");
}

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
