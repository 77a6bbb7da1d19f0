/* Conversions of Japanese text: 7-bit JIS (two-byte characters between escape sequences), Shift-JIS
 * and EUC.
 *
 * A converter appends the first srcLen bytes of src, converted, to a builder. It returns 0, or -1
 * when the text is cut off inside a character; what came before is then in the builder. Bytes that
 * are no character of the encoding go through as they are. Nothing is done for a null builder, null
 * text and a length below 1.
 */
#ifndef VELT_VDE_JAPANESE_H
#define VELT_VDE_JAPANESE_H

#include "velt/decl.h"
#include "velt/scalars.h"
#include "velt/vde/builder.h"

/* The encoding in which Vdehan2zen finds the mark after a katakana character. */
enum {
    VdeHanShiftJis = 128, /* a byte DE or DF */
    VdeHanEuc = 256       /* the byte 8E and that byte */
};

VELT_BEGIN_DECLS

/* To Shift-JIS, single bytes go through VdeAsciiToQuire. */
IntT VdeJisToShiftJis(VdeClT *cl, const char *src, IntT srcLen);
IntT VdeJisToEuc(VdeClT *cl, const char *src, IntT srcLen);
/* To JIS, half-width katakana become full-width. */
IntT VdeShiftJisToJis(VdeClT *cl, const char *src, IntT srcLen);
IntT VdeShiftJisToEuc(VdeClT *cl, const char *src, IntT srcLen);
IntT VdeEucToJis(VdeClT *cl, const char *src, IntT srcLen);
/* Single bytes go through VdeAsciiToQuire. */
IntT VdeEucToShiftJis(VdeClT *cl, const char *src, IntT srcLen);

/* The code of a two-byte character, in place: from JIS to Shift-JIS, and back. */
void Vdejis2sjis(IntT *c1, IntT *c2);
void Vdesjis2jis(IntT *c1, IntT *c2);

/* Makes the half-width katakana character c1, which stands before src[*index], the full-width
 * Shift-JIS code c1 c2; other bytes are left alone. If src goes on with a voicing mark that
 * combines with it, *index moves past the mark. src ends with a 0. Returns the byte. */
IntT Vdehan2zen(const char *src, IntT *index, IntT *c1, IntT *c2, IntT mode);

VELT_END_DECLS

#endif
