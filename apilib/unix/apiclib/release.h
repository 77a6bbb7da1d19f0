// The release of an answer.
#pragma once

#include <rpc/rpc.h>

namespace velt
{

// Frees what the decoder allocated inside a stub's result; the result itself is the stub's.
void api_xdrfree(xdrproc_t routine, void *result);

} // namespace velt
