/* Strings of bytes.
 *
 * A null string reads as empty. Bytes compare as 0 to 255, case folds through VdeQToLower, and true
 * is 1. In the routines that write, N is the size of the buffer dst in bytes, terminator included:
 * the result always fits and is terminated. In those that compare, N is a number of characters.
 * A character is a byte here, one of an Asian encoding two or more of them.
 * Of a character given as IntT the low 8 bits count.
 */
#ifndef VELT_VDE_STRINGS_H
#define VELT_VDE_STRINGS_H

#include "velt/decl.h"
#include "velt/scalars.h"

VELT_BEGIN_DECLS

/* Returns a new empty string with room for so many bytes and the terminator, all of them 0; null
 * when memory runs out. A length below -1, or of V_MaxBlockSize - 1 or more, ends the process by
 * VdeFail; -1 counts as 0. V_Free it. */
StringT V_StrNew(IntT length);
/* Returns a new copy; null for null and when memory runs out. V_Free it. */
StringT V_StrCopyString(const char *s);
/* Number of bytes before the terminator. */
IntT V_StrLen(const char *s);
/* Ends s at the index, which must lie inside its buffer. */
void V_StrTrunc(StringT s, IntT index);

/* Nothing is done for a null dst; a length returned is then 0. */

/* Copies src, which must fit. */
void V_StrCpy(StringT dst, const char *src);
/* Copies what fits; returns the number of characters copied. N below 1 counts as 1. */
IntT V_StrCpyN(StringT dst, const char *src, IntT N);
/* Appends src, which must fit; returns the new length. */
IntT V_StrCat(StringT dst, const char *src);
/* Appends what fits; returns the new length. A dst that is too long already is left alone. */
IntT V_StrCatN(StringT dst, const char *src, IntT N);
/* Cuts dst to N - 1 characters, then appends at most count characters that fit; returns the new
 * length. */
IntT V_StrNCatN(StringT dst, const char *src, IntT count, IntT N);
/* Appends a byte if it fits; returns the new length. */
IntT V_StrCatCharN(StringT dst, IntT c, IntT N);
/* Appends a number in decimal, or as many of its first digits as fit; returns the new length. */
IntT V_StrCatIntN(StringT dst, IntT i, IntT N);

/* Whether a and b are equal. I: in any case. N: over the first N characters; true for N below 1. */
IntT V_StrEqual(const char *a, const char *b);
IntT V_StrEqualN(const char *a, const char *b, IntT N);
IntT V_StrIEqual(const char *a, const char *b);
IntT V_StrIEqualN(const char *a, const char *b, IntT N);
/* Whether a and b are equal in any case when their spaces and hyphens are left out. */
IntT V_StrSIEqual(const char *a, const char *b);

/* Difference of the first bytes that differ, or 0. I: of their lower-case forms. N: over at most N
 * characters; a negative N counts as 1. */
IntT V_StrCmp(const char *a, const char *b);
IntT V_StrICmp(const char *a, const char *b);
IntT V_StrCmpN(const char *a, const char *b, IntT N);
IntT V_StrICmpN(const char *a, const char *b, IntT N);
/* V_StrICmp, and V_StrCmp where that finds no difference. */
IntT V_StrMCmp(const char *a, const char *b);
/* V_StrMCmp of the two strings whose addresses are given, for qsort. */
IntT V_StrQsortCmp(const void *pa, const void *pb);

/* Whether s begins, ends, with the other string. I: in any case. N: with its first N characters. */
IntT V_StrPrefix(const char *s, const char *prefix);
IntT V_StrPrefixN(const char *s, const char *prefix, IntT N);
IntT V_StrIPrefix(const char *s, const char *prefix);
IntT V_StrSuffix(const char *s, const char *suffix);
IntT V_StrISuffix(const char *s, const char *suffix);

/* First, last, byte of s that equals c, or null; null for c = 0. */
StringT V_StrChr(const char *s, IntT c);
StringT V_StrRChr(const char *s, IntT c);
/* Index of the first sub in s, or -1. -1 too for null strings and an empty s. */
IntT V_StrSubString(const char *s, const char *sub);

/* Removes from s every byte that is in the set. */
void V_StrStrip(StringT s, const char *set);
/* Remove leading, trailing, spaces (0x20 only). */
void V_StrStripLeadingSpaces(StringT s);
void V_StrStripTrailingSpaces(StringT s);
/* Reverses the first N characters of s, or all when it is shorter. */
void V_StrReverse(StringT s, IntT N);

/* The number that s begins with, as atoi and atof read it; 0 if none. */
IntT V_StrAlphaToInt(const char *s);
double V_StrAlphaToReal(const char *s);

VELT_END_DECLS

#endif
