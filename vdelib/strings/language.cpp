#include "velt/vde/language.h"

#include <iterator>

#include "velt/vde/encodings.h"
#include "velt/vde/strings.h"

namespace
{

struct Language {
    IntT number;
    const char *name;
    UIntT encoding;
};

constexpr Language languages[] = {
#define V_LANGUAGE(number, name, encoding) {number, #name, VdeEnc##encoding},
#include "velt/tables/languages.def"
};

consteval bool numbered_in_order()
{
    IntT expected = 0;
    for (const Language &language : languages)
        if (language.number != ++expected)
            return false;
    return true;
}
static_assert(numbered_in_order(), "language numbers run from 1 without a gap");

const Language *find(IntT number)
{
    return number >= 1 && number <= IntT{std::size(languages)} ? &languages[number - 1] : nullptr;
}

} // namespace

const char *V_LanguageString(IntT number)
{
    const Language *language = find(number);
    return language ? language->name : nullptr;
}

IntT V_LanguageNumber(const char *name)
{
    for (const Language &language : languages) {
        if (V_StrEqual(language.name, name) != 0)
            return language.number;
    }
    return 0;
}

UIntT V_LanguageEncoding(IntT number)
{
    const Language *language = find(number);
    return language ? language->encoding : UIntT{VdeEncQuire};
}
