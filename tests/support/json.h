// Reads what is compared in tests with a JSON library, which takes long to compile.
#pragma once

namespace velt::test
{

// The value in the text at a pointer such as /flows/0, on one line and with its names in order.
// Throws when the text is no JSON or has no such value.
std::string json_at(const std::string &text, const std::string &pointer = "");

} // namespace velt::test
