/* Formatted output.
 *
 * The conversions are those of printf among "dioxXucsfeEgGp%n". Every integer conversion takes one
 * 32-bit int, with "l" too, so that no long is printed by them; "%n" stores 32 bits, after "h" 16.
 * "%s" of null is empty. A conversion goes from its "%" to the next of these letters: with another
 * letter in between, as in "%y: %d", all of it is copied. A format that ends inside a conversion is
 * formatted up to there.
 */
#ifndef VELT_VDE_FORMATTED_H
#define VELT_VDE_FORMATTED_H

#include <stdarg.h>

#include "velt/decl.h"
#include "velt/scalars.h"

/* Takes a piece of output; returns the number of bytes it accepted. */
typedef IntT (*VdeOutFuncT)(void *sink, const char *bytes, IntT length);

VELT_BEGIN_DECLS

/* Formats piece by piece to an output routine; returns the sum of its return values. Stops early
 * when memory for a long piece runs out. */
IntT Vde_doprnt(VdeOutFuncT out, void *sink, const char *format, va_list arguments);
/* Formats into the size bytes (at least 1) of buf, cut to fit and terminated; returns the number of
 * bytes stored. A null buf stores nothing. */
IntT VdeVSnprintf(char *buf, IntT size, const char *format, va_list arguments);
/* Formats into buf, which must be large enough, and terminates it; returns the number of bytes
 * before the terminator. A null buf stores nothing. No compiler checks the arguments: cast a long
 * to int, as only 32 bits are printed. */
IntT V_Sprintf(char *buf, const char *format, ...);

/* The two below take the address of the list, and advance it past what they use. */

/* Replaces every "*" in spec by the next int argument in decimal: up to 10 bytes more each, for
 * which there must be room. */
void VdeProcessWildFieldWidth(char *spec, va_list *arguments);
/* Formats one conversion specification without "*", other than "%n", into outbuf, which must be
 * large enough; returns the length. */
IntT VdePrintToStream(char *outbuf, const char *spec, IntT specLength, va_list *arguments);

VELT_END_DECLS

#endif
