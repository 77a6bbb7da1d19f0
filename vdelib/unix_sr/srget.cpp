// Fetching strings, with references to arguments.

#include <float.h>

#include "vdelib/unix_sr/srfile.h"
#include "velt/vde/resources.h"
#include "velt/vde/strings.h"

namespace
{

constexpr const char *missing = "???";

struct Argument {
    char letter;
    union {
        IntT number;
        double real;
        const char *text;
    };
};

class Arguments
{
public:
    Arguments(const char *letters, va_list values)
    {
        for (; letters && *letters != '\0' && count_ < max_arguments; ++letters) {
            Argument &argument = arguments_[count_];
            argument.letter = *letters;
            switch (*letters) {
            case 'd':
            case 'x':
            case 'X':
            case 'r':
                argument.number = va_arg(values, IntT);
                break;
            case 'f':
                argument.real = va_arg(values, double);
                break;
            case 's':
                argument.text = va_arg(values, const char *);
                break;
            case 'p':
                static_cast<void>(va_arg(values, void *));
                break;
            default:
                return;
            }
            ++count_;
        }
    }

    const Argument *find(char digit) const
    {
        const int index = digit - '0';
        return index < count_ ? &arguments_[index] : nullptr;
    }

private:
    static constexpr int max_arguments = 10;
    Argument arguments_[max_arguments];
    int count_ = 0;
};

// Copies src into `limit` bytes; removes the middle of text that is too long.
void StrMiddleTruncate(StringT dst, const char *src, IntT limit)
{
    constexpr const char *dots = "...";
    if (V_StrLen(src) < limit || limit < 6) {
        V_StrCpyN(dst, src, limit);
        return;
    }
    const IntT head = (limit - 4) / 2;
    const IntT tail = limit - 1 - head - V_StrLen(dots);
    V_StrCpyN(dst, src, head + 1);
    V_StrCatN(dst, dots, limit);
    V_StrCatN(dst, src + V_StrLen(src) - tail, limit);
}

// The free part of the buffer that a string is expanded into; the text is always terminated.
class Output
{
public:
    Output(StringT buf, IntT size) : at_(buf), room_(size) { *at_ = '\0'; }

    void literal(const char *text, IntT count)
    {
        V_StrNCatN(at_, text, count, room_);
        advance();
    }
    // Inserts text but keeps room for the rest of the template.
    void insert(const char *text, const char *rest)
    {
        StrMiddleTruncate(at_, text, room_ - V_StrLen(rest) - 1);
        advance();
    }
    void insert_string(IntT id)
    {
        V_SrGetF(id, at_, room_, nullptr);
        advance();
    }
    void insert_argument(const Argument &argument, const char *rest)
    {
        char number[DBL_MAX_10_EXP +
                    8]; // holds the longest number: a sign, digits, a point, three digits
        const auto format = [&](const char *conversion, auto value) {
            snprintf(number, sizeof number, conversion, value);
            insert(number, rest);
        };
        switch (argument.letter) {
        case 'd':
            return format("%d", argument.number);
        case 'x':
            return format("%x", static_cast<UIntT>(argument.number));
        case 'X':
            return format("%X", static_cast<UIntT>(argument.number));
        case 'f':
            return format("%.3f", argument.real);
        case 's':
            return insert(argument.text, rest);
        case 'r':
            return insert_string(argument.number);
        default:
            return;
        }
    }

private:
    void advance()
    {
        const IntT length = V_StrLen(at_);
        at_ += length;
        room_ -= length;
    }

    StringT at_;
    IntT room_; // at least 1, for the terminator
};

void expand(const char *text, const Arguments &arguments, Output out)
{
    while (true) {
        const IntT percent = V_StrSubString(text, "%");
        out.literal(text, percent >= 0 ? percent : V_StrLen(text));
        if (percent < 0)
            return;
        text += percent + 1;
        const bool brace = *text == '{';
        if (brace)
            ++text;

        const char c = *text;
        const bool digit = c >= '0' && c <= '9';
        if (digit || c == 'u' || (c == '%' && !brace))
            ++text;
        if (brace) {
            const char *end = V_StrChr(text, '}');
            text = end ? end + 1 : text + V_StrLen(text);
        }

        if (digit) {
            if (const Argument *argument = arguments.find(c))
                out.insert_argument(*argument, text);
            else
                out.insert(missing, text);
        } else if (c == 'u') {
            out.insert(VdeInstance ? VdeInstance->language : nullptr, text);
        } else if (!brace) {
            out.insert("%", text);
        } else if (c != '}') {
            out.insert(missing, text);
        }
    }
}

const char *find_string(IntT id)
{
    if (!VdeInstance || !VdeInstance->srIndex)
        return nullptr;
    IntT low = 0;
    IntT high = VdeInstance->srCount - 1;
    while (low <= high) {
        const IntT middle = (low + high) / 2;
        const VdeSrIndexT &entry = VdeInstance->srIndex[middle];
        if (entry.id == id)
            return reinterpret_cast<const char *>(VdeInstance->srPool + entry.offset);
        if (entry.id < id)
            low = middle + 1;
        else
            high = middle - 1;
    }
    return nullptr;
}

} // namespace

IntT V_SrGetVF(IntT id, StringT buf, IntT size, const char *argTypes, va_list arguments)
{
    if (!buf || size < 1)
        return -1;
    const velt::SrBlock<char[]> text(static_cast<char *>(V_Calloc(1, static_cast<UIntT>(size), 0)));
    if (!text)
        return -1;
    if (V_SrFetch(id, text.get(), size) != 0) {
        const char *stored = find_string(id);
        if (!stored) {
            V_StrCpyN(buf, missing, size);
            return -1;
        }
        V_StrCpyN(text.get(), stored, size);
    }
    text[static_cast<size_t>(size) - 1] = '\0'; // a client's V_SrFetch may not have terminated it
    expand(text.get(), Arguments(argTypes, arguments), Output(buf, size));
    return 0;
}

IntT V_SrGetF(IntT id, StringT buf, IntT size, const char *argTypes, ...)
{
    va_list arguments;
    va_start(arguments, argTypes);
    const IntT result = V_SrGetVF(id, buf, size, argTypes, arguments);
    va_end(arguments);
    return result;
}

IntT V_SrGetN(IntT id, StringT buf, IntT size)
{
    return V_SrGetF(id, buf, size, nullptr);
}

StringT V_SrCopy(IntT id)
{
    char buf[512] = "";
    V_SrGetN(id, buf, sizeof buf);
    return V_StrCopyString(buf);
}
