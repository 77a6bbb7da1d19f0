// Table files of the East Asian encodings, and the tables of code points in them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "velt/scalars.h"

// Code points by code. A code below 0x100 is a single byte; any other is two bytes, the first the
// higher.
using Ucod = std::map<unsigned, std::uint16_t>;

// Text encodings that have a file.
const std::vector<UIntT> &ucod_encodings();

// The name of an encoding's file, less its directory.
std::string ucod_name(UIntT encoding);

// The table of an encoding, made from the system's iconv.
Ucod make_ucod(UIntT encoding);

// Converts a table to the contents of a file, and back. unpack_ucod throws std::runtime_error,
// which says where the file is damaged.
std::string pack_ucod(const Ucod &table);
Ucod unpack_ucod(std::string_view file);

// Lists the faults of a table, one line each: code points that are no characters, and codes that
// the library does not look up in the file of that name.
std::vector<std::string> ucod_faults(const Ucod &table, const std::string &name);

// The table as text: a line for each code.
std::string ucod_text(const Ucod &table);
