// How the host answers each procedure that has a model behind it. A procedure is answered when it
// has a row in answers.def; an answer that no row names, or whose parameters are not those of its
// procedure, does not compile.
#pragma once

#include <string>

#include "host/answers/responder.h"

namespace velt::host
{

// What an answer works on.
struct Context {
    Model &model;
    Host &host;
    Client &client; // that calls
};

// An answer has the argument and the result of its procedure, and neither for void.
template <class Argument, class Result>
struct Parameters {
    using Function = void(Context &, const Argument &, Result &);
};
template <class Argument>
struct Parameters<Argument, void> {
    using Function = void(Context &, const Argument &);
};
template <class Result>
struct Parameters<void, Result> {
    using Function = void(Context &, Result &);
};

template <class P>
struct Answer;

using namespace procedure;

#define V_ANSWER(stub)                                                                             \
    template <>                                                                                    \
    struct Answer<stub> {                                                                          \
        static Parameters<stub::Argument, stub::Result>::Function answer;                          \
    };
#include "host/answers/answers.def"

// 0, or why the model refuses.
template <class Action>
IntT status_of(Action action)
{
    try {
        action();
        return ok;
    } catch (const StatusError &error) {
        return error.status();
    }
}

template <class Make>
void give_object(ApiVqObjRetT &r, Make make)
{
    r.status = status_of([&] { r.objId = make(); });
}

inline std::string text(const char *string)
{
    return string ? string : "";
}

} // namespace velt::host
