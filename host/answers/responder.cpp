#include <array>

#include "host/answers/answers.h"

namespace velt::host
{
namespace
{

using Function = void (*)(Context &, Call &);

template <class P>
void answer(Context &context, Call &call)
{
    using Argument = typename P::Argument;
    using Result = typename P::Result;
    if constexpr (std::is_void_v<Argument> && std::is_void_v<Result>)
        Answer<P>::answer(context);
    else if constexpr (std::is_void_v<Argument>)
        Answer<P>::answer(context, *static_cast<Result *>(call.result));
    else if constexpr (std::is_void_v<Result>)
        Answer<P>::answer(context, *static_cast<const Argument *>(call.argument));
    else
        Answer<P>::answer(context, *static_cast<const Argument *>(call.argument),
                          *static_cast<Result *>(call.result));
}

// This is the answer function of a procedure, or null for a procedure without a row in answers.def.
template <class P>
constexpr Function function_of = nullptr;
#define V_ANSWER(stub)                                                                             \
    template <>                                                                                    \
    constexpr Function function_of<stub> = answer<stub>;
#include "velt/tables/answers.def"

// The answer functions in the order of host_procedures().
constexpr Function functions[] = {
#define V_PROCEDURE(number, stub, argument, result) function_of<stub>,
#include "velt/tables/procedures.def"
};

} // namespace

Responder::Reaction ModelResponder::respond(Call &call)
{
    const auto row = &call.procedure - host_procedures().data();
    if (const Function function = functions[row]) {
        Context context{workplace_, call.host, call.client};
        function(context, call);
        workplace_.documents.announcer.announce_changes(&call.client);
    } else if (IntT *status = call.procedure.result.status(call.result)) {
        *status = not_supported;
    }
    return Reaction::answer;
}

} // namespace velt::host
