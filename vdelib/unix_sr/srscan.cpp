// The text form of a resource string.

#include "velt/vde/quire.h"
#include "velt/vde/resources.h"

namespace
{

// The byte of the digits, two at most, after "\x"; -1 if there is none.
int scan_hex(FILE *stream)
{
    int value = -1;
    for (int digits = 0; digits < 2; ++digits) {
        const int c = getc(stream);
        if (c == EOF || (VdeCharProps[c] & VdeCharHexDigit) == 0) {
            ungetc(c, stream);
            break;
        }
        value = (digits == 0 ? 0 : value * 16) + VdeHexAtoD[c];
    }
    return value;
}

} // namespace

IntT VdeUiScanLabel(FILE *stream, [[maybe_unused]] UIntT fileFlags, IntT lineEnd, IntT size,
                    StringT buf)
{
    if (size < 1)
        return -1;
    IntT length = 0;
    IntT result = 0;
    const auto keep = [&](int c) {
        if (length < size - 1)
            buf[length++] = static_cast<char>(c);
    };
    const auto ends_line = [lineEnd](int c) { return c == lineEnd || c == '\r'; };

    int c = getc(stream);
    while (c == ' ')
        c = getc(stream);
    for (; !ends_line(c); c = getc(stream)) {
        if (c == '\\') {
            c = getc(stream);
            if (c == 'x' || c == 'X')
                c = scan_hex(stream);
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
    return result;
}
