// The platform that a name looks like it is from.

#include "vdelib/utils/names.h"
#include "velt/vde/strings.h"

namespace
{

bool begins_longer(const char *name, const char *prefix)
{
    return V_StrPrefix(name, prefix) != 0 && name[V_StrLen(prefix)] != '\0';
}

} // namespace

IntT V_PathNameType(const char *name)
{
    if (!name || *name == '\0')
        return V_PathNone;
    if (name[0] == '<' && V_StrChr("rcuhv", name[1]) && name[2] == '>' && name[3] != '\0')
        return V_PathDI;
    if (begins_longer(name, "/") || begins_longer(name, "./") || begins_longer(name, "../"))
        return V_PathUnix;

    IntT spaces = 0, slashes = 0, colons = 0, backslashes = 0;
    for (const char *p = name; *p != '\0';) {
        const IntT size = velt::dialog_char_size(p);
        if (size == 1) {
            spaces += *p == ' ';
            slashes += *p == '/';
            colons += *p == ':';
            backslashes += *p == '\\';
        }
        p += size;
    }
    if (slashes + colons + backslashes == 0)
        return V_PathNone;
    if (spaces + colons + backslashes == 0)
        return V_PathUnix;
    if (slashes + spaces == 0 && colons == 1 && velt::is_ascii_letter(name[0]) && name[1] == ':' &&
        name[2] != '\0')
        return V_PathDos;
    return slashes + spaces + colons != 0 ? V_PathMac : V_PathDos;
}
