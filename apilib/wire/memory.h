// Deep copies and releases of every type, derived from the tables: copy(value) and release(value).
#pragma once

#include <cstring>

#include "apilib/wire/fields.h"

namespace velt
{

// Turns a shallow copy into a deep one: replaces everything that the value points to by a copy.
// Returns false when memory ran out; what could not be copied is then null or empty.
template <class T>
bool own(T &value);

struct Owning {
    static constexpr bool sees_all_fields = true;
    bool &whole;
    // The visit goes on after a failure, so that no field keeps pointing into the source.
    template <class T>
    constexpr bool operator()(const char *, T &field) const
    {
        whole = own(field) && whole;
        return true;
    }
};

template <class T>
void api_free(T *&pointer)
{
    V_ApiFree(static_cast<void *>(pointer));
    pointer = nullptr;
}

// Releases everything that the value owns and leaves it empty.
template <class T>
void release(T &value);

struct Releasing {
    static constexpr bool sees_all_fields = true;
    template <class T>
    constexpr bool operator()(const char *, T &field) const
    {
        release(field);
        return true;
    }
};

// A zero-filled array for `count` elements, in a list that is empty when there is no memory.
template <List T>
T allocate(UIntT count, UIntT room)
{
    T list{};
    if (room != 0)
        list.val = static_cast<Element<T> *>(VapiCalloc(room, sizeof(Element<T>)));
    list.len = list.val ? count : 0;
    return list;
}

template <List T>
T allocate(UIntT count)
{
    return allocate<T>(count, count);
}

template <>
inline TextItemsT allocate<TextItemsT>(UIntT count)
{
    return allocate<TextItemsT>(count, count ? count : 1);
}

template <class T>
T copy(const T &value)
{
    T made = value;
    own(made);
    return made;
}

template <class T>
bool own(T &value)
{
    bool whole = true;
    if constexpr (std::is_same_v<T, StringT>) {
        value = V_ApiCopyString(value);
        return value != nullptr;
    } else if constexpr (std::is_pointer_v<T>) {
        if (!value)
            return true;
        auto *made = static_cast<T>(VapiCalloc(1, sizeof *value));
        if (made) {
            *made = *value;
            whole = own(*made);
        }
        value = made;
        return made && whole;
    } else if constexpr (List<T>) {
        T source = value;
        // Lists of these types count as empty when their array is null.
        constexpr bool may_be_empty =
            std::is_same_v<T, V_PropValsT> || std::is_same_v<T, TextItemsT>;
        value = allocate<T>(may_be_empty && !source.val ? 0 : source.len);
        if (!source.val || !value.val)
            return !source.val || source.len == 0;
        for (UIntT i = 0; i < value.len; i++) {
            value.val[i] = source.val[i];
            whole = own(value.val[i]) && whole;
        }
    } else if constexpr (std::is_same_v<T, V_PropIdentT>) {
        // A property identified by number has no name, and its copy gets none.
        return !value.name || own(value.name);
    } else if constexpr (Struct<T>) {
        fields(value, Owning{whole});
    }
    return whole;
}

template <class T>
void release(T &value)
{
    if constexpr (std::is_same_v<T, StringT>) {
        V_ApiDeallocateString(&value);
    } else if constexpr (std::is_pointer_v<T>) {
        if (value)
            release(*value);
        api_free(value);
    } else if constexpr (List<T>) {
        for (UIntT i = 0; value.val && i < value.len; i++)
            release(value.val[i]);
        api_free(value.val);
        value.len = 0;
    } else if constexpr (Struct<T>) {
        fields(value, Releasing{});
    }
}

} // namespace velt
