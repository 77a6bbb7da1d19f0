/* The host's user-interface languages: their numbers, the names of their directories, and their
 * encodings. V_language_usenglish, say, of velt/api/facts.h is a number. */
#ifndef VELT_VDE_LANGUAGE_H
#define VELT_VDE_LANGUAGE_H

#include "velt/decl.h"
#include "velt/scalars.h"

VELT_BEGIN_DECLS

/* Name of a language number; null when it is none. Constant: neither change nor free it. */
const char *V_LanguageString(IntT number);
/* Number of a language name, which must match to the letter; 0 when it is none. */
IntT V_LanguageNumber(const char *name);
/* The text encoding in which the host keeps text of a language, VdeEncBig5, say; VdeEncQuire for a
 * number that is none. */
UIntT V_LanguageEncoding(IntT number);

VELT_END_DECLS

#endif
