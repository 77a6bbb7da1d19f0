/* The host's native 8-bit character set, Quire: maps to and from other sets, case, character
 * properties, hexadecimal digits, and the escaped text form of databases.
 *
 * In the maps between character sets 0 means that there is no equivalent.
 */
#ifndef VELT_VDE_QUIRE_H
#define VELT_VDE_QUIRE_H

#include "velt/decl.h"
#include "velt/scalars.h"

/* Bits of an entry of VdeCharProps. */
enum {
    VdeCharBreak = 0x0001,         /* tab, line and paragraph ends */
    VdeCharUpper = 0x0002,         /* upper-case letters */
    VdeCharLower = 0x0004,         /* lower-case letters */
    VdeCharLetter = 0x0008,        /* letters */
    VdeCharDigit = 0x0010,         /* decimal digits */
    VdeCharHexDigit = 0x0020,      /* hexadecimal digits */
    VdeCharSpaceLike = 0x0040,     /* tab, ends and every kind of space */
    VdeCharPlainSpace = 0x0080,    /* the space 0x20 */
    VdeCharWord = 0x0100,          /* characters of words */
    VdeCharLineEnd = 0x0200,       /* line and paragraph ends */
    VdeCharSentenceEnd = 0x0400,   /* "!", "." and "?" */
    VdeCharUnbroken = 0x0800,      /* letters, digits and the non-breaking hyphen */
    VdeCharSpecial = 0x1000,       /* the special characters 0x01 to 0x06 */
    VdeCharBeforeOpening = 0x2000, /* after which a quote opens: space-like and opening marks */
    VdeCharConsonant = 0x4000,     /* consonants */
    VdeCharMark = 0x8000           /* quote and bracket marks */
};

VELT_BEGIN_DECLS

/* Tables of 256 entries. They are constant; the pointers may be aimed at other tables. */
extern const UCharT *VdeIdentMap;
extern const UCharT *VdeQToUpper;
extern const UCharT *VdeQToLower;
extern const UCharT *VdeHexDtoA; /* 0 to 15 to "0" to "9", "A" to "F"; else 0 */
extern const UCharT *VdeHexAtoD; /* a hexadecimal digit to its value; else 0 */
extern const uint16_t *VdeCharProps;
extern const UCharT *VdeQToAnMap; /* Quire to ANSI */
extern const UCharT *VdeAnToQMap; /* ANSI to Quire */

/* One character from set to set. The low 8 bits of ch count. */
IntT VdeQuireToIsoLatin1(IntT ch);
IntT VdeIsoLatin1ToQuire(IntT ch);
IntT VdeQuireToAscii(IntT ch);
IntT VdeQuireTo7BitAscii(IntT ch);
IntT VdeAsciiToQuire(IntT ch);
IntT VdeQuireToAnsi(IntT ch);
IntT VdeAnsiToQuire(IntT ch);
IntT VdeMacToQuire(IntT ch);
IntT VdeQuireToMac(IntT ch);
IntT VdeQuireToQuire(IntT ch);

/* New string with special characters escaped by backslashes, and back; at most 255 bytes, the rest
 * is cut off. Null reads as empty; null when memory runs out. V_Free it. */
StringT VdeQuireToDbText(const char *text);
StringT VdeDbTextToQuire(const char *text);

VELT_END_DECLS

#endif
