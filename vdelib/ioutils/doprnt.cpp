#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

#include "velt/vde/formatted.h"
#include "velt/vde/memory.h"

// The analyzer loses sight of an argument list that is reached through its address.
// NOLINTBEGIN(clang-analyzer-valist.Uninitialized)

namespace
{

// A specification ends with the first of these.
constexpr const char *conversion_characters = "dioxXucsfeEgGp%n";

// A buffer that uses the heap only for unusually long text.
template <UIntT inline_size>
class WorkBuffer
{
public:
    WorkBuffer() = default;
    WorkBuffer(const WorkBuffer &) = delete;
    WorkBuffer &operator=(const WorkBuffer &) = delete;
    ~WorkBuffer() { V_Free(block); }

    // Makes room and discards the content. False when memory runs out.
    bool reserve(size_t needed)
    {
        if (needed <= capacity)
            return true;
        if (needed >= V_MaxBlockSize)
            return false;
        const auto wanted = static_cast<UIntT>(needed);
        void *larger = block ? V_Realloc(block, wanted, 0) : V_Alloc(wanted, 0);
        if (!larger)
            return false;
        block = static_cast<char *>(larger);
        capacity = wanted;
        return true;
    }

    char *data() { return block ? block : fixed; }
    UIntT size() const { return capacity; }

private:
    char fixed[inline_size];
    char *block = nullptr;
    UIntT capacity = inline_size;
};

// Reads the number at p and moves p past it; a larger number than an int holds is cut to the
// largest.
int take_number(const char *&p)
{
    int64_t number = 0;
    for (; *p >= '0' && *p <= '9'; ++p)
        number = std::min<int64_t>(number * 10 + (*p - '0'), INT_MAX);
    return static_cast<int>(number);
}

bool is_one_of(char c, const char *set)
{
    return std::strchr(set, c) != nullptr;
}

// A conversion specification without "*", parsed, and its argument. The platform's formatter gets a
// specification that is made anew, so that no size letter makes it read more than the argument's
// size.
class Conversion
{
public:
    Conversion(const char *spec, IntT spec_length)
        : text{spec}, length{spec_length}, character{spec[spec_length - 1]}
    {
        // The position "1$" is skipped: the first of the arguments that are left is the next one
        // anyway.
        const char *p = spec + (std::strncmp(spec + 1, "1$", 2) == 0 ? 3 : 1);
        char *end = pattern;
        *end++ = '%';
        const size_t flag_count = std::strspn(p, flags);
        for (const char *flag = flags; *flag != '\0'; ++flag) {
            if (std::memchr(p, *flag, flag_count))
                *end++ = *flag;
        }
        p += flag_count;
        width = take_number(p);
        if (*p == '.') {
            const bool negative = *++p == '-'; // a negative precision counts as none
            p += negative;
            precision = take_number(p);
            if (negative)
                precision = -1;
        }
        end = std::copy_n("*.*", 3, end);
        const size_t size_letters = std::strspn(p, "hlLqjzt");
        const auto shorts = static_cast<IntT>(std::count(p, p + size_letters, 'h'));
        // Before "c" and "s", "l" stands for a wide argument, not a longer one.
        wide = is_one_of(character, "cs") && std::memchr(p, 'l', size_letters);
        if (wide)
            *end++ = 'l';
        else if (argument_type() == Type::integer && character != 'c')
            end = std::fill_n(end, std::min(shorts, 2), 'h');
        *end++ = character;
        *end = '\0';
        well_formed = p + size_letters == spec + spec_length - 1;
    }

    void take_argument(va_list *arguments)
    {
        switch (argument_type()) {
        case Type::none:
            break;
        case Type::integer:
            integer = va_arg(*arguments, int);
            break;
        case Type::real:
            real = va_arg(*arguments, double);
            break;
        case Type::pointer:
            pointer = va_arg(*arguments, const void *);
            if (character == 's' && !pointer)
                pointer = wide ? static_cast<const void *>(L"") : "";
            break;
        }
    }

    // Stores as much of the result as fits and returns the length of all of it, negative on
    // failure. Text that the platform does not take for a specification is copied as it is.
    int print(char *buf, size_t size) const
    {
        if (!well_formed)
            return std::snprintf(buf, size, "%.*s", length, text);
        // No result of this width fits into memory, and the platform would spend long on it.
        if (std::max(width, precision) >= V_MaxBlockSize)
            return -1;
        switch (argument_type()) {
        case Type::integer:
            return std::snprintf(buf, size, pattern, width, precision, integer);
        case Type::real:
            return std::snprintf(buf, size, pattern, width, precision, real);
        case Type::pointer:
            return std::snprintf(buf, size, pattern, width, precision, pointer);
        case Type::none:
            break;
        }
        return std::snprintf(buf, size, "%%");
    }

private:
    enum class Type { none, integer, real, pointer };

    Type argument_type() const
    {
        if (is_one_of(character, "dioxXuc"))
            return Type::integer;
        if (is_one_of(character, "eEfgG"))
            return Type::real;
        return is_one_of(character, "sp") ? Type::pointer : Type::none;
    }

    static constexpr const char *flags = "-+ #0'";

    const char *text;
    int length;
    char character;
    bool well_formed;
    bool wide;
    char pattern[sizeof "%-+ #0'*.*hhd"];
    int width;
    int precision = -1;
    int integer = 0;
    double real = 0;
    const void *pointer = nullptr;
};

class Formatter
{
public:
    Formatter(VdeOutFuncT out_func, void *out_sink) : out{out_func}, sink{out_sink} {}

    IntT format(const char *p, va_list *arguments)
    {
        for (;;) {
            const size_t literal = std::strcspn(p, "%");
            put(p, literal);
            p += literal;
            if (*p == '\0')
                return total;
            const char *last = std::strpbrk(p + 1, conversion_characters);
            if (!last || !convert(p, static_cast<size_t>(last - p) + 1, arguments))
                return total;
            p = last + 1;
        }
    }

private:
    void put(const char *bytes, size_t length)
    {
        total += out(sink, bytes, static_cast<IntT>(length));
    }

    // Returns the text of a conversion with "*" expanded; null when memory runs out.
    const char *copyformat(const char *text, size_t length, va_list *arguments)
    {
        const auto wild = static_cast<size_t>(std::count(text, text + length, '*'));
        if (!specification.reserve(length + wild * std::strlen("-2147483648") + 1))
            return nullptr;
        char *spec = specification.data();
        *std::copy_n(text, length, spec) = '\0';
        VdeProcessWildFieldWidth(spec, arguments);
        return spec;
    }

    // False when memory runs out or the platform cannot produce the result.
    bool convert(const char *text, size_t text_length, va_list *arguments)
    {
        const char *spec = copyformat(text, text_length, arguments);
        if (!spec)
            return false;
        const size_t length = std::strlen(spec);
        if (spec[length - 1] == 'n') {
            void *target = va_arg(*arguments, void *);
            if (spec[length - 2] == 'h')
                *static_cast<int16_t *>(target) = static_cast<int16_t>(total);
            else
                *static_cast<int32_t *>(target) = total;
            return true;
        }
        Conversion conversion{spec, static_cast<IntT>(length)};
        conversion.take_argument(arguments);
        const int needed = conversion.print(output.data(), output.size());
        if (needed < 0)
            return false;
        if (static_cast<UIntT>(needed) >= output.size()) {
            if (!output.reserve(static_cast<size_t>(needed) + 1))
                return false;
            conversion.print(output.data(), output.size());
        }
        put(output.data(), std::strlen(output.data()));
        return true;
    }

    VdeOutFuncT out;
    void *sink;
    IntT total = 0;
    WorkBuffer<72> specification;
    WorkBuffer<256> output;
};

struct MemorySink {
    char *position;
    IntT room;
};

IntT outs(void *sink, const char *bytes, IntT length)
{
    auto &memory = *static_cast<MemorySink *>(sink);
    const IntT count = std::clamp(length, 0, std::max(memory.room, 0));
    memory.position = std::copy_n(bytes, count, memory.position);
    memory.room -= count;
    return count;
}

} // namespace

void VdeProcessWildFieldWidth(char *spec, va_list *arguments)
{
    while ((spec = std::strchr(spec, '*'))) {
        char number[sizeof "-2147483648"];
        const int length =
            std::snprintf(number, sizeof number, "%ld", long{va_arg(*arguments, int)});
        std::memmove(spec + length, spec + 1, std::strlen(spec));
        spec = std::copy_n(number, length, spec);
    }
}

IntT VdePrintToStream(char *outbuf, const char *spec, IntT specLength, va_list *arguments)
{
    Conversion conversion{spec, specLength};
    conversion.take_argument(arguments);
    return conversion.print(outbuf, INT_MAX);
}

IntT Vde_doprnt(VdeOutFuncT out, void *sink, const char *format, va_list arguments)
{
    // The list is copied because va_list may be an array type, and the address of such a parameter
    // has another type.
    va_list list;
    va_copy(list, arguments);
    const IntT total = Formatter{out, sink}.format(format ? format : "", &list);
    va_end(list);
    return total;
}

IntT VdeVSnprintf(char *buf, IntT size, const char *format, va_list arguments)
{
    const bool stores = buf && size > 0;
    MemorySink memory{buf, stores ? size - 1 : 0};
    const IntT total = Vde_doprnt(outs, &memory, format, arguments);
    if (stores)
        *memory.position = '\0';
    return total;
}

IntT V_Sprintf(char *buf, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const IntT length = VdeVSnprintf(buf, INT_MAX, format, arguments);
    va_end(arguments);
    return length;
}

// NOLINTEND(clang-analyzer-valist.Uninitialized)
