// The answer to a call, made without a client.
#pragma once

#include "apilib/wire/memory.h"
#include "host/answers/answers.h"

namespace velt::host
{

// Releases the answer as the dispatcher does.
template <class Procedure>
struct Answered {
    typename Procedure::Result value{};
    Answered(Context &context, const typename Procedure::Argument &argument)
    {
        Answer<Procedure>::answer(context, argument, value);
    }
    Answered(const Answered &) = delete;
    ~Answered() { velt::release(value); }
    auto *operator->() { return &value; }
    // These read the list that an operation on a file returns.
    bool tells(IntT bit) const { return V_ApiCheckStatus(value.retParams, bit) != 0; }
    std::string reason() const { return value.retParams->val[2].propVal.u.stringVal; }
};

} // namespace velt::host
