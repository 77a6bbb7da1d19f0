// Fuzzes formatting: any format, with the arguments that it takes, into buffers of any size.

#include "fuzz/input.h"
#include "velt/vde/formatted.h"

namespace
{

constexpr std::size_t most_arguments = 5;

// Returns the types of the arguments, 'i' or 's' each, and truncates the format before a conversion
// with another type or one argument too many.
std::string arguments_of(std::string &format)
{
    std::string kinds;
    for (std::size_t at = 0; (at = format.find('%', at)) != std::string::npos;) {
        const std::size_t last = format.find_first_of("dioxXucsfeEgGp%n", at + 1);
        if (last == std::string::npos)
            break;
        std::string more(static_cast<std::size_t>(std::count(&format[at], &format[last], '*')),
                         'i');
        if (format[last] != '%')
            more += format[last] == 's' ? 's' : 'i';
        const bool wide = format[last] == 's' && format.find('l', at) < last;
        if (wide || std::strchr("feEgGpn", format[last]) ||
            kinds.size() + more.size() > most_arguments) {
            format.erase(at);
            break;
        }
        kinds += more;
        at = last + 1;
    }
    return kinds;
}

// Whether a width is valid but so large that the format only takes time.
bool is_slow(std::string_view format)
{
    for (std::size_t at = 0; (at = format.find_first_of("0123456789", at)) != format.npos;) {
        const std::size_t end = std::min(format.find_first_not_of("0123456789", at), format.size());
        if (end - at > 3 && end - at < 9)
            return true;
        at = end;
    }
    return false;
}

struct Printer {
    char *buffer;
    IntT size;
    const char *format;
    int integer;
    const char *text;

    IntT run(const char *marker, ...) const
    {
        va_list arguments;
        va_start(arguments, marker);
        const IntT length = VdeVSnprintf(buffer, size, format, arguments);
        va_end(arguments);
        require(length < size && buffer[length] == '\0', "the result fits, and is terminated");
        return length;
    }
    // Adds the arguments of the remaining types.
    template <class... Arguments>
    IntT with(const char *kinds, Arguments... arguments) const
    {
        if constexpr (sizeof...(arguments) < most_arguments) {
            if (*kinds == 'i')
                return with(kinds + 1, arguments..., integer);
            if (*kinds == 's')
                return with(kinds + 1, arguments..., text);
        }
        return run("", arguments...);
    }
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const IntT room = 1 + input.byte();
    const int integer = input.number() & 0x83FF;
    const auto text = exact_string(input.take(input.byte()));
    std::string format(exact_string(input.rest()).get());
    if (is_slow(format))
        return 0;
    const std::string kinds = arguments_of(format);
    const auto block = exact_string(format);

    const std::unique_ptr<char[]> small(new char[static_cast<std::size_t>(room)]);
    const IntT stored =
        Printer{small.get(), room, block.get(), integer, text.get()}.with(kinds.c_str());
    static char large[1 << 16];
    Printer{large, sizeof large, block.get(), integer, text.get()}.with(kinds.c_str());
    require(std::strncmp(small.get(), large, static_cast<std::size_t>(stored)) == 0,
            "a small buffer holds the beginning");
    return 0;
}
