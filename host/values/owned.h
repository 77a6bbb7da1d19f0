// Makes values on the client library's heap, whole or not at all. That heap throws no exceptions:
// short of memory, it returns less than was asked for, for which these functions throw
// std::bad_alloc.
#pragma once

#include <new>
#include <string>

#include "apilib/wire/memory.h"

namespace velt::host
{

template <class T>
T owned_copy(const T &value)
{
    T made = value;
    if (!velt::own(made)) {
        velt::release(made);
        throw std::bad_alloc();
    }
    return made;
}

inline StringT owned_string(const std::string &text)
{
    return owned_copy(const_cast<StringT>(text.c_str()));
}

// Returns a struct filled with zeros; owned_list fills its elements with zeros as well.
template <class T>
T *owned_struct()
{
    auto *made = static_cast<T *>(VapiCalloc(1, sizeof(T)));
    if (!made)
        throw std::bad_alloc();
    return made;
}

template <List T>
T owned_list(std::size_t count)
{
    const T made = velt::allocate<T>(static_cast<UIntT>(count));
    if (made.len != count) {
        V_ApiFree(made.val);
        throw std::bad_alloc();
    }
    return made;
}

} // namespace velt::host
