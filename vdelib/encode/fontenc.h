// The records of the font encodings.
#ifndef VELT_VDELIB_FONTENC_H
#define VELT_VDELIB_FONTENC_H

namespace velt
{

// Fills them, and leaves dialogs and locale alone.
void set_up_font_encodings();

} // namespace velt

#endif
