// Big-endian structures in files.

#include <string.h>

#include "velt/vde/resources.h"

namespace
{

template <class T>
bool read_numbers(FILE *stream, char *destination, IntT count)
{
    for (; count > 0; --count, destination += sizeof(T)) {
        UCharT bytes[sizeof(T)];
        if (fread(bytes, sizeof bytes, 1, stream) != 1)
            return false;
        UIntT value = 0;
        for (const UCharT byte : bytes)
            value = value << 8 | byte;
        const T number = static_cast<T>(value);
        memcpy(destination, &number, sizeof number);
    }
    return true;
}

} // namespace

IntT Vde_drf_read(FILE *stream, const VdeDrfEntryT *entries, void *destination)
{
    bool odd = false; // an odd number of bytes was read, so a number follows after a pad byte
    const auto pad = [&] {
        if (odd)
            getc(stream);
        odd = false;
    };
    for (const VdeDrfEntryT *entry = entries; entry->type != VdeDrfEnd; ++entry) {
        char *item = static_cast<char *>(destination) + entry->offset;
        bool done = false;
        switch (entry->type) {
        case VdeDrfBytes:
            done = read_numbers<uint8_t>(stream, item, entry->count);
            odd ^= entry->count > 0 && entry->count % 2 != 0;
            break;
        case VdeDrfNumbers16:
            pad();
            done = read_numbers<uint16_t>(stream, item, entry->count);
            break;
        case VdeDrfNumbers32:
        case VdeDrfNumbers32 - 1:
        case VdeDrfNumbers32 - 2:
            pad();
            done = read_numbers<uint32_t>(stream, item, entry->count);
            break;
        default:
            done = entry->type > 0;
            for (IntT i = 0; done && i < entry->count; ++i, item += entry->stride)
                done = Vde_drf_read(stream, entry->nested, item) == 0;
        }
        if (!done)
            return -1;
    }
    pad();
    return 0;
}
