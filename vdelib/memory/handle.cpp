#include <algorithm>

#include "velt/vde/memory.h"

namespace
{

// The value of a released handle variable: not an address, and easily recognised in a debugger.
constexpr uintptr_t released = 0xDEADDEAD;

template <class Handle>
Handle &checked(Handle *handle)
{
    if (!handle)
        VdeFail();
    return *handle;
}

void enforce_unlocked(const V_HandleT &handle)
{
    if (handle.lockCount != 0)
        VdeEnforcement();
}

} // namespace

V_HandleT *V_AllocHandle(UIntT size, UIntT flags)
{
    auto *handle = static_cast<V_HandleT *>(V_Alloc(sizeof(V_HandleT), flags));
    if (!handle)
        return nullptr;
    *handle = {.lockCount = 0, .size = size, .block = V_Calloc(1, size, flags)};
    if (!handle->block) {
        V_Free(handle);
        return nullptr;
    }
    return handle;
}

IntT V_FreeHandle(V_HandleT *handle)
{
    enforce_unlocked(checked(handle));
    V_Free(handle->block);
    V_Free(handle);
    return 0;
}

IntT VdeFreeHandle(V_HandleT **handle)
{
    const IntT result = V_FreeHandle(checked(handle));
    *handle = reinterpret_cast<V_HandleT *>(released); // NOLINT(performance-no-int-to-ptr)
    return result;
}

void *V_LockHandle(V_HandleT *handle)
{
    ++checked(handle).lockCount;
    return handle->block;
}

UIntT V_UnlockHandle(V_HandleT *handle)
{
    return VdeHandleCountDec(handle);
}

UIntT VdeHandleCountDec(V_HandleT *handle)
{
    UIntT &count = checked(handle).lockCount;
    return count == 0 ? 0 : --count;
}

V_HandleT *V_ReallocHandle(V_HandleT *handle, UIntT size, UIntT flags)
{
    enforce_unlocked(checked(handle));
    if (size == handle->size)
        return handle;
    void *block = V_Realloc(handle->block, size, flags);
    if (!block)
        return nullptr;
    handle->block = block;
    handle->size = size;
    return handle;
}

UIntT V_GetHandleSize(const V_HandleT *handle)
{
    return checked(handle).size;
}

IntT V_HandleEqual(const V_HandleT *a, const V_HandleT *b)
{
    return checked(a).size == checked(b).size && V_PtrEqual(a->block, b->block, a->size) != 0;
}

IntT V_HandlesAreEqual(const V_HandleT *a, const V_HandleT *b)
{
    return V_HandleEqual(a, b);
}

IntT V_DuplicateHandle(const V_HandleT *from, V_HandleT *to)
{
    const V_HandleT &source = checked(from);
    const V_HandleT &target = checked(to);
    return V_CopyPtr(source.block, target.block, std::min(source.size, target.size));
}

IntT V_ClearHandle(V_HandleT *handle)
{
    const V_HandleT &target = checked(handle);
    return V_ClearPtr(target.block, target.size);
}
