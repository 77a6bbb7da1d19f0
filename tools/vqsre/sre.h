// Compiled string resource files.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "tools/vqsre/source.h"
#include "vdelib/unix_sr/srfile.h"

// The limits of the library.
inline constexpr std::size_t max_string = velt::sr_text_size - 1; // bytes
inline constexpr std::size_t max_strings = std::numeric_limits<std::int16_t>::max();

std::string compile(const Source &source);

// The strings of a file in its order. Throws std::runtime_error, with the file's name, when it is
// damaged.
std::vector<std::pair<int, std::string>> read_sre(const std::string &path);
