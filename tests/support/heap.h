// The allocator as tests watch it, each thread on its own: the linker sends all its calls here.
#pragma once

#include <cstddef>
#include <new>

namespace heap
{

// Blocks that have been allocated and not released.
long live();
// The largest request since the last call.
std::size_t largest();
// Lets the n-th request from now on (0: the next) fail; negative: none. Or it and all after it.
void fail_at(long n);
void fail_from(long n);
// Whether that request has been made.
bool failed();

// Runs it and lets its n-th request fail, which may end it; whether there was one.
bool fails(long n, auto run)
{
    fail_at(n);
    try {
        run();
    } catch (const std::bad_alloc &) {
    }
    const bool made = failed();
    fail_at(-1);
    return made;
}

} // namespace heap
