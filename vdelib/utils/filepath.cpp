// File paths.

#include "vdelib/utils/names.h"
#include "velt/vde/channel.h"
#include "velt/vde/failure.h"
#include "velt/vde/strings.h"

using velt::NameBuffer;

namespace
{

// Makes a file path of a name, which it resolves against a directory and classifies. The buffer is
// changed.
V_FilePathT *resolved(NameBuffer &name, const char *dir)
{
    VdeUiExpandFileName(name, dir);
    if (name[0] == '\0')
        return nullptr;
    V_FilePathT *path = VdeFilePathSimpleCreate(name);
    if (path)
        path->flags = name[0] == '/' ? V_FilePathAbsolute : V_FilePathRelative;
    return path;
}

// Gets the directory of the anchor's file; it is empty without an anchor. False if the anchor is
// not valid.
bool anchor_directory(const V_FilePathT *anchor, NameBuffer &dir)
{
    dir[0] = '\0';
    anchor = VdeInterpretAnchor(anchor);
    if (!anchor)
        return true;
    if (!velt::is_file_path(anchor) || (anchor->flags & V_FilePathRelative) != 0)
        return false;
    char file[V_FileSegmentSize];
    VdeSplitFullFileName(anchor->name, dir, file);
    return true;
}

V_FilePathT *unless_empty(const char *name)
{
    return V_StrLen(name) > 0 ? VdeFilePathSimpleCreate(name) : nullptr;
}

} // namespace

V_FilePathT *VdeFilePathCreate()
{
    auto *path = static_cast<V_FilePathT *>(V_Calloc(1, sizeof(V_FilePathT), 0));
    if (path)
        path->magic = V_FilePathMagic;
    return path;
}

V_FilePathT *VdeFilePathSimpleCreate(const char *name)
{
    velt::OwnedName copy(V_StrCopyString(name));
    V_FilePathT *path = copy ? VdeFilePathCreate() : nullptr;
    if (path)
        path->name = copy.release();
    return path;
}

IntT VdeFilePathFree(V_FilePathT **path)
{
    if (!path)
        VdeFail();
    if (velt::is_file_path(*path)) {
        (*path)->magic = 0; // makes use after release likely to be noticed
        V_Free((*path)->name);
        V_Free(*path);
    }
    *path = nullptr;
    return 0;
}

IntT V_FilePathFree(V_FilePathT *path)
{
    return VdeFilePathFree(&path);
}

const V_FilePathT *VdeInterpretAnchor(const V_FilePathT *anchor)
{
    return anchor;
}

V_FilePathT *V_UnixToFilePath(const char *unixName, const V_FilePathT *anchor)
{
    NameBuffer name, dir;
    if (V_StrCpyN(name, unixName, V_FileNameSize) == 0 || !anchor_directory(anchor, dir))
        return nullptr;
    return resolved(name, dir);
}

V_FilePathT *V_MacToFilePath(const char *macName)
{
    return unless_empty(macName);
}

V_FilePathT *V_DosToFilePath(const char *dosName)
{
    return unless_empty(dosName);
}

V_FilePathT *V_DIToFilePath(const char *diName, const V_FilePathT *anchor)
{
    if (!diName)
        return nullptr;
    NameBuffer name, dir;
    if (VdeParseDiName(diName, name) != 0)
        return unless_empty(name);
    if (!anchor_directory(name[0] == '/' ? nullptr : anchor, dir))
        return nullptr;
    return resolved(name, dir);
}

V_FilePathT *V_GetFilePath(const V_ChannelT *ch)
{
    if (!ch)
        return nullptr;
    if (ch->name)
        return VdeFilePathSimpleCreate(ch->name);
    const velt::OwnedName here = velt::working_directory();
    const velt::OwnedName name(here ? VdePlatformToInternalFilename(here.get()) : nullptr);
    return VdeFilePathSimpleCreate(name.get());
}
