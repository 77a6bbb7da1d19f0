/* Fonts, and the encodings of text that the host knows. Failures as in session.h. */
#ifndef VELT_API_FONTS_H
#define VELT_API_FONTS_H

#include "velt/api/values.h"

VELT_BEGIN_DECLS

/* The fonts of a family. */
V_FontsT V_ApiFamilyFonts(IntT family);
/* The fonts of a family of combined fonts. */
V_CombinedFontsT V_ApiCombinedFamilyFonts(UIntT id1);
/* Whether the host supports an encoding, by its name. */
IntT V_ApiIsEncodingSupported(const char *encoding);
/* The names of the encodings that the host supports. */
V_StringsT V_ApiGetSupportedEncodings(void);
/* The name of a font family's encoding. */
StringT V_ApiGetEncodingForFamily(IntT family);
/* The name of a font's encoding. The pointer must not be null. */
StringT V_ApiGetEncodingForFont(const V_FontT *font);

VELT_END_DECLS

#endif
