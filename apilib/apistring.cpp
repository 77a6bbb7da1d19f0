// The string helpers of the API library.

#include <cstring>

#include "velt/api/values.h"

namespace
{

void strCpy(StringT destination, const char *source)
{
    while (source && *source)
        *destination++ = *source++;
    *destination = '\0';
}

} // namespace

IntT V_ApiStringLen(const char *s)
{
    return s ? static_cast<IntT>(std::strlen(s)) : 0;
}

StringT V_ApiCopyString(const char *s)
{
    auto *made = static_cast<StringT>(VapiMalloc((s ? std::strlen(s) : 0) + 1));
    if (made)
        strCpy(made, s);
    return made;
}

void V_ApiDeallocateString(StringT *sp)
{
    if (!sp)
        return;
    V_ApiFree(*sp);
    *sp = nullptr;
}
