// The segments of a name.

#include <algorithm>
#include <cstddef>

#include "vdelib/utils/names.h"
#include "velt/vde/failure.h"
#include "velt/vde/strings.h"

using velt::NameBuffer;

namespace
{

const char *skip_slashes(const char *s)
{
    while (*s == '/')
        ++s;
    return s;
}

} // namespace

void VdeUFCinit(VdeUFCT *cursor, const char *name)
{
    cursor->at = name ? name : "";
    cursor->segment[0] = '\0';
}

IntT VdeUFCgetSegment(VdeUFCT *cursor)
{
    cursor->at = skip_slashes(cursor->at);
    if (*cursor->at == '\0')
        return 0;
    const char *end = cursor->at;
    while (*end != '\0' && *end != '/')
        ++end;
    const auto size = std::min<std::ptrdiff_t>(end - cursor->at, V_FileSegmentSize - 1);
    V_StrCpyN(cursor->segment, cursor->at, static_cast<IntT>(size) + 1);
    cursor->at = end;
    return 1;
}

StringT VdeStrFileLastName(const char *name)
{
    const StringT slash = V_StrRChr(name, '/');
    return slash ? slash + 1 : const_cast<StringT>(name);
}

void VdeSplitFullFileName(const char *full, StringT dirOut, StringT nameOut)
{
    const char *last = VdeStrFileLastName(full);
    const std::ptrdiff_t slash = last - full - 1; // -1: there is none
    const std::ptrdiff_t size = slash == 0 ? 1 : std::max<std::ptrdiff_t>(slash, 0);
    V_StrCpyN(dirOut, full, static_cast<IntT>(std::min<std::ptrdiff_t>(size + 1, V_FileNameSize)));
    V_StrCpyN(nameOut, last, V_FileSegmentSize);
}

void VdeDirCatN(StringT dir, const char *name, IntT max)
{
    if (!name)
        return;
    name = skip_slashes(name);
    const IntT length = V_StrLen(dir);
    if (*name != '\0' && length > 0 && dir[length - 1] != '/')
        V_StrCatCharN(dir, '/', max);
    V_StrCatN(dir, name, max);
}

namespace
{

bool ends_segment(char c)
{
    return c == '\0' || c == '/';
}

// The common beginning of two names.
struct Common {
    IntT size = 0;    // the number of equal bytes
    IntT slash = 0;   // the index of the last "/" in them
    bool any = false; // whether they contain a whole segment
};

Common common_part(const char *a, const char *b)
{
    Common common;
    for (IntT i = 0;; ++i) {
        if (ends_segment(a[i]) && ends_segment(b[i]) && i > 0 && a[i - 1] != '/')
            common.any = true;
        if (a[i] != b[i] || a[i] == '\0') {
            common.size = i;
            return common;
        }
        if (a[i] == '/')
            common.slash = i;
    }
}

} // namespace

void VdeRelativizeFileName(StringT name, const char *anchorName)
{
    if (!anchorName)
        return;
    if (!V_StrPrefix(name, "/") || !V_StrPrefix(anchorName, "/"))
        VdeFail();
    NameBuffer dir;
    char file[V_FileSegmentSize];
    VdeSplitFullFileName(anchorName, dir, file);

    const Common common = common_part(name, dir);
    if (!common.any)
        return;
    NameBuffer result{};
    const char *rest = name + common.size;
    if (dir[common.size] != '\0' || !ends_segment(*rest)) {
        VdeUFCT up;
        VdeUFCinit(&up, dir + common.slash);
        while (VdeUFCgetSegment(&up))
            V_StrCatN(result, "../", V_FileNameSize);
        rest = name + common.slash;
    }
    rest = skip_slashes(rest);
    if (V_StrLen(result) + V_StrLen(rest) >= V_FileNameSize)
        return;
    V_StrCatN(result, rest, V_FileNameSize);
    V_StrCpyN(name, result, V_FileNameSize);
}
