// Plain text in UTF-8, as it is imported and exported.
#pragma once

#include <string>
#include <string_view>

#include "host/values/text.h"

namespace velt::host
{

// Returns the file's lines in the session's encoding, with '\n' between them. Throws
// std::runtime_error with line and column for what is not UTF-8 or what the encoding lacks.
std::string lines_of(std::string_view file, const SessionText &session);

// Returns the text in UTF-8, with a replacement character for each byte that encodes none; `lost`
// is set when there is one.
std::string plain_text(std::string_view text, const SessionText &session, bool &lost);

} // namespace velt::host
