// The call layer: one function template for each shape that a remote call has. A call gives its
// stub, its argument record and the field of the result record that it returns.
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

// What a call passes: the argument record, or 0 to a procedure without an argument, which is still
// handed an address.
template <class Arg>
using Argument = std::conditional_t<std::is_void_v<Arg>, IntT, Arg>;

// The argument records hold strings that are not const; encoding only reads them.
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

// Ids and text selectors travel unsigned.
inline UIntT in(IntT selector)
{
    return static_cast<UIntT>(selector);
}

// An answer that is released at the end of the call, and what its status says.
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

    // True for an answer of success; a refusal is put into VA_errno.
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

// What was decoded into an answer becomes the caller's, and is no longer released with the answer.
template <class Value>
Value take(Value &field)
{
    // As a copy of it is, an empty list of text has its array.
    if constexpr (std::is_same_v<Value, TextItemsT>)
        if (!field.val)
            return allocate<TextItemsT>(0);
    return std::exchange(field, {});
}

// The host's status, 0 for success; -1 (or what the call says) when no answer came.
template <class Arg, class Ret>
IntT status(Stub<Arg, Ret> stub, std::type_identity_t<Argument<Arg>> arg, IntT no_answer = -1)
{
    Answer<Ret> answer(stub, arg);
    return answer ? answer.noted(answer.status()) : no_answer;
}

// Nothing is returned; a failure is in VA_errno.
template <class Arg>
void set(Stub<Arg, IntT> stub, std::type_identity_t<Argument<Arg>> arg)
{
    status(stub, arg);
}

// A bare integer that is the answer itself.
template <class Arg>
IntT plain(Stub<Arg, IntT> stub, std::type_identity_t<Argument<Arg>> arg, IntT no_answer = -1)
{
    Answer<IntT> answer(stub, arg);
    return answer ? *answer : no_answer;
}

// A number or an id after the status.
template <class Arg, class Ret, class Value>
Value scalar(Stub<Arg, Ret> stub, std::type_identity_t<Argument<Arg>> arg, Value Ret::*field,
             std::type_identity_t<Value> failure = 0)
{
    Answer<Ret> answer(stub, arg);
    return answer.success() ? (*answer).*field : failure;
}

// A list, a record or a string after (or before) the status, handed to the caller.
template <class Arg, class Ret, class Value>
Value record(Stub<Arg, Ret> stub, std::type_identity_t<Argument<Arg>> arg, Value Ret::*field)
{
    Answer<Ret> answer(stub, arg);
    return answer.success() ? take((*answer).*field) : Value{};
}

// An answer after the status, handed out through a pointer: 0, or -1 with nothing handed out. The
// host's status stays untold.
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

// An operation that returns a list of what happened, whatever its status. The list is the
// library's, one for each operation.
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
    V_ApiDeallocatePropVals(&sretval); // of a caller that has not kept the pointer
    sretval = answer->retParams ? take(*answer->retParams) : V_PropValsT{};
    *returned = &sretval;
    IntT status = answer.noted(answer->status);
    return {status, status == 0 ? answer->docId : 0};
}

// An empty answer: whether it came.
template <class Arg>
bool answered(Stub<Arg, void> stub, std::type_identity_t<Argument<Arg>> arg)
{
    if (stub(&arg, velt_client))
        return true;
    VA_errno = V_error_no_answer;
    return false;
}

// A bare string, without a status.
inline StringT bare_string(Stub<void, StringT> stub)
{
    IntT nothing = 0;
    Answer<StringT> answer(stub, nothing);
    return answer ? take(*answer) : nullptr;
}

} // namespace velt
