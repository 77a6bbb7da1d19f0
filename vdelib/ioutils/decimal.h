// Floating-point numbers of usual size in decimal. 128 bits hold them exactly, so that they are
// rounded as the C library rounds them, which can do it with any number and takes three times as
// long.
#pragma once

#include <langinfo.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <xmmintrin.h>
#endif

namespace velt::formatted
{

inline constexpr int most_scale = 18;
inline constexpr auto powers_of_ten = [] {
    std::array<uint64_t, most_scale + 1> powers{1};
    for (size_t i = 1; i < powers.size(); ++i)
        powers[i] = powers[i - 1] * 10;
    return powers;
}();

// Whether numbers are rounded to the nearest, as by default.
inline bool rounds_to_nearest()
{
#ifdef __SSE2__
    // A sum would tell it as well, but would raise a flag or, where that is wanted, a signal.
    return (_mm_getcsr() & _MM_ROUND_MASK) == _MM_ROUND_NEAREST;
#else
    return std::fegetround() == FE_TONEAREST;
#endif
}

inline bool has_usual_settings()
{
    return rounds_to_nearest() && std::strcmp(nl_langinfo(RADIXCHAR), ".") == 0;
}

inline int biased_exponent(double number)
{
    return static_cast<int>(std::bit_cast<uint64_t>(number) >> 52 & 0x7FF);
}

// Sets the result to the number times that power of ten, rounded; false where it cannot. Between
// two it is the even one.
inline bool scale_by_ten(double number, int power, uint64_t &result)
{
    result = 0;
    if (number == 0)
        return true;
#ifdef __SIZEOF_INT128__
    constexpr uint64_t one = uint64_t{1} << 52;
    const auto bits = std::bit_cast<uint64_t>(number);
    const int shift = 1075 - biased_exponent(number);
    if (power < 0 || power > most_scale || shift < 0 || shift > 120)
        return false;
    __extension__ using Wide = unsigned __int128;
    const Wide product = Wide{(bits & (one - 1)) | one} * powers_of_ten[static_cast<size_t>(power)];
    const Wide whole = product >> shift;
    if (whole > INT64_MAX)
        return false;
    const Wide twice_rest = (product - (whole << shift)) << 1;
    const Wide unit = Wide{1} << shift;
    result = static_cast<uint64_t>(whole);
    result += twice_rest > unit || (twice_rest == unit && result % 2 != 0);
    return true;
#else
    static_cast<void>(power);
    return false;
#endif
}

// Writes the digits with so many of them behind the point.
inline char *write_point(char *out, uint64_t digits, int decimals)
{
    char text[24];
    char *const end = std::end(text);
    char *p = end;
    while (digits != 0 || end - p < decimals + 1) {
        *--p = static_cast<char>('0' + digits % 10);
        digits /= 10;
    }
    while (p < end - decimals)
        *out++ = *p++;
    if (decimals > 0)
        *out++ = '.';
    while (p < end)
        *out++ = *p++;
    return out;
}

inline char *write_exponent(char *out, int exponent, char letter)
{
    *out++ = letter;
    *out++ = exponent < 0 ? '-' : '+';
    // There are no larger ones among numbers of usual size.
    *out++ = static_cast<char>('0' + std::abs(exponent) / 10);
    *out++ = static_cast<char>('0' + std::abs(exponent) % 10);
    return out;
}

// Writes a number as the conversions "f", "e" and "g", or "E" and "G", do; returns the end, or null
// where the number, or what is wanted of it, is unusual.
inline char *write_decimal(char *out, double number, int precision, char conversion)
{
    if (precision < 0)
        precision = 6;
    if (precision >= most_scale || !has_usual_settings())
        return nullptr;
    if (std::signbit(number))
        *out++ = '-';
    number = std::fabs(number);
    uint64_t digits;
    if (conversion == 'f')
        return scale_by_ten(number, precision, digits) ? write_point(out, digits, precision)
                                                       : nullptr;
    const bool is_general = (conversion | 0x20) == 'g';
    const int wanted = is_general ? std::max(precision, 1) : precision + 1;
    // At most one too small: the logarithm of 2, times the exponent.
    int exponent = number == 0 ? 0 : (biased_exponent(number) - 1023) * 315653 >> 20;
    if (!scale_by_ten(number, wanted - 1 - exponent, digits))
        return nullptr;
    if (digits >= powers_of_ten[static_cast<size_t>(wanted)]) {
        ++exponent;
        if (!scale_by_ten(number, wanted - 1 - exponent, digits))
            return nullptr;
    }
    int decimals = wanted - 1;
    if (!is_general)
        return write_exponent(write_point(out, digits, decimals), exponent, conversion);
    const bool has_exponent = exponent < -4 || exponent >= wanted;
    if (!has_exponent)
        decimals -= exponent;
    for (; decimals > 0 && digits % 10 == 0; --decimals)
        digits /= 10;
    out = write_point(out, digits, decimals);
    return has_exponent ? write_exponent(out, exponent, static_cast<char>(conversion - 2)) : out;
}

} // namespace velt::formatted
