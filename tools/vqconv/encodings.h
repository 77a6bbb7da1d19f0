// The text encodings: their names, and which convert into which.
#pragma once

#include <optional>
#include <string>

#include "velt/scalars.h"

// Finds an encoding by a name that the library knows, in any of its forms, by title or by number.
std::optional<UIntT> encoding_of(const std::string &word);

std::string encoding_title(UIntT id);

// Returns whether the library converts one to the other, and whether it needs a table file for
// that.
bool converts(UIntT from, UIntT to);
bool takes_table(UIntT from, UIntT to);

// Reads the table files of the directory, or of the default one when none is given; throws
// std::runtime_error when there is no table for the encoding.
void load_tables(const std::string &home, UIntT from);

// All encodings, one line each, with what they convert to.
std::string encoding_list();
// The tables of the manual: the encodings, and how much each conversion keeps.
std::string encoding_markdown(const std::string &home);
