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

// The library's own V_SrFetch, which leaves the buffer alone. Not there where a client's own has
// taken its place in a program without the shared library.
[[gnu::weak]] IntT library_fetch(IntT id, StringT buf, IntT size);

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

// The number of bytes read at most for all strings of a file of this size. Strings may overlap, so
// that without a limit a small file could take hours to read.
constexpr uint64_t sr_most(uint64_t file_size)
{
    return 4 * file_size + 4 * sr_text_size;
}

// A file of which a part is in memory. Only the reader moves its position.
class SrReader
{
public:
    explicit SrReader(FILE *file) : stream(file) {}
    SrReader(const SrReader &) = delete;
    SrReader &operator=(const SrReader &) = delete;

    // Reads header and index without checking them. Returns null, or why they cannot be read.
    const char *read_index(SrIndex &index);

    // Reads the string at an offset into a text of sr_text_size bytes, at most `most` bytes, and
    // subtracts the bytes read from `most`. Up to `spare` bytes of the text behind the string are
    // overwritten. Returns -1 when the string does not end properly; text then holds what was read.
    static constexpr IntT spare = 15;
    IntT read_text(UIntT offset, char *text, IntT &length, uint64_t &most);

private:
    class Limited;

    void seek(uint64_t offset);
    bool fill();
    bool read(void *to, size_t size);

    FILE *stream;
    uint64_t start = 0; // of the part in the file
    UCharT part[32768];
    const UCharT *at = part;
    const UCharT *end = part;
};

} // namespace velt
