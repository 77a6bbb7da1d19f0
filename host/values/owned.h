// Values from the client library's heap, which are whole or not made: it is without exceptions and
// answers a lack of memory with less than was asked for.
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

// Zero-filled, as the list is.
template <class T>
T *owned_record()
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
