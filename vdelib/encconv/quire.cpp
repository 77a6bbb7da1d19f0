// The maps of the Quire character set.

#include "velt/vde/quire.h"

#include <array>

#include "vdelib/encconv/bytemaps.h"

namespace
{

using velt::ByteTable;

// Not constexpr, so that a table with a wrong text, which calls it, does not compile.
[[maybe_unused]] void malformed_table() {}

// Reads the text of a table.
class Reader
{
public:
    consteval explicit Reader(const char *text) : next(text) { skip_spaces(); }

    consteval bool at_end() const { return *next == '\0'; }

    // A code of two digits.
    consteval UCharT code()
    {
        const unsigned high = digit();
        return static_cast<UCharT>(high * 16 + digit());
    }

    // Skips the character if it comes next; returns whether it did.
    consteval bool skip(char c)
    {
        const bool found = *next == c;
        next += found;
        return found;
    }

    // Skips the separator after a code, except at the end of the text.
    consteval void separator()
    {
        if (!at_end() && *next != ' ')
            malformed_table();
        skip_spaces();
    }

private:
    consteval unsigned digit()
    {
        const char c = *next++;
        if (c >= '0' && c <= '9')
            return static_cast<unsigned>(c - '0');
        if (c < 'A' || c > 'F')
            malformed_table();
        return static_cast<unsigned>(c - 'A') + 10;
    }

    consteval void skip_spaces()
    {
        while (*next == ' ')
            ++next;
    }

    const char *next;
};

consteval ByteTable byte_map(const ByteTable &base, const char *entries)
{
    ByteTable map = base;
    std::array<bool, 256> given{};
    for (Reader reader{entries}; !reader.at_end();) {
        const unsigned from = reader.code();
        if (!reader.skip(':'))
            malformed_table();
        reader.separator();
        unsigned count = 0;
        for (Reader row = reader; !row.at_end(); reader = row, ++count) {
            const UCharT value = row.code();
            if (row.skip(':'))
                break;
            row.separator();
            if (given.at(from + count))
                malformed_table();
            given.at(from + count) = true;
            map.at(from + count) = value;
        }
        if (count != 1 && (count != 16 || from % 16 != 0))
            malformed_table();
    }
    return map;
}

consteval ByteTable identity()
{
    ByteTable map{};
    for (unsigned ch = 0; ch < map.size(); ++ch)
        map[ch] = static_cast<UCharT>(ch);
    return map;
}

constexpr ByteTable xident_map = identity();

consteval ByteTable make_printable_ascii()
{
    ByteTable map{};
    for (unsigned ch = 0x20; ch <= 0x7E; ++ch)
        map[ch] = static_cast<UCharT>(ch);
    return map;
}

constexpr ByteTable printable_ascii = make_printable_ascii();

consteval ByteTable make_ascii_to_upper()
{
    ByteTable map = xident_map;
    for (unsigned ch = 'a'; ch <= 'z'; ++ch)
        map[ch] = static_cast<UCharT>(ch - 'a' + 'A');
    return map;
}

constexpr ByteTable ascii_to_upper = make_ascii_to_upper();

} // namespace

namespace velt
{

#define QUIRE_MAP(name, base, entries) constexpr ByteTable name = byte_map(base, entries);
#include "vdelib/encconv/quire_maps.def"

} // namespace velt

namespace
{

using namespace velt;

// Mac has Quire's codes from 0x20 on.
consteval ByteTable mac_to_quire()
{
    ByteTable map = xident_map;
    for (unsigned ch = 0; ch < 0x20; ++ch)
        map[ch] = xatoq_map[ch] != 0 ? xatoq_map[ch] : '?';
    return map;
}

// 0x80 goes through the ASCII map as well and loses its accent.
consteval ByteTable quire_to_mac()
{
    ByteTable map = xident_map;
    for (unsigned ch = 0; ch <= 0x80; ++ch)
        map[ch] = xqtoa_map[ch];
    return map;
}

consteval ByteTable inverse_case(const ByteTable &to_upper)
{
    ByteTable map = xident_map;
    for (unsigned ch = 0; ch < map.size(); ++ch) {
        const unsigned upper = to_upper[ch];
        if (upper == ch)
            continue;
        if (to_upper[upper] != upper || map[upper] != upper)
            malformed_table();
        map[upper] = static_cast<UCharT>(ch);
    }
    return map;
}

constexpr ByteTable xqto_lower = inverse_case(xqto_upper);

consteval bool lowers_ascii()
{
    for (unsigned letter = 'a'; letter <= 'z'; ++letter)
        if (xqto_lower[letter] != xqto_lower[letter ^ 0x20])
            return false;
    return true;
}
static_assert(lowers_ascii());

consteval ByteTable hex_digits()
{
    ByteTable map{};
    for (unsigned value = 0; value < 16; ++value)
        map[value] = static_cast<UCharT>("0123456789ABCDEF"[value]);
    return map;
}

constexpr ByteTable xHexDtoA = hex_digits();

consteval ByteTable hex_values()
{
    ByteTable map{};
    for (unsigned value = 0; value < 16; ++value) {
        const UCharT digit = xHexDtoA[value];
        map[digit] = map[xqto_lower[digit]] = static_cast<UCharT>(value);
    }
    return map;
}

constexpr ByteTable xHexAtoD = hex_values();

using PropertyTable = std::array<uint16_t, 256>;

consteval void set_property(PropertyTable &table, unsigned bit, unsigned others, const char *codes)
{
    for (uint16_t &entry : table) {
        if ((entry & others) != 0)
            entry = static_cast<uint16_t>(entry | bit);
    }
    for (Reader reader{codes}; !reader.at_end(); reader.separator()) {
        const unsigned first = reader.code();
        const unsigned last = reader.skip('-') ? reader.code() : first;
        if (last < first)
            malformed_table();
        for (unsigned ch = first; ch <= last; ++ch)
            table[ch] = static_cast<uint16_t>(table[ch] | bit);
    }
}

consteval PropertyTable properties()
{
    PropertyTable table{};
    for (unsigned ch = 0; ch < table.size(); ++ch) {
        if (xqto_lower[ch] != ch)
            table[ch] = VdeCharUpper;
        else if (xqto_upper[ch] != ch)
            table[ch] = VdeCharLower;
    }
#define QUIRE_PROPERTY(bit, others, codes) set_property(table, bit, others, codes);
#include "vdelib/encconv/quire_maps.def"
    return table;
}

constexpr PropertyTable xchar_props = properties();

UCharT low_byte(IntT ch)
{
    return static_cast<UCharT>(ch);
}

} // namespace

constexpr ByteTable velt::xmactoq_map = mac_to_quire();
constexpr ByteTable velt::xqtomac_map = quire_to_mac();
constexpr ByteTable velt::standard_lower = xqto_lower;

const UCharT *VdeIdentMap = xident_map.data();
const UCharT *VdeQToUpper = xqto_upper.data();
const UCharT *VdeQToLower = standard_lower.data();
const UCharT *VdeHexDtoA = xHexDtoA.data();
const UCharT *VdeHexAtoD = xHexAtoD.data();
const uint16_t *VdeCharProps = xchar_props.data();
const UCharT *VdeQToAnMap = xqtoan_map.data();
const UCharT *VdeAnToQMap = xantoq_map.data();

IntT VdeQuireToIsoLatin1(IntT ch)
{
    return xqtoiso_map[low_byte(ch)];
}

IntT VdeIsoLatin1ToQuire(IntT ch)
{
    return xisotoq_map[low_byte(ch)];
}

IntT VdeQuireToAscii(IntT ch)
{
    return xqtoa_map[low_byte(ch)];
}

IntT VdeQuireTo7BitAscii(IntT ch)
{
    return VdeQuireToAscii(ch);
}

IntT VdeAsciiToQuire(IntT ch)
{
    return xatoq_map[low_byte(ch)];
}

IntT VdeQuireToAnsi(IntT ch)
{
    return VdeQToAnMap[low_byte(ch)];
}

IntT VdeAnsiToQuire(IntT ch)
{
    return VdeAnToQMap[low_byte(ch)];
}

IntT VdeMacToQuire(IntT ch)
{
    return xmactoq_map[low_byte(ch)];
}

IntT VdeQuireToMac(IntT ch)
{
    return xqtomac_map[low_byte(ch)];
}

IntT VdeQuireToQuire(IntT ch)
{
    return low_byte(ch);
}
