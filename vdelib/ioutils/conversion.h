// A conversion specification of formatted output.
#pragma once

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vdelib/ioutils/decimal.h"
#include "velt/vde/memory.h"

// The analyzer loses sight of an argument list that is reached through its address.
// NOLINTBEGIN(clang-analyzer-valist.Uninitialized)

namespace velt::formatted
{

// What the character that ends a specification says.
enum class Kind : UCharT { none, number, character, real, string, pointer, percent, total };

struct Characters {
    Kind kind;
    const char *characters;
};
inline constexpr Characters kinds[] = {
    {Kind::number, "dioxXu"}, {Kind::character, "c"}, {Kind::real, "feEgG"}, {Kind::string, "s"},
    {Kind::pointer, "p"},     {Kind::percent, "%"},   {Kind::total, "n"},
};

// Flags, of which the formatter here knows the first four.
inline constexpr char flags[] = "-+ 0#'";
enum Flag : UCharT { left = 1, plus = 2, space = 4, zeros = 8, known = 15 };

// What may stand before that character, for the size of the argument.
inline constexpr char size_letters[] = "hlLqjzt";

struct Byte {
    Kind kind = Kind::none;
    UCharT flag = 0;
    bool is_size_letter = false;
};

inline constexpr auto bytes_of_specifications = [] {
    std::array<Byte, 256> all{};
    for (const auto &[kind, characters] : kinds) {
        for (const char *c = characters; *c != '\0'; ++c)
            all[static_cast<UCharT>(*c)].kind = kind;
    }
    for (unsigned i = 0; flags[i] != '\0'; ++i)
        all[static_cast<UCharT>(flags[i])].flag = static_cast<UCharT>(1U << i);
    for (const char *c = size_letters; *c != '\0'; ++c)
        all[static_cast<UCharT>(*c)].is_size_letter = true;
    return all;
}();

constexpr Byte byte_of(char c)
{
    return bytes_of_specifications[static_cast<UCharT>(c)];
}

// Reads the number at p and moves p past it; a larger number than an int holds is cut to the
// largest.
inline int take_number(const char *&p)
{
    int64_t number = 0;
    for (; *p >= '0' && *p <= '9'; ++p)
        number = std::min<int64_t>(number * 10 + (*p - '0'), INT_MAX);
    return static_cast<int>(number);
}

// Writes the digits before `end` and returns the first.
inline char *write_digits(char *end, UIntT value, char conversion)
{
    const unsigned shift = conversion == 'o' ? 3 : (conversion | 0x20) == 'x' ? 4 : 0;
    const char *const digits = conversion == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
    do {
        const UIntT rest = shift != 0 ? value >> shift : value / 10;
        *--end = digits[value - (shift != 0 ? rest << shift : rest * 10)];
        value = rest;
    } while (value != 0);
    return end;
}

// A specification and its argument. What every conversion goes through is inlined into the loop
// over the format, which saves a fifth of the time.
class Conversion
{
public:
    // Parses the specification that begins here; it is none if no conversion character stands where
    // one may.
    [[gnu::always_inline]] explicit Conversion(const char *begin) : text{begin}
    {
        const char *p = begin + 1;
        kind = byte_of(*p).kind;
        if (kind == Kind::none)
            p = parse_details(p);
        character = *p;
        length = static_cast<size_t>(p - begin) + 1;
    }
    // Parses so many bytes; text that the platform does not take for a specification stands for
    // itself, but has the argument of its last character.
    Conversion(const char *begin, size_t size) : Conversion{begin}
    {
        if (is_well_formed() && length == size)
            return;
        malformed = true;
        star_width = star_precision = false;
        length = size;
        character = begin[size - 1];
        kind = byte_of(character).kind;
    }
    bool is_well_formed() const { return kind != Kind::none; }

    // Takes the arguments of "*" before it.
    void take_argument(va_list *arguments)
    {
        if (star_width) {
            width = va_arg(*arguments, int);
            if (width < 0) {
                given |= left;
                width = width == INT_MIN ? INT_MAX : -width;
            }
        }
        if (star_precision)
            precision = std::max(va_arg(*arguments, int), -1);
        switch (kind) {
        case Kind::number:
        case Kind::character:
            integer = va_arg(*arguments, int);
            break;
        case Kind::real:
            real = va_arg(*arguments, double);
            break;
        case Kind::string:
        case Kind::pointer:
        case Kind::total:
            pointer = va_arg(*arguments, const void *);
            if (kind == Kind::string && !pointer)
                pointer = wide ? static_cast<const void *>(L"") : "";
            break;
        default:
            break;
        }
    }

    // Stores the number through the argument of "n".
    void store(IntT number) const
    {
        void *const target = const_cast<void *>(pointer);
        if (text[length - 2] == 'h')
            *static_cast<int16_t *>(target) = static_cast<int16_t>(number);
        else
            *static_cast<int32_t *>(target) = number;
    }

    // No result of a larger width fits into memory, and the platform would spend long on it.
    bool fits() const { return malformed || std::max(width, precision) < V_MaxBlockSize; }

    // The most bytes that a place for digits needs, terminator included.
    static constexpr size_t most_digits = 64;

    // Makes the result here, which takes a part of the platform's time; false if it cannot. If
    // there is a place for digits, they may be written there, and are the result then.
    [[gnu::always_inline]] bool make(char *place_for_digits = nullptr)
    {
        if (malformed) {
            bytes = text;
            count = length;
            return true;
        }
        switch (kind) {
        case Kind::number:
            return (given & ~known) == 0 && make_number();
        case Kind::real:
            return (given & ~known) == 0 && make_real(place_for_digits);
        case Kind::pointer:
            return false;
        case Kind::character:
            digits[0] = static_cast<char>(integer);
            bytes = digits;
            count = 1;
            pad();
            return !wide;
        case Kind::string:
            if (wide)
                return false;
            bytes = static_cast<const char *>(pointer);
            count =
                precision < 0 ? std::strlen(bytes) : strnlen(bytes, static_cast<size_t>(precision));
            pad();
            return true;
        default:
            bytes = "%";
            count = 1;
            return true;
        }
    }

    // The size of what has been made, its bytes if they are all of it, and what writes all of it.
    size_t size() const { return padding + (sign != '\0') + count; }
    const char *bare() const { return size() == count ? bytes : nullptr; }
    char *write(char *out) const
    {
        const auto fill = [&](Place at, char byte) {
            for (size_t i = at == place ? padding : 0; i > 0; --i)
                *out++ = byte;
        };
        fill(Place::before, ' ');
        if (sign != '\0')
            *out++ = sign;
        fill(Place::inside, '0');
        out = copy(bytes, count, out);
        fill(Place::behind, ' ');
        return out;
    }
    bool has_digits() const { return kind == Kind::number || kind == Kind::real; }

    // Whether the result contains a terminator, behind which nothing is output.
    bool has_terminator() const
    {
        return kind == Kind::character && static_cast<char>(integer) == 0;
    }

    // Has the platform store as much of the result as fits; the length of all of it, negative on
    // failure. The platform gets a specification that is made anew, so that no size letter makes it
    // read more than the argument's size.
    int print(char *buf, size_t room) const
    {
        char pattern[sizeof "%-+ 0#'*.*hhd"];
        char *end = pattern;
        *end++ = '%';
        for (const char *flag = flags; *flag != '\0'; ++flag) {
            if ((given & byte_of(*flag).flag) != 0)
                *end++ = *flag;
        }
        end = std::copy_n("*.*", 3, end);
        if (wide)
            *end++ = 'l';
        else if (kind == Kind::number)
            end = std::fill_n(end, shorts, 'h');
        *end++ = character;
        *end = '\0';
        if (kind == Kind::real)
            return std::snprintf(buf, room, pattern, width, precision, real);
        if (kind == Kind::number || kind == Kind::character)
            return std::snprintf(buf, room, pattern, width, precision, integer);
        return std::snprintf(buf, room, pattern, width, precision, pointer);
    }

    Kind kind;
    size_t length;

private:
    enum class Place : UCharT { before, inside, behind }; // the bytes, and their sign

    // Parses what may stand between "%" and the conversion character; returns where that is.
    const char *parse_details(const char *p)
    {
        // The position "1$" is skipped: the first of the arguments that are left is the next one
        // anyway.
        if (p[0] == '1' && p[1] == '$')
            p += 2;
        for (UCharT flag; (flag = byte_of(*p).flag) != 0; ++p)
            given |= flag;
        star_width = *p == '*';
        if (star_width)
            ++p;
        else
            width = take_number(p);
        if (*p == '.') {
            ++p;
            star_precision = *p == '*';
            const bool negative = *p == '-'; // a negative precision counts as none
            if (star_precision || negative)
                ++p;
            if (!star_precision)
                precision = take_number(p);
            if (negative)
                precision = -1;
        }
        bool longs = false;
        for (; byte_of(*p).is_size_letter; ++p) {
            if (*p == 'h' && shorts < 2)
                ++shorts;
            longs |= *p == 'l';
        }
        kind = byte_of(*p).kind;
        // Before "c" and "s", "l" stands for a wide argument, not a longer one.
        wide = longs && (kind == Kind::character || kind == Kind::string);
        return p;
    }

    // Digits are few, and were written one by one, which makes a copy in words wait.
    static char *copy(const char *from, size_t size, char *to)
    {
        if (size > most_digits)
            return std::copy_n(from, size, to);
        for (size_t i = 0; i < size; ++i)
            to[i] = from[i];
        return to + size;
    }

    void pad(bool with_zeros = false)
    {
        const size_t bare_size = size();
        if (static_cast<size_t>(width) <= bare_size)
            return;
        padding = static_cast<size_t>(width) - bare_size;
        place = (given & left) != 0 ? Place::behind : with_zeros ? Place::inside : Place::before;
    }

    void set_sign(bool negative)
    {
        sign = negative ? '-' : (given & plus) != 0 ? '+' : (given & space) != 0 ? ' ' : '\0';
    }

    bool make_number()
    {
        const bool is_signed = character == 'd' || character == 'i';
        auto value = static_cast<UIntT>(integer);
        if (shorts > 0) {
            const UIntT mask = shorts == 1 ? 0xFFFF : 0xFF;
            const UIntT top = is_signed ? mask ^ mask >> 1 : 0;
            value = ((value & mask) ^ top) - top;
        }
        const bool negative = is_signed && static_cast<IntT>(value) < 0;
        if (is_signed)
            set_sign(negative);
        char *const end = std::end(digits);
        char *first = end;
        if (value != 0 || precision != 0)
            first = write_digits(end, negative ? 0 - value : value, character);
        const auto made = static_cast<int>(end - first);
        if (precision > int{most_digits})
            return false;
        for (int i = made; i < precision; ++i)
            *--first = '0';
        bytes = first;
        count = static_cast<size_t>(end - first);
        pad(precision < 0 && (given & zeros) != 0);
        return true;
    }

    bool make_real(char *place_for_digits)
    {
        const bool is_bare = given == 0 && width == 0;
        char *const to = is_bare && place_for_digits ? place_for_digits : digits;
        if (const char *const end = write_decimal(to, real, precision, character))
            count = static_cast<size_t>(end - to);
        else if (!make_unusual_real(to))
            return false;
        bytes = to;
        if (is_bare)
            return true;
        const bool negative = digits[0] == '-';
        set_sign(negative);
        bytes += negative;
        count -= negative;
        pad((given & zeros) != 0 && std::isfinite(real));
        return true;
    }

    // The digits are the C library's, without the detour through its interpreter of formats.
    [[gnu::noinline]] bool make_unusual_real([[maybe_unused]] char *to)
    {
#ifdef __GLIBC__
        char pattern[sizeof "%.2147483647f"];
        char *p = std::end(pattern);
        *--p = '\0';
        *--p = character;
        if (precision >= 0) {
            p = write_digits(p, static_cast<UIntT>(precision), 'u');
            *--p = '.';
        }
        *--p = '%';
        const int made = strfromd(to, most_digits, p, real);
        count = static_cast<size_t>(std::max(made, 0));
        return made >= 0 && made < int{most_digits};
#else
        return false;
#endif
    }

    // In an order in which no number shares a word with initialised bytes before it: the processor
    // waits for such a word when the number is read soon after.
    const char *text;
    char character;
    UCharT given = 0; // flags
    UCharT shorts = 0;
    bool malformed = false;
    bool wide = false;
    bool star_width = false;
    bool star_precision = false;
    char sign = '\0';
    union {
        int integer;
        double real;
        const void *pointer;
    };
    int width = 0;
    int precision = -1;
    const char *bytes;
    size_t count;
    size_t padding = 0;
    Place place = Place::before;
    char digits[most_digits];
};

} // namespace velt::formatted

// NOLINTEND(clang-analyzer-valist.Uninitialized)
