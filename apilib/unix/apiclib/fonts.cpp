// Fonts and the encodings of text.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

// clang-format off

V_FontsT V_ApiFamilyFonts(IntT family)
{ return aggregate(api_vq_family_fonts_1, family, &ApiVqFamilyFontsRetT::fonts); }

V_CombinedFontsT V_ApiCombinedFamilyFonts(UIntT id1)
{ return aggregate(api_vq_combined_family_fonts_1, {id1}, &ApiVqCombinedFamilyFontsRetT::fonts); }

IntT V_ApiIsEncodingSupported(const char *encoding)
{ return plain(api_vq_is_encoding_supported_1, in(encoding), 0); }

V_StringsT V_ApiGetSupportedEncodings(void)
{ return aggregate(api_vq_get_supported_encodings_1, 0, &ApiVqGetStringsRetT::strings); }

StringT V_ApiGetEncodingForFamily(IntT family)
{ return aggregate(api_vq_get_encoding_for_family_1, family, &ApiVqGetStringRetT::result); }

StringT V_ApiGetEncodingForFont(const V_FontT *font)
{ return aggregate(api_vq_get_encoding_for_font_1, {*font}, &ApiVqGetStringRetT::result); }
