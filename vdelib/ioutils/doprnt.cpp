#include <algorithm>
#include <climits>
#include <cstring>

#include "vdelib/ioutils/conversion.h"
#include "velt/vde/formatted.h"
#include "velt/vde/memory.h"

// The analyzer loses sight of an argument list that is reached through its address.
// NOLINTBEGIN(clang-analyzer-valist.Uninitialized)

namespace
{

using namespace velt::formatted;

// A buffer that uses the heap only for unusually long text.
template <UIntT inline_size>
class WorkBuffer
{
public:
    WorkBuffer() = default;
    WorkBuffer(const WorkBuffer &) = delete;
    WorkBuffer &operator=(const WorkBuffer &) = delete;
    ~WorkBuffer()
    {
        if (block)
            V_Free(block);
    }

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

// Outputs take a piece of output and return the number of bytes that they have accepted. They may
// give a place where a piece can be written at once, without terminator, which is then `placed`.

class Routine
{
public:
    Routine(VdeOutFuncT out_func, void *out_sink) : out{out_func}, sink{out_sink} {}

    IntT operator()(const char *bytes, IntT length) { return out(sink, bytes, length); }
    static char *place(size_t) { return nullptr; }
    static IntT placed(size_t) { return 0; }

private:
    VdeOutFuncT out;
    void *sink;
};

class Memory
{
public:
    Memory(char *buf, IntT size) : position{buf}, room{size} {}

    IntT operator()(const char *bytes, IntT length)
    {
        const IntT count = std::clamp(length, 0, room);
        if (count > 0)
            position = std::copy_n(bytes, count, position);
        room -= count;
        return count;
    }
    char *place(size_t size) { return size <= static_cast<size_t>(room) ? position : nullptr; }
    IntT placed(size_t size)
    {
        position += size;
        room -= static_cast<IntT>(size);
        return static_cast<IntT>(size);
    }
    void terminate() { *position = '\0'; }

private:
    char *position;
    IntT room;
};

template <class Out>
class Formatter
{
public:
    explicit Formatter(Out &output_routine) : out{output_routine} {}

    IntT format(const char *p, va_list *arguments)
    {
        for (;;) {
            const char *const percent = *p == '%' || *p == '\0' ? p : strchrnul(p, '%');
            put(p, static_cast<size_t>(percent - p));
            p = percent;
            if (*p == '\0')
                return total;
            Conversion conversion{p};
            const char *next = p + conversion.length;
            if (!conversion.is_well_formed()) {
                next = end_of_text(p);
                const char *const text = next ? copyformat(p, next, arguments) : nullptr;
                if (!text)
                    return total;
                conversion = Conversion{text, std::strlen(text)};
            }
            if (!convert(conversion, arguments))
                return total;
            p = next;
        }
    }

private:
    void put(const char *bytes, size_t length) { total += out(bytes, static_cast<IntT>(length)); }

    // Returns the end of what is no specification yet; null when there is none.
    static const char *end_of_text(const char *p)
    {
        do {
            if (*++p == '\0')
                return nullptr;
        } while (byte_of(*p).kind == Kind::none);
        return p + 1;
    }

    // Returns a copy with "*" expanded, which may make it one; null when memory runs out.
    const char *copyformat(const char *text, const char *end, va_list *arguments)
    {
        const auto wild = static_cast<size_t>(std::count(text, end, '*'));
        const auto length = static_cast<size_t>(end - text);
        if (!specification.reserve(length + wild * std::strlen("-2147483648") + 1))
            return nullptr;
        char *const spec = specification.data();
        *std::copy(text, end, spec) = '\0';
        VdeProcessWildFieldWidth(spec, arguments);
        return spec;
    }

    // False when memory runs out or the platform cannot produce the result.
    bool convert(Conversion &conversion, va_list *arguments)
    {
        conversion.take_argument(arguments);
        if (conversion.kind == Kind::total) {
            conversion.store(total);
            return true;
        }
        if (!conversion.fits())
            return false;
        char *const digits_place =
            conversion.kind == Kind::real ? out.place(Conversion::most_digits) : nullptr;
        if (!conversion.make(digits_place)) {
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
        const size_t size = conversion.size();
        if (!output.reserve(size + 1))
            return false;
        // Only digits: an argument may be what stands at that place.
        if (char *const place = conversion.has_digits() ? out.place(size) : nullptr) {
            if (conversion.bare() != place)
                conversion.write(place);
            total += out.placed(size);
            return true;
        }
        const char *bytes = conversion.bare();
        if (!bytes) {
            bytes = output.data();
            conversion.write(output.data());
        }
        put(bytes, conversion.has_terminator() ? strnlen(bytes, size) : size);
        return true;
    }

    Out &out;
    IntT total = 0;
    WorkBuffer<72> specification;
    WorkBuffer<256> output;
};

IntT format_to(auto &out, const char *format, va_list *arguments)
{
    return Formatter{out}.format(format ? format : "", arguments);
}

IntT format_to_memory(char *buf, IntT size, const char *format, va_list *arguments)
{
    const bool stores = buf && size > 0;
    Memory memory{buf, stores ? size - 1 : 0};
    const IntT total = format_to(memory, format, arguments);
    if (stores)
        memory.terminate();
    return total;
}

// A list is copied because va_list may be an array type, and the address of such a parameter has
// another type.
IntT with_copy(va_list arguments, auto use)
{
    va_list list;
    va_copy(list, arguments);
    const IntT result = use(&list);
    va_end(list);
    return result;
}

} // namespace

void VdeProcessWildFieldWidth(char *spec, va_list *arguments)
{
    while ((spec = std::strchr(spec, '*'))) {
        char number[sizeof "-2147483648"];
        char *const end =
            number + std::snprintf(number, sizeof number, "%d", va_arg(*arguments, int));
        std::memmove(spec + (end - number), spec + 1, std::strlen(spec));
        spec = std::copy(number, end, spec);
    }
}

IntT VdePrintToStream(char *outbuf, const char *spec, IntT specLength, va_list *arguments)
{
    Conversion conversion{spec, static_cast<size_t>(specLength)};
    conversion.take_argument(arguments);
    if (!conversion.fits())
        return -1;
    if (!conversion.make())
        return conversion.print(outbuf, INT_MAX);
    *conversion.write(outbuf) = '\0';
    return static_cast<IntT>(conversion.size());
}

IntT Vde_doprnt(VdeOutFuncT out, void *sink, const char *format, va_list arguments)
{
    Routine routine{out, sink};
    return with_copy(arguments, [&](va_list *list) { return format_to(routine, format, list); });
}

IntT VdeVSnprintf(char *buf, IntT size, const char *format, va_list arguments)
{
    return with_copy(arguments,
                     [=](va_list *list) { return format_to_memory(buf, size, format, list); });
}

IntT V_Sprintf(char *buf, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const IntT length = format_to_memory(buf, INT_MAX, format, &arguments);
    va_end(arguments);
    return length;
}

// NOLINTEND(clang-analyzer-valist.Uninitialized)
