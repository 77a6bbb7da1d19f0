// The text encodings: how they are called, and which convert into which.
#pragma once

#include <optional>
#include <string>

#include "velt/scalars.h"

// By a name that the library knows, in any of its forms, by a title, or by number.
std::optional<UIntT> encoding_of(const std::string &word);

std::string encoding_title(UIntT id);

// Whether text of one converts to the other, and whether that takes a table file.
bool converts(UIntT from, UIntT to);
bool takes_table(UIntT from, UIntT to);

// Reads the table files of this directory, or else of where they are by themselves; throws
// std::runtime_error when there is none for the encoding.
void load_tables(const std::string &home, UIntT from);

// All encodings, one line each, with what they convert to.
std::string encoding_list();
// The tables of the manual: the encodings, and how much each conversion keeps.
std::string encoding_markdown(const std::string &home);
