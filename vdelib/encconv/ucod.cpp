// Reads the table files of the East Asian encodings.
//
// A file begins with the lowest and the highest first byte of two-byte characters. The rows follow:
// one for single bytes, whose number is one less than the lowest first byte, and one for each first
// byte. A row is its lowest and highest byte, and the code points of these and those between, each
// of two bytes, the higher first. A row whose lowest byte is not below its highest has no code
// points.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <span>

#include "vdelib/encconv/unicode.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/strings.h"

namespace
{

using namespace velt;

struct Release {
    void operator()(std::FILE *file) const { std::fclose(file); }
    void operator()(void *block) const { V_Free(block); }
};

template <class T>
using Owned = std::unique_ptr<T, Release>;

struct Bytes {
    Owned<UCharT> block;
    size_t size = 0;
};

Bytes read_whole(std::FILE *file)
{
    if (std::fseek(file, 0, SEEK_END) != 0)
        return {};
    const long size = std::ftell(file);
    if (size < 0 || size >= V_MaxBlockSize || std::fseek(file, 0, SEEK_SET) != 0)
        return {};
    Bytes bytes{Owned<UCharT>{static_cast<UCharT *>(V_Alloc(static_cast<UIntT>(size), 0))},
                static_cast<size_t>(size)};
    if (bytes.block && std::fread(bytes.block.get(), 1, bytes.size, file) != bytes.size)
        return {};
    return bytes;
}

Bytes read_packed(const char *base_name, const char *dir)
{
    if (V_StrLen(dir) == 0)
        return {};
    const UIntT enc = vdeDialogEncodingId;
    const char *const parts[] = {dir, V_StrISuffixEnc(dir, "/", enc) ? "" : "/", "unicode/",
                                 base_name, ".UCOD"};
    char path[256] = "";
    IntT length = 0;
    for (const char *part : parts) {
        V_StrCatNEnc(path, part, sizeof path, enc);
        length += V_StrLen(part);
    }
    if (V_StrLen(path) != length)
        return {}; // a truncated path may name another file
    // O_NONBLOCK: opening a pipe that no process writes to must not block.
    const int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const Owned<std::FILE> file{descriptor < 0 ? nullptr : fdopen(descriptor, "r")};
    if (!file && descriptor >= 0)
        close(descriptor);
    return file ? read_whole(file.get()) : Bytes{};
}

// Calls `visit` with each row and its number; false when the file does not hold all rows. Bytes
// after the rows are ignored.
bool for_each_row(std::span<const UCharT> file, auto visit)
{
    if (file.size() < 2)
        return false;
    const unsigned first_lead = file[0];
    const unsigned last_lead = file[1];
    const unsigned first_row = first_lead > 0 ? first_lead - 1 : 0;
    if (last_lead < first_row)
        return false;
    file = file.subspan(2);
    for (unsigned row = first_row; row <= last_lead; ++row) {
        if (file.size() < 2)
            return false;
        const UCharT lo = file[0];
        const UCharT hi = file[1];
        file = file.subspan(2);
        if (lo >= hi)
            continue;
        const size_t size = 2 * (size_t{hi} - lo + 1);
        if (file.size() < size)
            return false;
        visit(row < first_lead ? 0 : row, row < first_lead, lo, file.first(size));
        file = file.subspan(size);
    }
    return true;
}

} // namespace

UCharT *VdeGetPackedUnicodeInfo(const char *baseName, const char *dir)
{
    return read_packed(baseName, dir).block.release();
}

EastAsianTable *velt::load_table(const VdeFontEncT &font, const char *dir)
{
    const Bytes bytes = read_packed(font.name, dir);
    if (!bytes.block)
        return nullptr;
    const std::span<const UCharT> file{bytes.block.get(), bytes.size};
    size_t count = 2; // the two rows for bytes that the file has no row for
    if (!for_each_row(file, [&count](auto...) { ++count; }))
        return nullptr;
    auto *table = static_cast<EastAsianTable *>(
        V_Calloc(1, static_cast<UIntT>(sizeof(EastAsianTable) + count * sizeof(Utf8Row)), 0));
    if (!table)
        return nullptr;

    auto *next = reinterpret_cast<Utf8Row *>(table + 1);
    const auto new_row = [&next] { return next++; };
    const auto new_pairs = [&] {
        Utf8Row *const row = new_row();
        for (size_t byte = 0; byte < row->size(); ++byte) {
            if (font.secondByte[byte] == 0)
                (*row)[byte] = EastAsianTable::no_pair;
        }
        return row;
    };
    table->single = new_row();
    const Utf8Row *const no_pairs = new_pairs();
    for (size_t byte = 0; byte < std::size(table->pairs); ++byte)
        table->pairs[byte] = font.firstByte[byte] != 0 ? no_pairs : nullptr;

    for_each_row(file, [&](unsigned row, bool single, UCharT lo, std::span<const UCharT> codes) {
        Utf8Row *const characters = row == 0 ? new_row() : new_pairs();
        for (size_t i = 0; i < codes.size(); i += 2) {
            const size_t byte = lo + i / 2;
            // Control characters have the code points of Quire text, whatever the file says.
            const CodePoint point = single && byte < 0x20
                                        ? VdeVeltRomanToUnicodeConversionTable[byte]
                                        : static_cast<CodePoint>(codes[i] * 256 + codes[i + 1]);
            if (Utf8 &character = (*characters)[byte];
                character.size != EastAsianTable::no_pair.size)
                character = in_utf8(point);
        }
        if (row == 0)
            table->single = characters;
        else if (font.firstByte[row] != 0)
            table->pairs[row] = characters;
    });
    CodePoints codes;
    std::ranges::transform(*table->single, codes.begin(), code_point);
    table->run = identical_ascii(codes.data());
    return table;
}
