// Has C++'s own allocations go through heap.h as well, in the one source that includes this.
#pragma once

#include <cstdlib>
#include <new>

void *operator new(std::size_t size)
{
    void *block = std::malloc(size);
    return block ? block : throw std::bad_alloc();
}
void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    return std::malloc(size);
}
void operator delete(void *block) noexcept
{
    std::free(block);
}
void operator delete(void *block, std::size_t) noexcept
{
    std::free(block);
}
