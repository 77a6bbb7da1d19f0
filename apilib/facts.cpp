// The texts of errors, and the version.

#include "velt/api/facts.h"

namespace
{

struct Text {
    IntT error;
    const char *text;
};

// When two rows have the same code, the first is used.
constexpr Text texts[] = {
    {0, "no error"},
#define V_ERROR(code, name, meaning) {code, meaning},
#include "velt/tables/errors.def"
#define V_STATUS(code, name, meaning) {code, meaning},
#include "velt/tables/statuses.def"
};

} // namespace

const char *V_ApiErrorText(IntT error)
{
    for (const Text &each : texts)
        if (each.error == error)
            return each.text;
    return "a status of the host without a name";
}

const char *V_ApiVersion(void)
{
    return VELT_VERSION;
}
