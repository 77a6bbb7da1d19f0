// Names for temporary files.

#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "vdelib/utils/names.h"
#include "velt/vde/files.h"
#include "velt/vde/formatted.h"
#include "velt/vde/memory.h"
#include "velt/vde/strings.h"

namespace
{

// The name in its directory: a counter in hexadecimal, and random characters in the place of the X.
constexpr char name_template[] = "%s/V%x.XXXXXX";
constexpr UIntT suffix_size = 6;
constexpr UIntT room = 22; // bytes beyond the directory: counter, suffix, terminator and the rest

bool usable(const char *platform)
{
    const velt::OwnedName name(platform ? VdePlatformToInternalFilename(platform) : nullptr);
    return VdeOperationOk(name.get(), V_FileTypeDirectory, V_AccessWrite) != 0;
}

// The platform name of the directory, which is chosen once; null if there is none.
const char *directory()
{
    static StringT chosen = nullptr;
    if (chosen)
        return chosen;
    const char *candidates[] = {std::getenv("TMPDIR"), "/tmp", "/usr/tmp", std::getenv("HOME")};
    for (const char *candidate : candidates)
        if (usable(candidate))
            return chosen = V_StrCopyString(candidate); // a copy, since the environment may change
    return chosen = velt::working_directory().release();
}

bool fill_suffix(char *suffix)
{
    static constexpr char letters[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    uint64_t random;
    if (getrandom(&random, sizeof random, 0) != sizeof random)
        return false;
    for (UIntT i = 0; i < suffix_size; ++i) {
        suffix[i] = letters[random % (sizeof letters - 1)];
        random /= sizeof letters - 1;
    }
    return true;
}

// Fills in the random characters so that no file has the name; returns whether that succeeded.
bool make_unique(char *name)
{
    constexpr int tries = 100; // among billions of suffixes even two collisions are unlikely
    char *const suffix = name + std::strlen(name) - suffix_size;
    for (int i = 0; i < tries; ++i) {
        struct stat status;
        if (!fill_suffix(suffix))
            return false;
        if (lstat(name, &status) != 0)
            return errno == ENOENT;
    }
    return false;
}

} // namespace

velt::OwnedName velt::working_directory()
{
    char name[PATH_MAX];
    return OwnedName(V_StrCopyString(getcwd(name, sizeof name)));
}

StringT VdeMakeTmpFileName()
{
    static UIntT counter = 0;
    const char *dir = directory();
    if (!dir)
        return nullptr;
    const auto size = static_cast<UIntT>(V_StrLen(dir)) + room;
    const velt::OwnedName name(static_cast<char *>(V_Alloc(size, V_AllocFatal)));
    V_Sprintf(name.get(), name_template, dir, ++counter);
    return make_unique(name.get()) ? VdePlatformToInternalFilename(name.get()) : nullptr;
}
