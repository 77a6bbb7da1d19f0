/* The host's user-interface languages: their numbers, and the names of their directories. */
#ifndef VELT_VDE_LANGUAGE_H
#define VELT_VDE_LANGUAGE_H

#include "velt/decl.h"
#include "velt/scalars.h"

VELT_BEGIN_DECLS

/* Name of a language number; null when it is none. Constant: neither change nor free it. */
const char *V_LanguageString(IntT number);
/* Number of a language name, which must match to the letter; 0 when it is none. */
IntT V_LanguageNumber(const char *name);

VELT_END_DECLS

#endif
