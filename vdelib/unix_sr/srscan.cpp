// The text form of a resource string.

#include "vdelib/unix_sr/srfile.h"
#include "velt/vde/quire.h"
#include "velt/vde/resources.h"

namespace
{

// Reads the digits, two at most, after "\x" and returns their byte; -1 if there is no digit.
template <class Next>
int scan_hex(FILE *stream, Next next)
{
    int value = -1;
    for (int digits = 0; digits < 2; ++digits) {
        const int c = next();
        if (c == EOF || (VdeCharProps[c] & VdeCharHexDigit) == 0) {
            ungetc(c, stream);
            break;
        }
        value = (digits == 0 ? 0 : value * 16) + VdeHexAtoD[c];
    }
    return value;
}

// `Next` returns the next byte, or EOF. Text that does not fit is read and dropped, or left unread.
enum class Rest { read, left };

template <class Next>
IntT scan(FILE *stream, Next next, IntT lineEnd, IntT size, StringT buf, Rest rest)
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

    int c = next();
    while (c == ' ')
        c = next();
    for (; !ends_line(c); c = next()) {
        if (rest == Rest::left && length == size - 1)
            break;
        if (c == '\\') {
            c = next();
            if (c == 'x' || c == 'X')
                c = scan_hex(stream, next);
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

} // namespace

IntT VdeUiScanLabel(FILE *stream, [[maybe_unused]] UIntT fileFlags, IntT lineEnd, IntT size,
                    StringT buf)
{
    return scan(
        stream, [stream] { return getc(stream); }, lineEnd, size, buf, Rest::read);
}

IntT velt::sr_read_text(FILE *stream, UIntT offset, char (&text)[sr_text_size], uint64_t &most)
{
    text[0] = '\0';
    if (fseeko(stream, static_cast<off_t>(offset), SEEK_SET) != 0)
        return -1;
    const auto next = [&] { return most == 0 ? EOF : (--most, getc(stream)); };
    return scan(stream, next, '\n', sr_text_size, text, Rest::left);
}
