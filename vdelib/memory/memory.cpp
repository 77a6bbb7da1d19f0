#include "velt/vde/memory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "velt/vde/instance.h"

namespace
{

void VdeFDSExit()
{
    if (VdeInstance && VdeInstance->dsExitHandler)
        VdeInstance->dsExitHandler();
    V_Abort();
}

void check_size(uint64_t size)
{
    if (size >= V_MaxBlockSize)
        VdeFail();
}

// The size requested from the system. An empty block has an address as well, so that null always
// means failure and resizing to 0 does not release.
size_t system_size(UIntT size)
{
    return std::max<size_t>(size, 1);
}

// Small blocks are cleared here: of those, the C library keeps some at hand for malloc only.
constexpr UIntT most_cleared = 1024;

void *checked(void *block, UIntT flags)
{
    if (!block && (flags & V_AllocFatal) != 0)
        VdeFDSExit();
    return block;
}

} // namespace

void *V_Alloc(UIntT size, UIntT flags)
{
    check_size(size);
    const size_t wanted = system_size(size);
    // A jump into the C library, where failure is not fatal, saves the way back.
    return (flags & V_AllocFatal) == 0 ? std::malloc(wanted) : checked(std::malloc(wanted), flags);
}

void *V_Calloc(UIntT count, UIntT size, UIntT flags)
{
    // The product is computed in 64 bits, where it cannot wrap to a smaller size.
    const uint64_t total = uint64_t{count} * size;
    check_size(total);
    const auto wanted = static_cast<UIntT>(total);
    if (wanted > most_cleared || wanted == 0)
        return checked(std::calloc(1, system_size(wanted)), flags);
    void *const block = V_Alloc(wanted, flags);
    return block ? std::memset(block, 0, wanted) : nullptr;
}

void *V_Realloc(void *pointer, UIntT size, UIntT flags)
{
    if (!pointer)
        return V_Calloc(1, size, flags);
    check_size(size);
    return checked(std::realloc(pointer, system_size(size)), flags);
}

IntT V_Free(void *pointer)
{
    if (!pointer)
        return -1;
    std::free(pointer);
    return 0;
}

IntT VdeFree(void **pointer)
{
    const IntT result = V_Free(*pointer);
    *pointer = nullptr;
    return result;
}

IntT V_CopyPtr(const void *from, void *to, UIntT count)
{
    if (!from || !to)
        return -1;
    check_size(count);
    std::memmove(to, from, count);
    return 0;
}

IntT V_CopyBytes(const void *from, void *to, UIntT count)
{
    return V_CopyPtr(from, to, count);
}

IntT V_ClearPtr(void *pointer, UIntT count)
{
    if (!pointer)
        return -1;
    std::memset(pointer, 0, count);
    return 0;
}

IntT V_PtrEqual(const void *a, const void *b, UIntT count)
{
    if (count == 0 || a == b)
        return 1;
    if (a && b)
        return std::memcmp(a, b, count) == 0;
    const auto *bytes = static_cast<const UCharT *>(a ? a : b);
    return std::all_of(bytes, bytes + count, [](UCharT byte) { return byte == 0; });
}

void *V_DuplicatePtr(const void *pointer, UIntT size, UIntT flags)
{
    if (!pointer)
        return nullptr;
    void *copy = V_Alloc(size, flags);
    if (copy)
        V_CopyPtr(pointer, copy, size);
    return copy;
}

VdeRoutineT V_SetDSExit(VdeRoutineT handler)
{
    VdeInstanceInit();
    const VdeRoutineT previous = VdeInstance->dsExitHandler;
    VdeInstance->dsExitHandler = handler;
    return previous;
}
