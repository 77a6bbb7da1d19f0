// What the tests of the library of vdelib/ share.
#pragma once

#include <csignal>
#include <memory>

#include "support/heap.h"
#include "velt/vde.h"

// The statement must end the process through abort; `report` is what it wrote to standard error.
#define EXPECT_ABORT(statement, report)                                                            \
    EXPECT_EXIT(statement, testing::KilledBySignal(SIGABRT), "^" report "$")

struct Release {
    void operator()(void *block) const { V_Free(block); }
};

// A block that the library handed over.
template <class T = char>
using Owned = std::unique_ptr<T, Release>;

struct ReleasePath {
    void operator()(V_FilePathT *path) const { V_FilePathFree(path); }
};
using Path = std::unique_ptr<V_FilePathT, ReleasePath>;

// While one of these lives, the variable has another value.
template <class T>
class Changed
{
public:
    Changed(T &variable, std::type_identity_t<T> value)
        : variable_(variable), before_(std::exchange(variable, value))
    {
    }
    ~Changed() { variable_ = before_; }

private:
    T &variable_, before_;
};

// While one of these lives, allocations fail after so many successful ones.
class FailingHeap
{
public:
    explicit FailingHeap(int successes = 0) { heap::fail_from(successes); }
    ~FailingHeap() { heap::fail_at(-1); }
};

// A test that starts without an instance record, as a fresh process does.
class FreshInstance : public testing::Test
{
protected:
    ~FreshInstance() override { V_Free(std::exchange(VdeInstance, before)); }

private:
    VdeInstanceT *before = std::exchange(VdeInstance, nullptr);
};
