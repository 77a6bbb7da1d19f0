// File names in the internal form and in the platform's.

#include <algorithm>
#include <iterator>

#include "vdelib/utils/names.h"
#include "velt/vde/encodings.h"
#include "velt/vde/strings.h"

namespace
{

// The text encodings of names where the two forms differ, by the flags of the locale.
struct NameEncodings {
    const IntT *locale;
    UIntT internal, platform;
};

constexpr NameEncodings differing[] = {
    {&vdeLocaleIsEUC, VdeEncShiftJis, VdeEncJapaneseEuc},
    {&vdeLocaleIsJIS, VdeEncShiftJis, VdeEncJis},
    {&vdeLocaleIsCNS, VdeEncBig5, VdeEncCnsEuc},
};

StringT converted(const char *name, UIntT NameEncodings::*from, UIntT NameEncodings::*to)
{
    if (!name || *name == '\0')
        return V_StrNew(0);
    const auto *row = std::ranges::find_if(
        differing, [](const NameEncodings &encodings) { return *encodings.locale > 0; });
    return row != std::end(differing) ? V_StrConvertEnc(name, row->*from, row->*to)
                                      : V_StrCopyString(name);
}

} // namespace

StringT VdeInternalToPlatformFilename(const char *name)
{
    return converted(name, &NameEncodings::internal, &NameEncodings::platform);
}

StringT VdePlatformToInternalFilename(const char *name)
{
    return converted(name, &NameEncodings::platform, &NameEncodings::internal);
}
