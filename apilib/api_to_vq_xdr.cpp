// The XDR routines of the value types and of the structures of the host's program.

#include "apilib/wire/coding.h"

#define V_RECORD(name, fields)                                                                     \
    bool_t xdr_##name(XDR *xdrs, name *value)                                                      \
    {                                                                                              \
        return velt::code(xdrs, *value);                                                           \
    }
#define V_LIST(name, element, plural) V_RECORD(name, )
#define V_KEEP_MACROS
#include "velt/tables/records.def"
#include "velt/tables/values.def"
#undef V_KEEP_MACROS
#include "velt/tables/undefine.h"
