// Fetching strings, with references to arguments.

#include <float.h>
#include <string.h>

#include <algorithm>
#include <string_view>

#include "vdelib/unix_sr/srfile.h"
#include "velt/vde/formatted.h"
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
    Arguments() {} // NOLINT(modernize-use-equals-default): that would clear the array
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

// What substr does, which throws.
std::string_view beginning(std::string_view text, size_t most)
{
    return {text.data(), std::min(most, text.size())};
}

// The free part of the buffer that a string is expanded into; the text is always terminated.
class Output
{
public:
    Output(StringT buf, IntT size) : at_(buf), room_(size) { *at_ = '\0'; }

    void literal(std::string_view text) { copy(beginning(text, static_cast<size_t>(room_) - 1)); }

    // Inserts text but keeps room for the rest of the template: removes the middle of text that is
    // too long.
    void insert(std::string_view text, std::string_view rest)
    {
        constexpr std::string_view dots = "...";
        const int64_t limit = int64_t{room_} - static_cast<int64_t>(rest.size()) - 1;
        const auto most = static_cast<size_t>(std::max(limit, int64_t{1}) - 1);
        if (text.size() <= most || limit < 6) {
            copy(beginning(text, most));
            return;
        }
        const size_t head = (most - dots.size()) / 2;
        copy(beginning(text, head));
        copy(dots);
        text.remove_prefix(text.size() - (most - head - dots.size()));
        copy(text);
    }
    void insert_string(IntT id)
    {
        V_SrGetN(id, at_, room_);
        advance(strlen(at_));
    }
    void insert_argument(const Argument &argument, std::string_view rest)
    {
        // Holds the longest number: a sign, digits, a point, three digits.
        char number[DBL_MAX_10_EXP + 8];
        const auto format = [&](const char *conversion, auto value) {
            const IntT length = V_Sprintf(number, conversion, value);
            insert({number, static_cast<size_t>(length)}, rest);
        };
        switch (argument.letter) {
        case 'd':
            return format("%d", argument.number);
        case 'x':
            return format("%x", argument.number);
        case 'X':
            return format("%X", argument.number);
        case 'f':
            return format("%.3f", argument.real);
        case 's':
            return insert(argument.text ? argument.text : "", rest);
        case 'r':
            return insert_string(argument.number);
        default:
            return;
        }
    }

private:
    void copy(std::string_view text)
    {
        memmove(at_, text.data(), text.size()); // an argument may lie in the buffer
        advance(text.size());
        *at_ = '\0';
    }
    void advance(size_t length)
    {
        at_ += length;
        room_ -= static_cast<IntT>(length);
    }

    StringT at_;
    IntT room_; // at least 1, for the terminator
};

void expand(std::string_view text, const Arguments &arguments, Output out)
{
    const auto first = [&text] { return text.empty() ? '\0' : text.front(); };
    while (true) {
        const size_t percent = text.find('%');
        out.literal(beginning(text, percent));
        if (percent == text.npos)
            return;
        text.remove_prefix(percent + 1);
        const bool brace = first() == '{';
        if (brace)
            text.remove_prefix(1);

        const char c = first();
        const bool digit = c >= '0' && c <= '9';
        if (digit || c == 'u' || (c == '%' && !brace))
            text.remove_prefix(1);
        if (brace) {
            const size_t end = text.find('}');
            text.remove_prefix(end == text.npos ? text.size() : end + 1);
        }

        if (digit) {
            if (const Argument *argument = arguments.find(c))
                out.insert_argument(*argument, text);
            else
                out.insert(missing, text);
        } else if (c == 'u') {
            const char *language = VdeInstance ? VdeInstance->language : nullptr;
            out.insert(language ? language : "", text);
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
    const VdeSrIndexT *const index = VdeInstance->srIndex;
    IntT low = 0;
    IntT high = VdeInstance->srCount - 1;
    while (low <= high) {
        const IntT middle = (low + high) / 2;
        const IntT found = index[middle].id;
        if (found == id)
            return reinterpret_cast<const char *>(VdeInstance->srPool + index[middle].offset);
        if (found < id)
            low = middle + 1;
        else
            high = middle - 1;
    }
    return nullptr;
}

// Returns whether V_SrFetch is the library's. Two names are compared, which is not for the
// compiler.
bool is_library_fetch()
{
    IntT (*volatile called)(IntT, StringT, IntT) = V_SrFetch;
    return called == velt::library_fetch;
}

IntT get(IntT id, StringT buf, IntT size, const Arguments &arguments)
{
    if (!buf || size < 1)
        return -1;
    const auto bytes = static_cast<size_t>(size);
    const velt::SrBlock<char[]> own(static_cast<char *>(V_Alloc(static_cast<UIntT>(size), 0)));
    if (!own)
        return -1;
    const char *text = own.get();
    if (is_library_fetch()) {
        text = find_string(id);
    } else {
        // A client's V_SrFetch may count on zeros, and need not terminate its text.
        memset(own.get(), 0, bytes);
        if (V_SrFetch(id, own.get(), size) != 0)
            text = find_string(id);
    }
    if (!text) {
        V_StrCpyN(buf, missing, size);
        return -1;
    }
    expand({text, strnlen(text, bytes - 1)}, arguments, Output(buf, size));
    return 0;
}

} // namespace

IntT V_SrGetVF(IntT id, StringT buf, IntT size, const char *argTypes, va_list arguments)
{
    return get(id, buf, size, Arguments(argTypes, arguments));
}

IntT V_SrGetF(IntT id, StringT buf, IntT size, const char *argTypes, ...)
{
    va_list arguments;
    va_start(arguments, argTypes);
    const IntT result = get(id, buf, size, Arguments(argTypes, arguments));
    va_end(arguments);
    return result;
}

IntT V_SrGetN(IntT id, StringT buf, IntT size)
{
    return get(id, buf, size, Arguments());
}

StringT V_SrCopy(IntT id)
{
    char buf[512] = "";
    V_SrGetN(id, buf, sizeof buf);
    return V_StrCopyString(buf);
}
