// The allocation primitives of the API library.

#include <cstdlib>

#include "velt/api/values.h"

void *VapiMalloc(size_t size)
{
    return std::malloc(size);
}

void *VapiCalloc(size_t count, size_t size)
{
    return std::calloc(count, size);
}

void *VapiRealloc(void *pointer, size_t size)
{
    return std::realloc(pointer, size);
}

void V_ApiFree(void *pointer)
{
    std::free(pointer);
}
