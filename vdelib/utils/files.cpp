// Tests for files, and their deletion.

#include "velt/vde/files.h"

#include <sys/stat.h>
#include <unistd.h>

#include "vdelib/utils/names.h"

namespace
{

constexpr UIntT file_type_mask = 0xF000; // the bits of st_mode that hold the type

static_assert((S_IFMT & ~0u) == file_type_mask && S_IFDIR == V_FileTypeDirectory &&
              S_IFREG == V_FileTypeRegular && R_OK == V_AccessRead && W_OK == V_AccessWrite);

// The type of a file by its platform name; 0 if there is none.
UIntT file_type(const char *platform)
{
    struct stat status;
    return platform && stat(platform, &status) == 0 ? status.st_mode & file_type_mask : 0;
}

velt::OwnedName platform_name(const char *name)
{
    return velt::OwnedName(VdeInternalToPlatformFilename(name));
}

bool may_access(const char *platform, IntT mode)
{
    return platform && access(platform, mode) == 0;
}

} // namespace

IntT VdeExists(const char *name, UIntT fileType)
{
    return fileType != 0 && file_type(platform_name(name).get()) == fileType;
}

IntT VdeOperationOk(const char *name, UIntT fileType, IntT accessMode)
{
    return VdeExists(name, fileType) != 0 && may_access(platform_name(name).get(), accessMode);
}

IntT V_DirectoryExists(const V_FilePathT *path)
{
    return VdeExists(velt::name_of(path), V_FileTypeDirectory);
}

IntT V_DirectoryIsReadable(const V_FilePathT *path)
{
    return VdeOperationOk(velt::name_of(path), V_FileTypeDirectory, V_AccessRead);
}

IntT V_DirectoryIsWriteable(const V_FilePathT *path)
{
    return VdeOperationOk(velt::name_of(path), V_FileTypeDirectory, V_AccessWrite);
}

IntT V_FileExists(const V_FilePathT *path)
{
    return VdeExists(velt::name_of(path), V_FileTypeRegular);
}

IntT V_FileIsReadable(const V_FilePathT *path)
{
    return VdeOperationOk(velt::name_of(path), V_FileTypeRegular, V_AccessRead);
}

IntT V_FileIsWriteable(const V_FilePathT *path)
{
    return VdeOperationOk(velt::name_of(path), V_FileTypeRegular, V_AccessWrite);
}

UIntT VdeStatProperty(const char *name, UIntT props)
{
    switch (file_type(platform_name(name).get())) {
    case 0:
        return 0;
    case V_FileTypeDirectory:
        return props & (V_StatExists | V_StatDirectory);
    case V_FileTypeRegular:
        return props & (V_StatExists | V_StatRegular);
    default:
        return props & V_StatExists;
    }
}

UIntT VdeAccessProperty(const char *name, UIntT props)
{
    const velt::OwnedName platform = platform_name(name);
    UIntT held = 0;
    if (may_access(platform.get(), V_AccessRead))
        held |= V_AccessReadable;
    if (may_access(platform.get(), V_AccessWrite))
        held |= V_AccessWritable;
    return props & held;
}

IntT V_DeleteFile(const V_FilePathT *path)
{
    const velt::OwnedName platform = platform_name(velt::name_of(path));
    if (!platform)
        return -1;
    const bool directory = file_type(platform.get()) == V_FileTypeDirectory;
    return directory ? rmdir(platform.get()) : unlink(platform.get());
}
