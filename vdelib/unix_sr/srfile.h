// Reading a string resource file.
#pragma once

#include <stdint.h>
#include <stdio.h>

#include <memory>

#include "velt/vde/instance.h"
#include "velt/vde/memory.h"

namespace velt
{

// The size of a string's buffer, terminator included.
inline constexpr IntT sr_text_size = 1024;

struct SrFree {
    void operator()(void *block) const { V_Free(block); }
};
template <class T>
using SrBlock = std::unique_ptr<T, SrFree>;

// The index of a file; its offsets are relative to the start of the file.
struct SrIndex {
    SrBlock<VdeSrIndexT[]> entries;
    IntT count = 0;

    VdeSrIndexT *begin() const { return entries.get(); }
    VdeSrIndexT *end() const { return entries.get() + count; }
};

// Reads header and index without checking them. Returns null, or why they cannot be read.
const char *sr_read_index(FILE *stream, SrIndex &index);

// The number of bytes read at most for all strings of a file of this size. Strings may overlap, so
// that without a limit a small file could take hours to read.
constexpr uint64_t sr_most(uint64_t file_size)
{
    return 4 * file_size + 4 * sr_text_size;
}

// Reads the string at an offset, at most `most` bytes, and subtracts the bytes read from `most`.
// Returns -1 when the string does not end properly; text then holds what was read.
IntT sr_read_text(FILE *stream, UIntT offset, char (&text)[sr_text_size], uint64_t &most);

} // namespace velt
