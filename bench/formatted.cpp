#include "bench/formatted.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "bench/blocks.h"
#include "velt/vde/formatted.h"

namespace velt::bench
{
namespace
{

template <class... Arguments>
void format(benchmark::State &state, const char *pattern, Arguments... arguments)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    char buffer[2048];
    char *const buf = buffer;
    compare(state, block([=] { return std::snprintf(buf, sizeof buffer, pattern, arguments...); }),
            block([=] { return V_Sprintf(buf, pattern, arguments...); }));
#pragma GCC diagnostic pop
}

int stored(char *buffer, int size, const char *pattern, ...)
{
    va_list arguments;
    va_start(arguments, pattern);
    const int length = VdeVSnprintf(buffer, size, pattern, arguments);
    va_end(arguments);
    return length;
}

// Hands each piece to a routine that copies it.
int handed_over(char *buffer, int, const char *pattern, ...)
{
    va_list arguments;
    va_start(arguments, pattern);
    const auto copy = [](void *sink, const char *bytes, IntT length) {
        char *&place = *static_cast<char **>(sink);
        std::memcpy(place, bytes, static_cast<std::size_t>(length));
        place += length;
        return length;
    };
    const int length = Vde_doprnt(copy, &buffer, pattern, arguments);
    va_end(arguments);
    *buffer = '\0';
    return length;
}

void add_sibling(const char *name, int (*ours)(char *, int, const char *, ...))
{
    const auto run = [ours](benchmark::State &state) {
        char buffer[64];
        char *const buf = buffer;
        compare(state, block([=] {
                    return std::snprintf(buf, sizeof buffer, "page %d of %s, id %x", 12,
                                         "Chapter 3", 0x1234);
                }),
                block([=] {
                    return ours(buf, sizeof buffer, "page %d of %s, id %x", 12, "Chapter 3",
                                0x1234);
                }));
    };
    add_line(std::string(name) + " %d %s %x / snprintf", 1, run);
}

} // namespace

void register_formatted()
{
    const auto add = [](const char *name, const char *pattern, auto... arguments) {
        add_line(std::string("V_Sprintf ") + name + " / snprintf", 1,
                 format<decltype(arguments)...>, pattern, arguments...);
    };
    static const std::string text(1000, 'x');
    const char *const long_text = text.c_str();
    add("without arguments", "The document is closed.");
    add("%d %s %x", "page %d of %s, id %x", 12, "Chapter 3", 0x1234);
    add("%s of 16", "%s", long_text + 1000 - 16);
    add("%s of 1000", "%s", long_text);
    add("1000 bytes of text", long_text);
    add("widths", "%5d|%-12s|%08x|%+3i", 42, "Chapter 3", 0xBEEF, 7);
    add("precisions", "%.3d|%.4s|%.2x", 42, "Chapter 3", 7);
    add("stars", "%*d|%-*s|%.*s", 6, 42, 12, "Chapter 3", 3, "Appendix");
    add("%f", "%f", 1234.5678);
    add("%.3f", "%.3f", 0.125);
    add("%g %e", "%g by %e", 21.0, 29.7);
    add("%8.2f", "%8.2f|%-8.2f", 12.5, 7.25);
    add_sibling("VdeVSnprintf", stored);
    add_sibling("Vde_doprnt", handed_over);
}

} // namespace velt::bench
