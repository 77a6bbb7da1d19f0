/* Text to Unicode, and classes of Unicode characters.
 *
 * Text of the encodings VdeEncQuire, VdeEncIsoLatin1, VdeEncSymbol, VdeEncZapfDingbats and
 * VdeEncWingdings converts by built-in tables; that of VdeEncShiftJis, VdeEncKscEuc, VdeEncBig5 and
 * VdeEncGbEuc once V_FdeInitUnicode has read theirs, which vqucod makes. A character without a code
 * point is dropped.
 */
#ifndef VELT_VDE_UNICODE_H
#define VELT_VDE_UNICODE_H

#include "velt/decl.h"
#include "velt/scalars.h"
#include "velt/vde/builder.h"

enum {
    VdeNoCodePoint = 0xFFFF /* entry of a table where there is no character */
};

VELT_BEGIN_DECLS

/* The code points of the codes of the single-byte encodings. */
extern const uint16_t VdeVeltRomanToUnicodeConversionTable[256];
extern const uint16_t VdeISOLatin1ToUnicodeConversionTable[256];
extern const uint16_t VdeSymbolToUnicodeConversionTable[256];
extern const uint16_t VdeZapfDingbatsToUnicodeConversionTable[256];
extern const uint16_t VdeWingdingsToUnicodeConversionTable[256];

/* Reads the tables of the East Asian encodings from the directory's unicode/, unless that of
 * Shift-JIS is there already; sets up the font encodings if that has not been done, without
 * detecting the locale. A file that is missing or does not hold all its rows gives no table; an
 * earlier table stays. */
void V_FdeInitUnicode(const char *dir);

/* Returns a new block with the contents of dir/unicode/baseName.UCOD; V_Free it. Null when there is
 * no such file, its name has more than 255 bytes, it cannot be read, or memory runs out. */
UCharT *VdeGetPackedUnicodeInfo(const char *baseName, const char *dir);

/* Returns a new array of the code points of the text, with a 0 at the end; V_Free it. Null for
 * empty text, an encoding without a table, and when memory runs out. */
UIntT *VdeTextEncStringToLString(const char *text, UIntT enc);

/* Appends the first srcLen bytes of src to a builder as UTF-8; nothing when the encoding has no
 * table, for a null builder, null text and a length below 1. Returns 0. */
IntT vdeTranslateToUnicode(VdeClT *cl, const char *src, IntT srcLen, UIntT enc);

/* 1 for the printable characters of ASCII but the backslash and "~", else 0. */
IntT V_LCharIsSafeForAscii(UIntT ch);

/* 1 for a character that may stand in a name, or begin one when "first" is nonzero, else 0: those
 * of XML 1.0, but only the hyphen of the punctuation. */
IntT V_LCharIsSafeForName(UIntT ch, IntT first);

VELT_END_DECLS

#endif
