// Reading a string resource file.
#pragma once

#include <memory>
#include <stdint.h>
#include <stdio.h>

#include "velt/vde/instance.h"
#include "velt/vde/memory.h"

namespace velt
{

// Bytes of a string, with its terminator.
inline constexpr IntT sr_text_size = 1024;

struct SrFree {
    void operator()(void *block) const { V_Free(block); }
};
template <class T>
using SrBlock = std::unique_ptr<T, SrFree>;

// The index of a file; each offset is one in the file.
struct SrIndex {
    SrBlock<VdeSrIndexT[]> entries;
    IntT count = 0;

    VdeSrIndexT *begin() const { return entries.get(); }
    VdeSrIndexT *end() const { return entries.get() + count; }
};

// Reads header and index, sound or not. Null, or why there is none.
const char *sr_read_index(FILE *stream, SrIndex &index);

// As many bytes as are read at most for all the strings of a file of this size: with strings that
// overlap, a small file might have one take hours.
constexpr uint64_t sr_most(uint64_t file_size)
{
    return 4 * file_size + 4 * sr_text_size;
}

// Reads the string at an offset, by no more bytes than `most`, from which they are taken. -1 when
// it does not end properly; text is then what there is.
IntT sr_read_text(FILE *stream, UIntT offset, char (&text)[sr_text_size], uint64_t &most);

} // namespace velt
