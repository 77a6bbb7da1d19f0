// The records of the font encodings.
#pragma once

namespace velt
{

// Fills them, and leaves dialogs and locale alone.
void set_up_font_encodings();

} // namespace velt
