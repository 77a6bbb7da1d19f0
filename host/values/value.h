// The values of properties, and the keys that identify properties.
#pragma once

#include <compare>
#include <string>
#include <utility>

#include "velt/api.h"

namespace velt::host
{

namespace kind
{
#define V_KIND(code, name) inline constexpr IntT name = code;
#include "velt/tables/kinds.def"
} // namespace kind

// A value that owns what it holds.
class Value
{
public:
    Value() = default; // kind 0, which no property has
    // Copies the value.
    explicit Value(const V_TypedValT &value);
    static Value integer(IntT number, IntT kind = kind::integer);
    static Value id(UIntT number) { return integer(static_cast<IntT>(number), kind::id); }
    static Value string(const std::string &text);

    Value(const Value &other) : Value(other.value_) {}
    Value(Value &&other) noexcept : value_(std::exchange(other.value_, {})) {}
    Value &operator=(Value other) noexcept
    {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Value();

    const V_TypedValT &get() const { return value_; }
    IntT kind() const { return value_.valType; }

private:
    V_TypedValT value_{};
};

// A property's number, or its name when the number is 0.
struct PropertyKey {
    IntT number = 0;
    std::string name = {};

    explicit PropertyKey(IntT property_number) : number(property_number) {}
    explicit PropertyKey(std::string property_name) : name(std::move(property_name)) {}
    explicit PropertyKey(const V_PropIdentT &ident);
    auto operator<=>(const PropertyKey &) const = default; // NOLINT(modernize-use-nullptr)
};

} // namespace velt::host
