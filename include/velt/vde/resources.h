/* String resource files: a client's texts in the user's language, fetched by id.
 *
 * A file holds a header of six numbers of 32 bits (the sixth is the number of strings), an index of
 * ids (16 bits, ascending) and file offsets (32 bits), all big-endian, and at each offset a line of
 * text. vqsre makes such files.
 */
#ifndef VELT_VDE_RESOURCES_H
#define VELT_VDE_RESOURCES_H

#include <stdarg.h>
#include <stdio.h>

#include "velt/decl.h"
#include "velt/scalars.h"

/* Types of the entries of a template, which describes the form of a structure in a file. */
enum {
    VdeDrfEnd = 0,
    VdeDrfBytes = -1,
    VdeDrfNumbers16 = -2,
    VdeDrfNumbers32 = -3, /* so are -4 and -5 */
    VdeDrfNested = 1      /* so is every positive type */
};

/* An entry of a template: the array ends with one of type VdeDrfEnd. */
typedef struct VdeDrfEntryT {
    IntT type;
    int16_t offset;                    /* in the destination */
    int16_t count;                     /* of items */
    int16_t stride;                    /* nested: bytes from one element to the next in memory */
    const struct VdeDrfEntryT *nested; /* nested: the template of an element */
} VdeDrfEntryT;

VELT_BEGIN_DECLS

/* Reads big-endian data as the template describes it, each number at an even position. 0, or -1
 * when the file ends before. */
IntT Vde_drf_read(FILE *stream, const VdeDrfEntryT *entries, void *destination);
/* Reads the text of one string up to lineEnd or CR into the size bytes of buf: leading spaces are
 * skipped, "\xHH" is a byte, a backslash keeps a line end, and what does not fit is dropped. -1
 * when the file ends before the line or an escape has no digit; what was read is kept. fileFlags is
 * not used. */
IntT VdeUiScanLabel(FILE *stream, UIntT fileFlags, IntT lineEnd, IntT size, StringT buf);

/* Loads the strings of the first of these files that exists: "NAME.sre", then, in the directories
 * that HOME and VQHOME name (the root, when they are set and empty),
 * "vqinit/LANGUAGE/APIArea/resources/NAME.sre" with the whole name and with what follows its last
 * "/". A path of more than 1023 bytes is passed over. 0, or -1 when there is no file, it is damaged
 * or memory runs out: the strings loaded before stay then; otherwise they are replaced, and kept
 * until the process ends. The language is that of the last file found, damaged or not. */
IntT V_SrInit(const char *name, const char *language);
/* Tells in one line for a person why the last V_SrInit failed, and for which file; empty when it
 * succeeded. Valid until the next V_SrInit. */
const char *VdeSrError(void);

/* Puts a string into the size bytes of buf, with "%0" to "%9" and "%{0}" to "%{9}" replaced by the
 * arguments, or by "???" where there is none, "%u" by the language, and "%%" by "%". Each letter of
 * argTypes says what one argument is, ten at most: d an int in decimal, x and X in hexadecimal, f a
 * double with three decimals, s a string, r the id of another string, which is inserted with its
 * own references unanswered, p a pointer, which inserts nothing. The string is cut to the size of
 * buf first; an argument other than r that is too long for the text that has to follow it is
 * shortened in its middle, or cut off where there is room for less than 6 bytes. 0, or -1 when
 * there is no such string (buf gets "???") and when memory runs out (buf is left alone). */
IntT V_SrGetF(IntT id, StringT buf, IntT size, const char *argTypes, ...);
IntT V_SrGetVF(IntT id, StringT buf, IntT size, const char *argTypes, va_list arguments);
/* V_SrGetF without arguments. */
IntT V_SrGetN(IntT id, StringT buf, IntT size);
/* Returns a new copy of the string, of 511 bytes at most, of "???" when there is no such string;
 * null when memory runs out. V_Free it. */
StringT V_SrCopy(IntT id);

/* A hook that the library asks first for every string: it returns 0 when it has put the string into
 * the size bytes of buf. The library's own never does; a client may define another. */
IntT V_SrFetch(IntT id, StringT buf, IntT size);

VELT_END_DECLS

#endif
