/* Font encodings: the single-byte and double-byte encodings that the host's text is in, and string
 * routines that step over two-byte characters as units. Null strings read as empty; true is 1. An
 * encoding id above vdeLastEncodingId reads as the single-byte encoding. */
#ifndef VELT_VDE_FONTENC_H
#define VELT_VDE_FONTENC_H

#include "velt/decl.h"
#include "velt/scalars.h"

VELT_BEGIN_DECLS

/* An encoding. A byte b1 with firstByte[b1] set before a byte b2 with secondByte[b2] set is one
 * two-byte character of the value b1 * 256 + b2; every other byte is a character of its own. */
typedef struct VdeFontEncT {
    UCharT firstByte[256];  /* nonzero for the bytes that can begin a two-byte character */
    UCharT secondByte[256]; /* nonzero for the bytes that can end one */
    StringT name;           /* constant */
} VdeFontEncT;

/* The encodings by id, to be read; empty until V_FdeInitFontEncs. The string routines follow what
 * it and the routines for single encodings write there, and nothing else. */
extern VdeFontEncT *vdeFontEncs[5];

/* Ids of the encodings, and the highest of them. */
extern UIntT vdeVeltRomanEncodingId;
extern UIntT vdeJISX0208_ShiftJISEncodingId;
extern UIntT vdeKSC5601_1992EncodingId;
extern UIntT vdeBIG5EncodingId;
extern UIntT vdeGB2312_80_EUCEncodingId;
extern UIntT vdeLastEncodingId;

/* Id of the encoding that the host's dialogs use. */
extern UIntT vdeDialogEncodingId;

/* Whether the process runs in a Japanese EUC, a Japanese JIS, a Traditional Chinese locale; -1
 * before V_FdeInitFontEncs has found out. */
extern IntT vdeLocaleIsEUC;
extern IntT vdeLocaleIsJIS;
extern IntT vdeLocaleIsCNS;

/* Sets up the encodings, makes the named one (in any case), if it exists, the encoding of the
 * dialogs, and on the first call sets the process's locale from the environment and the locale
 * flags from its name. Returns the id of the dialogs' encoding. */
IntT V_FdeInitFontEncs(const char *dialogEncodingName);

/* Each sets up one encoding in the structure. Returns 0, or -1 for a null address. */
IntT VdeInitVeltRomanEncoding(VdeFontEncT *encoding);
IntT VdeInitJISX0208_ShiftJISEncoding(VdeFontEncT *encoding);
IntT VdeInitKSC5601_1992Encoding(VdeFontEncT *encoding);
IntT VdeInitBIG5Encoding(VdeFontEncT *encoding);
IntT VdeInitGB2312_80_EUCEncoding(VdeFontEncT *encoding);

/* The name of an encoding; null for an id above the highest. Not to be freed. */
const char *V_FontEncName(UIntT id);

/* The id of the encoding of that name, in any case; 0 if there is none. */
UIntT V_FontEncId(const char *name);

/* Number of characters. */
IntT V_StrLenEnc(const char *s, UIntT enc);

/* Byte index of the first sub in s that starts on a character, or -1. -1 too for null strings and
 * an empty s; otherwise 0 for an empty sub. */
IntT V_StrStrEnc(const char *s, const char *sub, UIntT enc);

/* First and last character b1 b2 in s (b2 is 0 for a single byte), or null. With b1 = 0 the first
 * finds s itself, unless that is empty, and the last nothing. */
StringT V_StrChrEnc(const char *s, UCharT b1, UCharT b2, UIntT enc);
StringT V_StrRChrEnc(const char *s, UCharT b1, UCharT b2, UIntT enc);

/* Whether a and b are equal, single-byte characters in any case. N: over the first N bytes of a,
 * the last character whole; at once true for N < 1. */
IntT V_StrIEqualEnc(const char *a, const char *b, UIntT enc);
IntT V_StrIEqualNEnc(const char *a, const char *b, IntT N, UIntT enc);

/* Whether s begins, ends, with the other string, single-byte characters in any case. */
IntT V_StrIPrefixEnc(const char *s, const char *prefix, UIntT enc);
IntT V_StrISuffixEnc(const char *s, const char *suffix, UIntT enc);

/* Return the difference of the first differing characters, or 0; I: single-byte characters in any
 * case; N: over the first N bytes of a, the last character whole, and for a negative N over one
 * character; M: in any case first, then byte by byte. */
IntT V_StrICmpEnc(const char *a, const char *b, UIntT enc);
IntT V_StrCmpNEnc(const char *a, const char *b, IntT N, UIntT enc);
IntT V_StrICmpNEnc(const char *a, const char *b, IntT N, UIntT enc);
IntT V_StrMCmpEnc(const char *a, const char *b, UIntT enc);

/* V_StrMCmpEnc of the two strings whose addresses are given, for sorting an array of strings. */
IntT V_StrQsortCmpEnc(const void *pa, const void *pb, UIntT enc);

/* Ends s at index N, which must lie inside the buffer, or one byte before where N splits a
 * character; a negative N empties s. */
void V_StrTruncEnc(StringT s, IntT N, UIntT enc);

/* Copies src into the N bytes of dst: at most N - 1 bytes, and a terminator. Returns the number of
 * bytes copied. N below 1 counts as 1. */
IntT V_StrCpyNEnc(StringT dst, const char *src, IntT N, UIntT enc);

/* Appends src to what stands in the N bytes of dst. Returns the new length; 0 for a null dst and
 * for a null or empty src. */
IntT V_StrCatNEnc(StringT dst, const char *src, IntT N, UIntT enc);

/* Cuts dst to N - 1 bytes, then appends at most count bytes of src. Returns the new length. */
IntT V_StrNCatNEnc(StringT dst, const char *src, IntT count, IntT N, UIntT enc);

/* V_StrCatNEnc of the character b1 b2. */
IntT V_StrCatDblCharNEnc(StringT dst, UCharT b1, UCharT b2, IntT N, UIntT enc);

VELT_END_DECLS

#endif
