#include "vdelib/support.h"

static int successes_left = -1; // negative: never fail

FailingHeap::FailingHeap(int successes)
{
    successes_left = successes;
}

FailingHeap::~FailingHeap()
{
    successes_left = -1;
}

// The linker sends the library's calls of the allocator here.
#define WRAP(function, parameters, ...)                                                            \
    extern "C" void *__real_##function parameters;                                                 \
    extern "C" void *__wrap_##function parameters                                                  \
    {                                                                                              \
        if (successes_left == 0)                                                                   \
            return nullptr;                                                                        \
        successes_left -= successes_left > 0;                                                      \
        return __real_##function(__VA_ARGS__);                                                     \
    }

WRAP(malloc, (size_t size), size)
WRAP(calloc, (size_t count, size_t size), count, size)
WRAP(realloc, (void *block, size_t size), block, size)
