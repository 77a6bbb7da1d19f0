// Sets up the structures of the font encodings.
#pragma once

namespace velt
{

// Fills the structures; does not change the dialogs' encoding or the locale.
void set_up_font_encodings();

} // namespace velt
