// The procedures of the host's program and those of its clients as types, one for each row of the
// tables.
#pragma once

#include <string_view>

#include "velt/wire.h"

namespace velt::host
{

#define ROW(row_number, stub, argument, result)                                                    \
    struct stub {                                                                                  \
        using Argument = argument;                                                                 \
        using Result = result;                                                                     \
        static constexpr rpcproc_t number = row_number;                                            \
        static constexpr std::string_view name = #stub;                                            \
    };

namespace procedure
{
#define V_PROCEDURE ROW
#include "velt/tables/procedures.def"
} // namespace procedure

namespace callback
{
#define V_CALLBACK(number, handler, argument) ROW(number, handler, argument, void)
#include "velt/tables/callbacks.def"
} // namespace callback

#undef ROW

// Returns whether a client hands such a call of the host back: it does not even answer a
// notification of the old style.
constexpr bool is_handed_back(rpcproc_t number)
{
    return number != callback::vq4_api_notify_1::number;
}

} // namespace velt::host
