#include "tools/vqucod/ucod.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>

#include "common/charset.h"
#include "velt/vde/encodings.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/unicode.h"

using namespace velt;

namespace
{

const VdeFontEncT &font_encoding(UIntT encoding)
{
    static const bool ready = (V_FdeInitFontEncs(nullptr), true);
    static_cast<void>(ready);
    return *vdeFontEncs[V_TextEncToFontEnc(encoding)];
}

template <class... Arguments>
std::string format(const char *form, Arguments... arguments)
{
    char text[128];
    std::snprintf(text, sizeof text, form, arguments...);
    return text;
}

std::string code_text(unsigned code)
{
    return format(code < 0x100 ? "0x%02X" : "0x%04X", code);
}

void append_row(std::string &file, const Ucod &table, unsigned row)
{
    const auto begin = table.lower_bound(row * 0x100);
    const auto end = table.lower_bound((row + 1) * 0x100);
    std::string codes(2, '\0');
    if (begin != end) {
        // The row of single bytes includes the control characters, which the library defines
        // itself.
        unsigned lo = row == 0 ? 0 : begin->first & 0xFF;
        unsigned hi = std::prev(end)->first & 0xFF;
        // A row with equal lowest and highest byte would count as empty, so it gets two codes.
        if (lo == hi && hi < 0xFF)
            ++hi;
        else if (lo == hi)
            --lo;
        codes = {static_cast<char>(lo), static_cast<char>(hi)};
        for (unsigned byte = lo; byte <= hi; ++byte) {
            const auto found = table.find(row * 0x100 + byte);
            const unsigned point =
                found != table.end() ? unsigned{found->second} : unsigned{VdeNoCodePoint};
            codes += static_cast<char>(point >> 8);
            codes += static_cast<char>(point & 0xFF);
        }
    }
    file += codes;
}

} // namespace

const std::vector<UIntT> &ucod_encodings()
{
    static const std::vector<UIntT> ids = [] {
        std::vector<UIntT> all;
        for (UIntT font = vdeVeltRomanEncodingId + 1; font <= vdeLastEncodingId; ++font)
            all.push_back(V_FontEncToTextEnc(font));
        return all;
    }();
    return ids;
}

std::string ucod_name(UIntT encoding)
{
    font_encoding(encoding);
    return std::string(V_FontEncName(V_TextEncToFontEnc(encoding))) + ".UCOD";
}

Ucod make_ucod(UIntT encoding)
{
    const Charset charset(encoding);
    Ucod table;
    const auto enter = [&](unsigned code, const std::string &bytes) {
        const auto [text, character] = charset.decode(bytes);
        if (text.size() == bytes.size() && character != 0 && character < VdeNoCodePoint)
            table[code] = static_cast<std::uint16_t>(character);
    };
    for (unsigned first = 0x20; first < 0x100; ++first) {
        if (first < 0x80)
            table[first] = static_cast<std::uint16_t>(first);
        else
            enter(first, {static_cast<char>(first)});
        for (unsigned second = 0; first >= 0x80 && second < 0x100; ++second)
            enter(first * 0x100 + second, {static_cast<char>(first), static_cast<char>(second)});
    }
    return table;
}

std::string pack_ucod(const Ucod &table)
{
    const auto pairs = table.lower_bound(0x100);
    // The row of single bytes has the number before that of the lowest first byte.
    const unsigned first_lead = pairs != table.end() ? pairs->first >> 8 : 1;
    const unsigned last_lead = pairs != table.end() ? table.rbegin()->first >> 8 : 0;
    std::string file{static_cast<char>(first_lead), static_cast<char>(last_lead)};
    append_row(file, table, 0);
    for (unsigned row = first_lead; row <= last_lead; ++row)
        append_row(file, table, row);
    return file;
}

Ucod unpack_ucod(std::string_view file)
{
    std::size_t at = 0;
    const auto next = [&](const std::string &inside) -> unsigned {
        if (at >= file.size())
            throw std::runtime_error("it ends at byte " + std::to_string(at) + ", inside " +
                                     inside);
        return static_cast<unsigned char>(file[at++]);
    };
    const unsigned first_lead = next("its header");
    const unsigned last_lead = next("its header");
    const unsigned first_row = first_lead > 0 ? first_lead - 1 : 0;
    if (last_lead < first_row)
        throw std::runtime_error(
            format("its last row, 0x%02X, comes before its first, 0x%02X", last_lead, first_row));
    Ucod table;
    for (unsigned row = first_row; row <= last_lead; ++row) {
        const bool single = row < first_lead;
        const std::string name = single ? "the row of single bytes" : "row " + code_text(row);
        const unsigned lo = next(name);
        const unsigned hi = next(name);
        for (unsigned byte = lo; lo < hi && byte <= hi; ++byte) {
            const unsigned high = next(name);
            const unsigned point = high * 0x100 + next(name);
            if (point != VdeNoCodePoint)
                table[(single ? 0 : row * 0x100) + byte] = static_cast<std::uint16_t>(point);
        }
    }
    if (at != file.size())
        throw std::runtime_error("its rows end at byte " + std::to_string(at) + " of " +
                                 std::to_string(file.size()));
    return table;
}

std::vector<std::string> ucod_faults(const Ucod &table, const std::string &name)
{
    std::vector<std::string> faults;
    for (const auto &[code, point] : table)
        if (point >= 0xD800 && point <= 0xDFFF)
            faults.push_back(code_text(code) + format(": U+%04X is no character", point));
    const auto encoding = std::ranges::find(ucod_encodings(), name, ucod_name);
    if (encoding == ucod_encodings().end())
        return faults;
    const VdeFontEncT &font = font_encoding(*encoding);
    for (const auto &[code, point] : table)
        if (code >= 0x100 && (font.firstByte[code >> 8] == 0 || font.secondByte[code & 0xFF] == 0))
            faults.push_back(code_text(code) + ": these bytes are no character of the encoding");
    return faults;
}

std::string ucod_text(const Ucod &table)
{
    std::string text;
    for (const auto &[code, point] : table) {
        text += code_text(code) + format("\t0x%04X", unsigned{point});
        const bool control = point < 0x20 || (point >= 0x7F && point < 0xA0);
        const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
        if (!control && !surrogate)
            text += "\t# " + to_utf8(point);
        text += '\n';
    }
    return text;
}
