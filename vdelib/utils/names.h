// Helpers that the routines for names share.
#pragma once

#include <memory>

#include "vdelib/strings/characters.h"
#include "velt/vde/memory.h"
#include "velt/vde/paths.h"

namespace velt
{

struct NameFree {
    void operator()(char *name) const { V_Free(name); }
};
using OwnedName = std::unique_ptr<char, NameFree>;

using NameBuffer = char[V_FileNameSize];

inline bool is_file_path(const V_FilePathT *path)
{
    return path && path->magic == V_FilePathMagic;
}

// The internal name of a file path; null if the structure is not valid.
inline const char *name_of(const V_FilePathT *path)
{
    return is_file_path(path) ? path->name : nullptr;
}

// The size in bytes of the first character of s in the dialogs' encoding; 0 at the end of the text.
inline IntT dialog_char_size(const char *s)
{
    return char_size(s, font_encoding(vdeDialogEncodingId));
}

inline bool is_ascii_letter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Returns the working directory in platform form, allocated; null on failure.
OwnedName working_directory();

} // namespace velt
