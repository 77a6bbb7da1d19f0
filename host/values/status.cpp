#include "host/values/status.h"

namespace velt::host
{

const char *meaning_of(Status status)
{
    switch (status) {
    case ok:
        break;
#define V_STATUS(code, name, meaning)                                                              \
    case name:                                                                                     \
        return meaning;
#include "velt/tables/statuses.def"
    }
    return "ok";
}

} // namespace velt::host
