/* File paths, and file names in their forms.
 *
 * The internal name is a Unix path; under a Japanese locale its text is Shift-JIS, under a
 * Traditional Chinese one Big5. The platform name is the form that the operating system takes. The
 * device-independent name (DI name) is a sequence of tokens, "<r><c>usr<c>lib" for "/usr/lib". Only
 * the first can be "<r>", the root, or "<h>" or "<v>", a root that the text behind it names; "<c>"
 * is a component, the text, and "<u>", not after a root, is up one level. A token with another
 * letter is ignored. In the text a backslash makes the next character literal, and a two-byte
 * character of the dialogs' encoding is one character.
 *
 * A buffer for a name has V_FileNameSize bytes and one for a segment V_FileSegmentSize, terminator
 * included; what does not fit is cut off. Null strings read as empty; a null name to be changed in
 * place is left alone. Where it is said what an argument must be, any other ends the process.
 */
#ifndef VELT_VDE_PATHS_H
#define VELT_VDE_PATHS_H

#include "velt/decl.h"
#include "velt/scalars.h"

enum {
    V_FileNameSize = 1024,   /* bytes of a buffer for a name */
    V_FileSegmentSize = 256, /* bytes of a buffer for a segment of a name or the text of a token */
    V_FilePathMagic = 0x70617468
};

/* Flags of a file path; none are set when the name was not classified. */
enum {
    V_FilePathRelative = 0x0001,
    V_FilePathAbsolute = 0x0010 /* the name begins with "/" */
};

/* A file, by its name. */
typedef struct V_FilePathT {
    UIntT magic; /* V_FilePathMagic; without it the structure is not valid */
    uint16_t flags;
    StringT name; /* internal name, owned */
} V_FilePathT;

/* The platform that a name looks like it is from. */
enum { V_PathNone = 0, V_PathDI = 1, V_PathUnix = 2, V_PathMac = 3, V_PathDos = 4 };

/* A cursor over the segments of a name. */
typedef struct VdeUFCT {
    const char *at;                  /* the rest of the name, not owned */
    char segment[V_FileSegmentSize]; /* the last segment found */
} VdeUFCT;

/* An open file, of "velt/vde/channel.h". */
struct V_ChannelT;

VELT_BEGIN_DECLS

/* The constructors return a new file path, for V_FilePathFree; null for a name that is null or
 * empty, or of which nothing is left, for an anchor in use that is not valid or is relative, and
 * when memory runs out. A relative name is resolved against the directory of the anchor's file;
 * without anchor it stays relative. */

/* From a Unix name; "~", "~user" and "$VARIABLE" are expanded, "." and ".." are resolved: a ".."
 * with nothing before it is dropped. */
V_FilePathT *V_UnixToFilePath(const char *unixName, const V_FilePathT *anchor);
/* From the name of another platform, which is kept as it is. */
V_FilePathT *V_MacToFilePath(const char *macName);
V_FilePathT *V_DosToFilePath(const char *dosName);
/* From a DI name, as from a Unix name. If the name is wrong from some token on, the part before it
 * is kept as it is, without flags; null if that part is empty. */
V_FilePathT *V_DIToFilePath(const char *diName, const V_FilePathT *anchor);
/* Stores the DI name of a file path, and its length in bytes, relative to the directory of the
 * anchor's file if an anchor is given. Returns 0, or -1 for an invalid structure and when memory
 * runs out; the results are then null and 0. V_Free the name. A "<" or backslash in the name is
 * written as it is, so that such a name does not come back. The addresses must not be null, the
 * file paths not relative, and with an anchor both names must be absolute. */
IntT V_FilePathToDI(const V_FilePathT *path, const V_FilePathT *anchor, StringT *diName,
                    IntT *diLen);
/* Returns a new file path, without flags, for the file of a channel; for the working directory if
 * the channel has no name. Null for null and on failure. */
V_FilePathT *V_GetFilePath(const struct V_ChannelT *ch);
/* Release a file path; the second sets the variable, whose address must not be null, to null. A
 * null pointer and an invalid structure are left alone. They return 0. */
IntT V_FilePathFree(V_FilePathT *path);
IntT VdeFilePathFree(V_FilePathT **path);
/* Return a new file path without a name, or with a copy of the name as it is; without flags. Null
 * for a null name and when memory runs out. */
V_FilePathT *VdeFilePathCreate(void);
V_FilePathT *VdeFilePathSimpleCreate(const char *name);
/* Returns the anchor itself. Every anchor passes through here. */
const V_FilePathT *VdeInterpretAnchor(const V_FilePathT *anchor);

/* Returns the platform that a name looks like it is from: V_PathNone to V_PathDos. */
IntT V_PathNameType(const char *name);

/* Return a new name in the other form; an empty one for an empty name. Null when text cannot be
 * converted and when memory runs out. V_Free it. */
StringT VdeInternalToPlatformFilename(const char *name);
StringT VdePlatformToInternalFilename(const char *name);

/* The next three change a name in a buffer of V_FileNameSize bytes. */

/* Expands "~" and "~user" at the beginning, and "$VARIABLE" up to the next "/" except after a
 * backslash. Returns 1; 0 for an unknown user or variable, and the name stays as it was. */
IntT VdeFixTildaName(StringT name);
/* Expands name, resolves "." and ".." and, unless it is absolute, puts dir before it. */
void VdeUiExpandFileName(StringT name, const char *dir);
/* Makes name relative to the directory of the file anchorName, unless they share no segment, the
 * result is too long or anchorName is null. Both names must be absolute. */
void VdeRelativizeFileName(StringT name, const char *anchorName);

/* Splits a name at its last "/". dirOut, of V_FileNameSize bytes, gets the part before ("/" for a
 * name directly under the root, nothing for one without "/"), nameOut, of V_FileSegmentSize bytes,
 * the part after. */
void VdeSplitFullFileName(const char *full, StringT dirOut, StringT nameOut);
/* Returns the part after the last "/" of a name, or the name itself. */
StringT VdeStrFileLastName(const char *name);
/* Appends name to the text in dir, a buffer of max bytes, with one "/" between the two, none after
 * an empty dir. */
void VdeDirCatN(StringT dir, const char *name, IntT max);

/* Stores the internal name for a DI name, unresolved, in the V_FileNameSize bytes of out. Returns
 * 0, or -1 when the DI name is wrong, too long or gives nothing; out then holds the part made so
 * far. The arguments must not be null. */
IntT VdeParseDiName(const char *diName, StringT out);

/* Puts a cursor before the first segment of a name, which must stay for the walk. */
void VdeUFCinit(VdeUFCT *cursor, const char *name);
/* Steps to the next segment: 1, or 0 at the end. */
IntT VdeUFCgetSegment(VdeUFCT *cursor);

/* These read a DI name at *p. None moves past the end of the text. */

/* Returns the letter of the token at *p and moves past the token. If there is no token, returns 0
 * and moves by one byte, or by three from a "<". */
IntT VdeGetDiTokenID(const char **p);
/* Moves past the text of a token, to the next "<" without a backslash or the end. */
void VdeAdvPastToken(const char **p);
/* The same, and copies the text, without its escaping backslashes, into the max bytes of dst: the
 * whole characters that fit, and a terminator. Returns the number of bytes copied. */
IntT VdeCopyTokenIntoString(const char **p, StringT dst, IntT max);
/* Appends s at *outp, in a buffer of V_FileNameSize bytes that holds *outLen bytes so far, advances
 * both and returns 0. Returns 1, and does nothing, if s does not fit. */
IntT VdeStrCpyAndAdvance(StringT *outp, IntT *outLen, const char *s);

VELT_END_DECLS

#endif
