// The forms of a resource file and of its strings.

#include <string.h>

#include <algorithm>

#include "vdelib/strings/blocks.h"
#include "vdelib/unix_sr/srfile.h"
#include "velt/vde/quire.h"
#include "velt/vde/resources.h"

namespace
{

using velt::sr_text_size;

// Reads the digits, two at most, after "\x" and returns their byte; -1 if there is no digit.
int scan_hex(auto &source)
{
    int value = -1;
    for (int digits = 0; digits < 2; ++digits) {
        const int c = source.next();
        if (c == EOF || (VdeCharProps[c] & VdeCharHexDigit) == 0) {
            source.back(c);
            break;
        }
        value = (digits == 0 ? 0 : value * 16) + VdeHexAtoD[c];
    }
    return value;
}

// Text that does not fit is read and dropped, or left unread.
enum class Rest { read, left };

// A source gives the next byte or EOF, takes back what it has given last, and copies the ordinary
// bytes that follow, as many as it likes but no more than it is told. `length` becomes that of buf.
IntT scan(auto &source, IntT lineEnd, IntT size, StringT buf, Rest rest, IntT &length)
{
    if (size < 1)
        return -1;
    length = 0;
    IntT result = 0;
    bool has_zeros = false;
    const auto keep = [&](int c) {
        has_zeros |= c == 0;
        if (length < size - 1)
            buf[length++] = static_cast<char>(c);
    };
    const auto ends_line = [lineEnd](int c) { return c == lineEnd || c == '\r'; };
    const auto next = [&] {
        length += source.copy(buf + length, size - 1 - length);
        return source.next();
    };

    int c = source.next();
    while (c == ' ')
        c = source.next();
    for (; !ends_line(c); c = next()) {
        if (rest == Rest::left && length == size - 1)
            break;
        if (c == '\\') {
            c = source.next();
            if (c == 'x' || c == 'X')
                c = scan_hex(source);
            else if (!ends_line(c))
                keep('\\');
        }
        if (c < 0) { // the end of the file, or no digit
            result = -1;
            break;
        }
        keep(c);
    }
    buf[length] = '\0';
    if (has_zeros)
        length = static_cast<IntT>(strlen(buf));
    return result;
}

struct Stream {
    FILE *file;

    int next() { return getc(file); }
    void back(int c) { ungetc(c, file); }
    static IntT copy(char *, IntT) { return 0; }
};

} // namespace

// What may be read of a part, until a limit.
class velt::SrReader::Limited
{
public:
    Limited(SrReader &part_reader, uint64_t &limit) : reader(part_reader), most(limit) {}

    int next()
    {
        if (most == 0)
            return EOF;
        --most;
        return reader.at < reader.end || reader.fill() ? *reader.at++ : EOF;
    }
    void back(int c) { reader.at -= c != EOF; }

    // All bytes are ordinary but these four.
    IntT copy(char *to, IntT size)
    {
        const UCharT *const begin = reader.at;
        while (size > 0 && reader.end - reader.at >= block_size && most >= block_size) {
            const Block block = load_block(reader.at);
            store_block(to, block);
            const int ordinary =
                first_set((block == '\n') | (block == '\r') | (block == '\\') | (block == '\0'));
            const int count = std::min(ordinary, size);
            reader.at += count;
            to += count;
            size -= count;
            most -= static_cast<uint64_t>(count);
            if (ordinary < block_size)
                break;
        }
        return static_cast<IntT>(reader.at - begin);
    }

private:
    SrReader &reader;
    uint64_t &most;
};

IntT VdeUiScanLabel(FILE *stream, [[maybe_unused]] UIntT fileFlags, IntT lineEnd, IntT size,
                    StringT buf)
{
    Stream source{stream};
    IntT length;
    return scan(source, lineEnd, size, buf, Rest::read, length);
}

void velt::SrReader::seek(uint64_t offset)
{
    const auto size = static_cast<uint64_t>(end - part);
    if (offset >= start && offset - start <= size) {
        at = part + (offset - start);
        return;
    }
    start = offset;
    at = end = part;
}

bool velt::SrReader::fill()
{
    start += static_cast<uint64_t>(end - part);
    at = end = part;
    if (fseeko(stream, static_cast<off_t>(start), SEEK_SET) == 0)
        end += fread(part, 1, sizeof part, stream);
    return at < end;
}

bool velt::SrReader::read(void *to, size_t size)
{
    auto *bytes = static_cast<UCharT *>(to);
    while (size > 0 && (at < end || fill())) {
        const size_t count = std::min(size, static_cast<size_t>(end - at));
        bytes = std::copy_n(at, count, bytes);
        at += count;
        size -= count;
    }
    return size == 0;
}

const char *velt::SrReader::read_index(SrIndex &index)
{
    const auto number = [](const UCharT *bytes, int size) {
        UIntT value = 0;
        for (int i = 0; i < size; ++i)
            value = value << 8 | bytes[i];
        return value;
    };
    static_assert(sizeof(VdeSrIndexT) == 8);
    UCharT header[24];
    if (!read(header, sizeof header))
        return "the file ends inside its header";
    const UIntT count = number(header + 20, 4);
    if (count > INT16_MAX)
        return "the header tells of more than 32767 strings";

    index.entries.reset(static_cast<VdeSrIndexT *>(V_Calloc(count, sizeof(VdeSrIndexT), 0)));
    index.count = static_cast<IntT>(count);
    if (!index.entries)
        return "not enough memory for its index";
    // The entries grow from 6 bytes to 8 in their own block: none gets to what is not yet decoded.
    const UCharT *bytes = reinterpret_cast<UCharT *>(index.begin()) + size_t{2} * count;
    if (!read(const_cast<UCharT *>(bytes), size_t{6} * count))
        return "the file ends inside its index";
    for (VdeSrIndexT &entry : index) {
        entry = {static_cast<int16_t>(number(bytes, 2)), number(bytes + 2, 4)};
        bytes += 6;
    }
    return nullptr;
}

IntT velt::SrReader::read_text(UIntT offset, char *text, IntT &length, uint64_t &most)
{
    seek(offset);
    Limited source(*this, most);
    return scan(source, '\n', sr_text_size, text, Rest::left, length);
}
