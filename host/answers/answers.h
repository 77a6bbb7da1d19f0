// The host's answers: one function for each procedure that has a row in answers.def. A function for
// a procedure without a row, or with parameters other than those of its procedure, does not
// compile.
#pragma once

#include <string>

#include "host/answers/responder.h"
#include "host/values/owned.h"

namespace velt::host
{

// The objects that an answer function works on.
struct Context : Workplace {
    Host &host;
    Client &client; // that made the call
};

// The type of an answer function: it takes the argument and the result of its procedure, and omits
// whichever of them is void.
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

template <>
struct Parameters<void, void> {
    using Function = void(Context &);
};

template <class P>
struct Answer;

using namespace procedure;

#define V_ANSWER(stub)                                                                             \
    template <>                                                                                    \
    struct Answer<stub> {                                                                          \
        static Parameters<stub::Argument, stub::Result>::Function answer;                          \
    };
#include "velt/tables/answers.def"

// Runs the action and returns 0, or the status with which the model refuses it.
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

// Returns the property and its value as the wire carries them.
V_PropValT property_value(const PropertyKey &key, const Value &value);
template <class All>
void give_properties(V_PropValsT &list, const All &properties)
{
    list = owned_list<V_PropValsT>(properties.size());
    V_PropValT *next = list.val;
    for (const auto &[key, value] : properties)
        *next++ = property_value(key, value);
}

} // namespace velt::host
