#include "apilib/unix/transport/limits.h"

#include "velt/api.h"

namespace velt
{

Limits limits;

namespace
{

UIntT *find(IntT number)
{
    switch (number) {
#define V_LIMIT(number, name, value, meaning)                                                      \
    case number:                                                                                   \
        return &limits.name;
#include "velt/tables/limits.def"
    }
    return nullptr;
}

} // namespace
} // namespace velt

UIntT V_ApiGetLimit(IntT limit)
{
    const UIntT *found = velt::find(limit);
    return found ? *found : 0;
}

IntT V_ApiSetLimit(IntT limit, UIntT value)
{
    UIntT *found = velt::find(limit);
    if (!found)
        return -1;
    *found = value;
    return 0;
}
