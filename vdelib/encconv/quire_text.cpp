// Quire text in the escaped form of databases.

#include <algorithm>
#include <iterator>

#include "velt/vde/quire.h"
#include "velt/vde/strings.h"

namespace
{

struct Escape {
    char code;
    char letter;
};

constexpr Escape escapes[] = {
#define QUIRE_ESCAPE(code, letter) {code, letter},
#include "vdelib/encconv/quire_maps.def"
};

consteval bool letters_differ()
{
    for (const Escape &escape : escapes) {
        if (std::count_if(std::begin(escapes), std::end(escapes),
                          [&](const Escape &other) { return other.letter == escape.letter; }) != 1)
            return false;
    }
    return true;
}
static_assert(letters_differ(), "an escape letter must stand for one code");

// Finds the escape whose code or letter is c; null if there is none.
const Escape *find_escape(char Escape::*key, char c)
{
    const auto *found = std::find_if(std::begin(escapes), std::end(escapes),
                                     [=](const Escape &escape) { return escape.*key == c; });
    return found != std::end(escapes) ? found : nullptr;
}

constexpr IntT work_size = 256;

} // namespace

StringT VdeQuireToDbText(const char *text)
{
    char work[work_size];
    IntT length = 0;
    // The last character may take two bytes, an escape, and the terminator one.
    for (; text && *text != '\0' && length < work_size - 2; ++text) {
        const Escape *escape = find_escape(&Escape::code, *text);
        if (escape)
            work[length++] = '\\';
        work[length++] = escape ? escape->letter : *text;
    }
    work[length] = '\0';
    return V_StrCopyString(work);
}

StringT VdeDbTextToQuire(const char *text)
{
    char work[work_size];
    IntT length = 0;
    for (; text && *text != '\0' && length < work_size - 1; ++text) {
        const Escape *escape = nullptr;
        if (*text == '\\') {
            if (*++text == '\0')
                break;
            escape = find_escape(&Escape::letter, *text);
        }
        work[length++] = escape ? escape->code : *text;
    }
    work[length] = '\0';
    return V_StrCopyString(work);
}
