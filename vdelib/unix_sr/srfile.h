// Reading a string resource file.
#ifndef VELT_VDELIB_SRFILE_H
#define VELT_VDELIB_SRFILE_H

#include "velt/vde/instance.h"
#include "velt/vde/memory.h"

#include <memory>
#include <stdio.h>

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

// Reads the string at an offset. -1 when it does not end properly; text is then what there is.
IntT sr_read_text(FILE *stream, UIntT offset, char (&text)[sr_text_size]);

} // namespace velt

#endif
