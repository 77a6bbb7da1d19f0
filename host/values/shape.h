// The types of the tables at run time: what a value of a type consists of. Code that walks values
// of any type is written once over these, as a function instead of a template.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "apilib/wire/fields.h"
#include "host/values/owned.h"

namespace velt::host
{

struct Shape {
    enum Kind { number, text, pointer, list, structure };
    using Field = void (*)(void *visit, const char *name, const Shape &shape, void *field);

    Kind kind;
    std::size_t size; // in bytes

    // Of a number: its range, and access to it.
    std::int64_t least = 0, most = 0;
    std::int64_t (*get)(const void *number) = nullptr;
    void (*set)(void *number, std::int64_t to) = nullptr;

    // Of a pointer and of a list: what it points to, or consists of.
    const Shape *element = nullptr;
    // Makes an element that is filled with zeros, or so many; throws std::bad_alloc.
    void (*make)(void *owner, std::size_t count) = nullptr;
    // Returns the first element of a list, or what the pointer points to. `count` is 0 if that is
    // null.
    void *(*elements)(void *owner, std::size_t &count) = nullptr;

    // Of a structure: calls `field` for each field in wire order.
    void (*fields)(void *structure, Field field, void *visit) = nullptr;

    // Calls visit(name, shape, field) for each field of the structure.
    template <class Visit>
    void each_field(void *of, Visit visit) const
    {
        fields(
            of,
            [](void *context, const char *name, const Shape &shape, void *field) {
                (*static_cast<Visit *>(context))(name, shape, field);
            },
            &visit);
    }
};

template <class T>
constexpr Shape make_shape();
template <class T>
inline constexpr Shape shape_of = make_shape<T>();

template <class T>
void shape_fields(void *of, Shape::Field field, void *visit)
{
    velt::fields(*static_cast<T *>(of), [=](const char *name, auto &each) {
        field(visit, name, shape_of<std::remove_reference_t<decltype(each)>>, &each);
        return true;
    });
}

template <class T>
constexpr Shape make_shape()
{
    Shape made{};
    made.size = sizeof(T);
    if constexpr (std::is_same_v<T, StringT>) {
        made.kind = Shape::text;
    } else if constexpr (std::is_pointer_v<T>) {
        using To = std::remove_pointer_t<T>;
        made.kind = Shape::pointer;
        made.element = &shape_of<To>;
        made.make = [](void *owner, std::size_t) { *static_cast<T *>(owner) = owned_struct<To>(); };
        made.elements = [](void *owner, std::size_t &count) -> void * {
            To *const to = *static_cast<T *>(owner);
            count = to ? 1 : 0;
            return to;
        };
    } else if constexpr (List<T>) {
        made.kind = Shape::list;
        made.element = &shape_of<Element<T>>;
        made.make = [](void *owner, std::size_t count) {
            *static_cast<T *>(owner) = owned_list<T>(count);
        };
        made.elements = [](void *owner, std::size_t &count) -> void * {
            const T &list = *static_cast<T *>(owner);
            count = list.val ? list.len : 0;
            return list.val;
        };
    } else if constexpr (Struct<T>) {
        made.kind = Shape::structure;
        made.fields = shape_fields<T>;
    } else {
        made.kind = Shape::number;
        made.least = std::numeric_limits<T>::min();
        made.most = std::numeric_limits<T>::max();
        made.get = [](const void *number) -> std::int64_t {
            return *static_cast<const T *>(number);
        };
        made.set = [](void *number, std::int64_t to) {
            *static_cast<T *>(number) = static_cast<T>(to);
        };
    }
    return made;
}

} // namespace velt::host
