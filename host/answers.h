// How the host answers each procedure that has a model behind it. The server finds the answer by
// the procedure's type; one without an overload is not supported.
#pragma once

#include "host/context.h"
#include "host/procedures.h"

namespace velt::host
{

#define V_ANSWER(stub)                                                                             \
    void answer(procedure::stub, Context &, const procedure::stub::Argument &,                     \
                procedure::stub::Result &);
#include "host/answers.def"

} // namespace velt::host
