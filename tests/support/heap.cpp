#include "support/heap.h"

#include <cerrno>
#include <utility>

namespace
{

thread_local long blocks;
thread_local std::size_t high;
thread_local long countdown = -1;
thread_local bool fired, for_good;

bool refused(std::size_t size)
{
    high = std::max(high, size);
    if (countdown < 0)
        return false;
    fired = countdown == 0;
    countdown -= !(fired && for_good);
    if (fired)
        errno = ENOMEM;
    return fired;
}

void *counted(void *block)
{
    blocks += block != nullptr;
    return block;
}

} // namespace

long heap::live()
{
    return blocks;
}

std::size_t heap::largest()
{
    return std::exchange(high, 0);
}

void heap::fail_at(long n)
{
    countdown = n;
    fired = for_good = false;
}

void heap::fail_from(long n)
{
    fail_at(n);
    for_good = true;
}

bool heap::failed()
{
    return fired;
}

extern "C" {

void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void *__real_realloc(void *block, std::size_t size);
void __real_free(void *block);

void *__wrap_malloc(std::size_t size)
{
    return refused(size) ? nullptr : counted(__real_malloc(size));
}

void *__wrap_calloc(std::size_t count, std::size_t size)
{
    return refused(count * size) ? nullptr : counted(__real_calloc(count, size));
}

void *__wrap_realloc(void *block, std::size_t size)
{
    if (refused(size))
        return nullptr;
    void *made = __real_realloc(block, size);
    return block ? made : counted(made);
}

void __wrap_free(void *block)
{
    blocks -= block != nullptr;
    __real_free(block);
}
}
