#include "velt/vde/language.h"

#include "velt/vde/strings.h"

namespace
{

struct Language {
    IntT number;
    const char *name;
};

constexpr Language languages[] = {
#define V_LANGUAGE(number, name) {number, name},
#include "vdelib/strings/languages.def"
};

constexpr IntT last_number = 24;

consteval bool numbered_in_order()
{
    IntT expected = 0;
    for (const Language &language : languages) {
        if (language.number != ++expected)
            return false;
    }
    return expected == last_number;
}
static_assert(numbered_in_order(), "language numbers run from 1 to the last without a gap");

} // namespace

const char *V_LanguageString(IntT number)
{
    return number >= 1 && number <= last_number ? languages[number - 1].name : nullptr;
}

IntT V_LanguageNumber(const char *name)
{
    for (const Language &language : languages) {
        if (V_StrEqual(language.name, name) != 0)
            return language.number;
    }
    return 0;
}
