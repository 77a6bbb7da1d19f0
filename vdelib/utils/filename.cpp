// File names in the internal form and in the platform's.

#include "velt/vde/paths.h"

#include "velt/vde/strings.h"

// The internal form and the platform's are the same bytes, except that under a Japanese or a
// Traditional Chinese locale the internal form of a name outside ASCII is Shift-JIS or Big5.
StringT VdeInternalToPlatformFilename(const char *name)
{
    return name != nullptr ? V_StrCopyString(name) : V_StrNew(0);
}
