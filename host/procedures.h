// The procedures of the host's program as types, one a row of the table: what an answer is found
// by.
#pragma once

#include <string_view>

#include "velt/wire.h"

namespace velt::host::procedure
{

#define V_PROCEDURE(row_number, stub, argument, result)                                            \
    struct stub {                                                                                  \
        using Argument = argument;                                                                 \
        using Result = result;                                                                     \
        static constexpr rpcproc_t number = row_number;                                            \
        static constexpr std::string_view name = #stub;                                            \
    };
#include "velt/tables/procedures.def"

} // namespace velt::host::procedure
