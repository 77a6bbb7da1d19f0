/* File names in the library's internal form and in the platform's. */
#ifndef VELT_VDE_PATHS_H
#define VELT_VDE_PATHS_H

#include "velt/decl.h"
#include "velt/scalars.h"

VELT_BEGIN_DECLS

/* New copy of a name, for the operating system; a new empty string for a null name; null when
 * memory runs out. To be released with V_Free. */
StringT VdeInternalToPlatformFilename(const char *name);

VELT_END_DECLS

#endif
