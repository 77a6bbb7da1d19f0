// Sanitises text from files, names or calls before it is printed: the result is UTF-8 without
// terminal controls, hidden text or line breaks.
#pragma once

#include <string>
#include <string_view>

namespace velt
{

// Replaces each character that is not fit to print by '?'.
std::string printable(std::string_view text);
// The same, but keeps line ends, and shows a tab as a blank.
std::string printable_lines(std::string_view text);
// The same in one line: a line end, too, is shown as a blank.
std::string printable_line(std::string_view text);
// Replaces such characters in JSON text by JSON escapes.
std::string printable_json(std::string_view json);
// Escapes the content of an XML element or attribute; line ends are kept.
std::string printable_xml(std::string_view text);

// Returns as much of a name in UTF-8 as a message has room for, as it is or in quotes.
std::string shortened(std::string_view name, std::size_t most = 100);
std::string in_quotes(std::string_view name);

} // namespace velt
