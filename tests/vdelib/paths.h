#pragma once

#include "vdelib/support.h"

struct ReleasePath {
    void operator()(V_FilePathT *path) const { V_FilePathFree(path); }
};
using Path = std::unique_ptr<V_FilePathT, ReleasePath>;

// For the time of a test, the process runs in the locale of that flag.
class InLocale
{
public:
    explicit InLocale(IntT &locale) : flag(locale), before(std::exchange(locale, 1)) {}
    ~InLocale() { flag = before; }

private:
    IntT &flag, before;
};
