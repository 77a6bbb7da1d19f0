/* Tests for files, temporary names, and deletion. Names are in the internal form; a null name and
 * an invalid file path name no file. */
#ifndef VELT_VDE_FILES_H
#define VELT_VDE_FILES_H

#include "velt/decl.h"
#include "velt/scalars.h"
#include "velt/vde/paths.h"

/* File types. */
enum { V_FileTypeDirectory = 0x4000, V_FileTypeRegular = 0x8000 };

/* Access modes. */
enum { V_AccessWrite = 2, V_AccessRead = 4 };

/* Properties, to be asked for and returned. */
enum { V_StatDirectory = 0x100, V_StatRegular = 0x200, V_StatExists = 0x400 };
enum { V_AccessReadable = 0x1, V_AccessWritable = 0x2 };

VELT_BEGIN_DECLS

/* Whether there is a file of that type that may be accessed in that mode, 1 or 0. */
IntT VdeExists(const char *name, UIntT fileType);
IntT VdeOperationOk(const char *name, UIntT fileType, IntT accessMode);
IntT V_DirectoryExists(const V_FilePathT *path);
IntT V_DirectoryIsReadable(const V_FilePathT *path);
IntT V_DirectoryIsWriteable(const V_FilePathT *path);
/* Regular files only. */
IntT V_FileExists(const V_FilePathT *path);
IntT V_FileIsReadable(const V_FilePathT *path);
IntT V_FileIsWriteable(const V_FilePathT *path);
/* Returns those of the V_Stat..., V_Access... bits asked for that apply to the file. */
UIntT VdeStatProperty(const char *name, UIntT props);
UIntT VdeAccessProperty(const char *name, UIntT props);

/* Returns a new name, of no file at present, in the first writable directory among TMPDIR, "/tmp",
 * "/usr/tmp", HOME and the working directory; chosen on the first call and kept. V_Free it. Null if
 * no name can be had. Somebody else may take the name: V_ChannelMakeTmp makes the file as well. */
StringT VdeMakeTmpFileName(void);

/* Deletes a file or an empty directory: 0, or -1. */
IntT V_DeleteFile(const V_FilePathT *path);

VELT_END_DECLS

#endif
