/* Text encodings: their names, and the conversion of strings between them. Null strings read as
 * empty. */
#ifndef VELT_VDE_ENCODINGS_H
#define VELT_VDE_ENCODINGS_H

#include "velt/decl.h"
#include "velt/scalars.h"

/* Ids of the text encodings. */
enum {
    VdeEncQuire = 0,
    VdeEncIsoLatin1 = 1,
    VdeEncAscii = 2,
    VdeEncAnsi = 3,
    VdeEncMac = 4,
    VdeEncJis = 5, /* 7 bits, with escape sequences */
    VdeEncShiftJis = 6,
    VdeEncJapaneseEuc = 7,
    VdeEncBig5 = 8,
    VdeEncCnsEuc = 9, /* Traditional Chinese */
    VdeEncGbEuc = 10, /* Simplified Chinese */
    VdeEncHz = 11,
    VdeEncKscEuc = 12,       /* Korean */
    VdeEncSymbol = 13,       /* of the font of this name */
    VdeEncZapfDingbats = 14, /* of the font of this name */
    VdeEncWingdings = 15,    /* of the font of this name */
    VdeEncUtf8 = 16,
    VdeEncLast = VdeEncUtf8
};

/* Types of names. */
enum {
    VdeEncMimeName = 0x1 /* the one that MIME gives the encoding */
};

VELT_BEGIN_DECLS

/* The first name of an encoding that has a bit in common with the type; the first of all if none
 * has, and for type 0. "" for an encoding without names. Constant. */
const char *VdeTextEncValueToNameByType(UIntT id, UIntT type);
/* The first name, and the MIME name, in the same way. */
const char *VdeTextEncValueToName(UIntT id);
const char *VdeTextEncValueToMimeName(UIntT id);
/* Id of the encoding of that name, compared by V_StrANICmp; 0 if there is none. */
UIntT VdeTextEncNameToValue(const char *name);
/* Compares Quire strings by their letters, in any case, and digits alone: 0 for equal, else the
 * difference of the first differing capitals. */
IntT V_StrANICmp(const char *a, const char *b);

/* The text encoding of a font encoding, 0 for an unknown one; and the font encoding of a text
 * encoding, that of Quire text for those that have none of their own. */
UIntT V_FontEncToTextEnc(UIntT fontEnc);
UIntT V_TextEncToFontEnc(UIntT textEnc);

/* Replace in place the tabs, line ends, spaces and hyphens that are control characters in Quire
 * text by those of other text, and the tabs of other text by those of Quire text. They return the
 * address of the terminator. */
StringT VdeVQControlToExternal(StringT s);
StringT VdeExternalControlToVQ(StringT s);

/* Returns a new string in another encoding; V_Free it. Quire text converts to all but the encodings
 * of fonts, Latin-1, ASCII, ANSI and Mac text to Quire; the three Japanese encodings, the two of
 * Traditional Chinese, and those of Simplified Chinese convert among themselves. Quire, Latin-1,
 * the encodings of fonts and, once V_FdeInitUnicode has read their tables, Shift-JIS, Big5, GB EUC
 * and KSC EUC convert to UTF-8. Each converts to itself as it is, UTF-8 to nothing else. vqconv -l
 * lists it. Null when there is no conversion between the two, when nothing is converted, and, among
 * the Japanese encodings and those of Simplified Chinese, when the text is cut off inside a
 * character. A character without an equivalent ends the result of a conversion between single-byte
 * encodings. An id above VdeEncLast to convert from to another, and a font's or unknown encoding to
 * convert Quire text to, end the process. */
StringT V_StrConvertEnc(const char *text, UIntT fromEnc, UIntT toEnc);

VELT_END_DECLS

#endif
