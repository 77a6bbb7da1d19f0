// Whatever others wrote, in files, names or calls, passes here before it is printed: it is UTF-8
// then, and no part of it commands a terminal, hides what stands beside it or breaks a line.
#pragma once

#include <string>
#include <string_view>

namespace velt
{

// What is not fit to print reads as '?'.
std::string printable(std::string_view text);
// The same, but lines may end.
std::string printable_lines(std::string_view text);
// In what is JSON already: as its escapes.
std::string printable_json(std::string_view json);
// The content of an XML element or attribute, in which line ends count.
std::string printable_xml(std::string_view text);

} // namespace velt
