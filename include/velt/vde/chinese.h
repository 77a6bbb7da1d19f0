/* Conversions of Chinese text: Big5 and the EUC form of CNS 11643, which number the same characters
 * in different orders; the EUC form of GB 2312, and HZ, which is the same in 7 bits.
 *
 * A converter appends the first srcLen bytes of src, converted, to a builder. It returns 0, or
 * -1, from GB 2312 and HZ, when the text is cut off inside a character; what came before is then in
 * the builder. Nothing is done for a null builder, null text and a length below 1.
 */
#ifndef VELT_VDE_CHINESE_H
#define VELT_VDE_CHINESE_H

#include "velt/decl.h"
#include "velt/scalars.h"
#include "velt/vde/builder.h"

VELT_BEGIN_DECLS

/* Bytes that are no character, and characters that the other set lacks, become the full-width
 * space; neither fails. */
IntT VdeCNSEUC2Big5(VdeClT *cl, const char *src, IntT srcLen);
IntT VdeBig52CNSEUC(VdeClT *cl, const char *src, IntT srcLen);
/* A pair of bytes that is no character goes through as it is. */
IntT VdeGb8ToHz(VdeClT *cl, const char *src, IntT srcLen);
IntT VdeHzToGb8(VdeClT *cl, const char *src, IntT srcLen);

/* The two bytes of a 7-bit GB code, in place, to EUC. */
void Vdegb72gb8(IntT *c1, IntT *c2);
/* The second byte of a GB code, in place: less 31 below 80, 32 below 9F, 126 from there on
 * (hexadecimal). */
void Vdegb8_2_big5(IntT c1, IntT *c2);

VELT_END_DECLS

#endif
