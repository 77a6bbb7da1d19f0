#include "tools/vqconv/characters.h"

#include <algorithm>
#include <memory>

#include "velt/vde/encodings.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/memory.h"

namespace
{

constexpr char escape = '\x1B';

constexpr UCharT single_shift = 0x8E; // before half-width katakana, or the plane of four bytes
constexpr UCharT third_set = 0x8F;    // before a character of the third set of EUC-JP
constexpr UCharT first_plane = 0xA1, last_plane = 0xB0;

UCharT byte_at(std::string_view text, std::size_t at)
{
    return static_cast<UCharT>(text[at]);
}

bool within(UCharT byte, UCharT low, UCharT high)
{
    return byte >= low && byte <= high;
}

bool is_euc(UCharT byte)
{
    return within(byte, 0xA1, 0xFE);
}

bool is_seven_bit(UCharT byte)
{
    return within(byte, 0x21, 0x7E);
}

// Takes a character of this size, whose bytes after the first must satisfy `belongs`.
Character of_size(std::string_view text, std::size_t size, auto belongs,
                  Character::Kind kind = Character::good)
{
    for (std::size_t i = 1; i < size; ++i) {
        if (i == text.size())
            return {i, Character::cut};
        if (!belongs(byte_at(text, i), i))
            return {1, Character::malformed};
    }
    return {size, kind};
}

bool is_east_asian(UIntT encoding)
{
    return encoding >= VdeEncJis && encoding <= VdeEncKscEuc;
}

// The full-width space, in the encodings where it replaces characters without an equivalent.
std::string_view space_of(UIntT encoding)
{
    return encoding == VdeEncBig5 ? "\xA1\x40" : encoding == VdeEncCnsEuc ? "\xA1\xA1" : "";
}

// Converts one character as a text of its own.
std::string wrapped(UIntT encoding, std::string_view code)
{
    const auto [open, close] = escapes_of(encoding);
    const std::string text(code);
    return code.size() == 1 ? text : std::string(open) + text + std::string(close);
}

} // namespace

Escapes escapes_of(UIntT encoding)
{
    return encoding == VdeEncJis  ? Escapes{"\x1B$B", "\x1B(J"}
           : encoding == VdeEncHz ? Escapes{"~{", "~}"}
                                  : Escapes{"", ""};
}

Characters::Characters(UIntT from, UIntT to)
    : from_(from), to_(to), stateful_(from != to && !escapes_of(from).open.empty()),
      verdicts_(4 * 0x10000)
{
    if (!is_east_asian(from) || from == to)
        return;
    V_FdeInitFontEncs(nullptr);
    const VdeFontEncT &font = *vdeFontEncs[V_TextEncToFontEnc(from)];
    std::copy_n(font.firstByte, leads_.size(), leads_.begin());
    std::copy_n(font.secondByte, trails_.size(), trails_.begin());
}

std::string_view Characters::state() const
{
    return two_byte_ ? escapes_of(from_).open : "";
}

Character Characters::next(std::string_view text)
{
    Character character = split(text);
    if (character.kind == Character::good && !converts(text.substr(0, character.size)))
        character.kind = Character::lost;
    return character;
}

// Splits off a character that changes no state, except that a line end leaves the two-byte part.
Character Characters::split_seven_bit(std::string_view text)
{
    const UCharT byte = byte_at(text, 0);
    if (byte == '\n' || byte == '\r')
        two_byte_ = false;
    if (!two_byte_)
        return {1, Character::good};
    if (!is_seven_bit(byte))
        return {1, Character::malformed};
    return of_size(text, 2, [](UCharT second, std::size_t) { return is_seven_bit(second); });
}

Character Characters::split_jis(std::string_view text)
{
    const UCharT byte = byte_at(text, 0);
    if (byte == escape) {
        const bool two_byte = text.size() > 1 && text[1] == '$';
        if (text.size() > 1 && !two_byte && text[1] != '(')
            return {1, Character::malformed};
        if (text.size() < 3)
            return {text.size(), Character::cut};
        two_byte_ = two_byte;
        const std::string_view sets = two_byte ? "@B" : "BJH";
        const bool known = sets.find(text[2]) != sets.npos;
        return {3, known ? Character::shift : Character::malformed};
    }
    return split_seven_bit(text);
}

Character Characters::split_hz(std::string_view text)
{
    const UCharT byte = byte_at(text, 0);
    if (byte == '~') {
        if (text.size() < 2)
            return {1, Character::cut};
        switch (text[1]) {
        case '{':
        case '}':
            two_byte_ = text[1] == '{';
            return {2, Character::shift};
        case '~':
            return {2, Character::shift};
        case '\n': // a line continuation
            two_byte_ = false;
            return {1, Character::shift};
        default:
            two_byte_ = false;
            return {1, Character::malformed};
        }
    }
    return split_seven_bit(text);
}

Character Characters::split(std::string_view text)
{
    const UCharT byte = byte_at(text, 0);
    const auto euc = [](UCharT other, std::size_t) { return is_euc(other); };
    if (from_ == to_ || !is_east_asian(from_))
        return {1, Character::good};
    switch (from_) {
    case VdeEncJis:
        return split_jis(text);
    case VdeEncHz:
        return split_hz(text);
    case VdeEncJapaneseEuc:
        if (byte == single_shift)
            return of_size(text, 2,
                           [](UCharT second, std::size_t) { return within(second, 0xA1, 0xDF); });
        if (byte == third_set)
            return of_size(text, 3, euc, Character::lost);
        return of_size(text, is_euc(byte) ? 2 : 1, euc);
    case VdeEncCnsEuc:
        if (byte == single_shift)
            return of_size(text, 4, [](UCharT other, std::size_t i) {
                return i == 1 ? within(other, first_plane, last_plane) : is_euc(other);
            });
        return of_size(text, is_euc(byte) ? 2 : 1, euc);
    default:
        return of_size(text, leads_[byte] != 0 ? 2 : 1,
                       [this](UCharT second, std::size_t) { return trails_[second] != 0; });
    }
}

bool Characters::converts(std::string_view code)
{
    // Codes are a single byte, two bytes, or four with one of the planes.
    const UCharT last = byte_at(code, code.size() - 1);
    std::size_t index = code.size() > 1 ? pair_index(byte_at(code, code.size() - 2), last) : last;
    if (code.size() > 2)
        index += byte_at(code, 1) == first_plane ? 0x10000 : 0x20000;
    Verdict &verdict = verdicts_[index];
    if (verdict == untried)
        verdict = try_code(code) ? yes : no;
    return verdict == yes;
}

bool Characters::try_code(std::string_view code) const
{
    if (from_ == to_ || code == std::string_view("\0", 1))
        return true;
    const std::string result = convert("", wrapped(from_, code));
    // The library copies bytes that are no character of an East Asian encoding, in one piece or one
    // by one. A character without an equivalent becomes nothing, or a replacement character.
    const bool apart =
        code.size() == 2 && result == convert("", code.substr(0, 1)) + convert("", code.substr(1));
    const bool through =
        is_east_asian(from_) && byte_at(code, 0) >= 0x80 && (result == code || apart);
    const bool replaced =
        (result == "?" && code != "?") || (result == space_of(to_) && code != space_of(from_));
    return !result.empty() && !through && !replaced;
}

std::string Characters::convert(std::string_view state, std::string_view text) const
{
    const std::string whole = std::string(state) + std::string(text);
    const std::unique_ptr<char, decltype(&V_Free)> result(
        V_StrConvertEnc(whole.c_str(), from_, to_), V_Free);
    return result ? result.get() : "";
}

bool Characters::comes_back(std::string_view code, const Characters &reverse) const
{
    const std::string whole = wrapped(from_, code);
    return reverse.convert("", convert("", whole)) == whole;
}

void Characters::for_each_code(const std::function<void(const std::string &)> &visit)
{
    const auto visit_code = [&](const std::string &code) {
        two_byte_ = code.size() > 1 && !escapes_of(from_).open.empty();
        const Character character = split(code);
        if (character.kind == Character::good && character.size == code.size())
            visit(code);
    };
    const std::string second_plane = "\x8E\xA2";
    for (unsigned first = 1; first < 0x100; ++first) {
        const std::string single{static_cast<char>(first)};
        visit_code(single);
        for (unsigned second = 1; second < 0x100; ++second) {
            const std::string pair = single + static_cast<char>(second);
            visit_code(pair);
            visit_code(second_plane + pair);
        }
    }
    reset();
}
