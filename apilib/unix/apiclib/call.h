// The call layer: one function template for each shape that a remote call has. A call gives its
// stub, its argument structure and the field of the result structure that it returns.
#pragma once

#include <type_traits>
#include <utility>

#include "apilib/wire/memory.h"
#include "apilib/wire/routines.h"
#include "velt/api.h"

namespace velt
{

template <class Arg, class Ret>
using Stub = Ret *(*)(const Arg *, CLIENT *);

// What a call passes to its stub: the argument structure, or an integer for a procedure without an
// argument, because the stub wants an address all the same.
template <class Arg>
using Argument = std::conditional_t<std::is_void_v<Arg>, IntT, Arg>;

// The strings in argument structures are not const, although encoding only reads them.
inline StringT in(const char *s)
{
    return const_cast<StringT>(s);
}

inline V_PropIdentT by_number(IntT num)
{
    return {num, nullptr};
}

inline V_PropIdentT by_name(const char *name)
{
    return {0, in(name)};
}

// Numbers such as text selectors are unsigned on the wire.
inline UIntT in(IntT selector)
{
    return static_cast<UIntT>(selector);
}

// The answer to a call, released when this object is destroyed.
template <class Ret>
class Answer
{
public:
    template <class Arg>
    Answer(Stub<Arg, Ret> stub, Argument<Arg> &arg) : ret(stub(&arg, velt_client))
    {
        if (!ret)
            VA_errno = V_error_no_answer;
    }
    ~Answer()
    {
        if (ret)
            api_xdrfree(routine<Ret>(), ret);
    }
    Answer(const Answer &) = delete;
    Answer &operator=(const Answer &) = delete;

    explicit operator bool() const { return ret != nullptr; }
    Ret &operator*() const { return *ret; }
    Ret *operator->() const { return ret; }

    // Returns whether the call succeeded; puts the status of a refusal into VA_errno.
    bool success() const { return ret && noted(status()) == 0; }

    IntT status() const
    {
        if constexpr (std::is_same_v<Ret, IntT>)
            return *ret;
        else
            return ret->status;
    }

    static IntT noted(IntT status)
    {
        if (status != 0)
            VA_errno = status;
        return status;
    }

private:
    Ret *ret;
};

// Moves a decoded value out of an answer, so that it is the caller's and not released with the
// answer.
template <class Value>
Value take(Value &field)
{
    // An empty list of text items has an array, in a copy as well as here.
    if constexpr (std::is_same_v<Value, TextItemsT>)
        if (!field.val)
            return allocate<TextItemsT>(0);
    return std::exchange(field, {});
}

// Returns the host's status, 0 for success; -1, or what the call gives, when no answer came.
template <class Arg, class Ret>
IntT status(Stub<Arg, Ret> stub, std::type_identity_t<Argument<Arg>> arg, IntT no_answer = -1)
{
    Answer<Ret> answer(stub, arg);
    return answer ? answer.noted(answer.status()) : no_answer;
}

// Returns nothing; a failure is in VA_errno.
template <class Arg>
void set(Stub<Arg, IntT> stub, std::type_identity_t<Argument<Arg>> arg)
{
    status(stub, arg);
}

// Returns an integer that is the whole answer.
template <class Arg>
IntT plain(Stub<Arg, IntT> stub, std::type_identity_t<Argument<Arg>> arg, IntT no_answer = -1)
{
    Answer<IntT> answer(stub, arg);
    return answer ? *answer : no_answer;
}

// Returns a number or an id that follows the status.
template <class Arg, class Ret, class Value>
Value scalar(Stub<Arg, Ret> stub, std::type_identity_t<Argument<Arg>> arg, Value Ret::*field,
             std::type_identity_t<Value> failure = 0)
{
    Answer<Ret> answer(stub, arg);
    return answer.success() ? (*answer).*field : failure;
}

// Returns a list, a structure or a string that stands beside the status; it is the caller's.
template <class Arg, class Ret, class Value>
Value aggregate(Stub<Arg, Ret> stub, std::type_identity_t<Argument<Arg>> arg, Value Ret::*field)
{
    Answer<Ret> answer(stub, arg);
    return answer.success() ? take((*answer).*field) : Value{};
}

// Stores an answer that follows the status through a pointer and returns 0, or returns -1 and
// stores nothing. The host's status does not reach VA_errno.
template <class Arg, class Ret, class Value>
IntT prompt(Stub<Arg, Ret> stub, std::type_identity_t<Argument<Arg>> arg, Value Ret::*field,
            std::type_identity_t<Value> *out)
{
    Answer<Ret> answer(stub, arg);
    if (!answer || answer.status() != 0)
        return -1;
    *out = take((*answer).*field);
    return 0;
}

// What an operation returns that also stores a list of what happened, whatever its status. The
// library owns that list, one for each operation.
struct Outcome {
    IntT status;
    V_ObjHandleT id;
};

template <class Arg, class Ret>
Outcome return_list(Stub<Arg, Ret> stub, std::type_identity_t<Argument<Arg>> arg,
                    V_PropValsT **returned)
{
    static V_PropValsT sretval;
    Answer<Ret> answer(stub, arg);
    if (!answer)
        return {};
    V_ApiDeallocatePropVals(*returned);
    V_ApiDeallocatePropVals(&sretval); // left by a caller that did not keep the pointer
    sretval = answer->retParams ? take(*answer->retParams) : V_PropValsT{};
    *returned = &sretval;
    IntT status = answer.noted(answer->status);
    return {status, status == 0 ? answer->docId : 0};
}

// Returns whether an answer, which is empty, came.
template <class Arg>
bool answered(Stub<Arg, void> stub, std::type_identity_t<Argument<Arg>> arg)
{
    if (stub(&arg, velt_client))
        return true;
    VA_errno = V_error_no_answer;
    return false;
}

// Returns a string that is the whole answer.
inline StringT bare_string(Stub<void, StringT> stub)
{
    IntT nothing = 0;
    Answer<StringT> answer(stub, nothing);
    return answer ? take(*answer) : nullptr;
}

} // namespace velt
