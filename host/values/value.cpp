#include "host/values/value.h"

#include "host/values/owned.h"

namespace velt::host
{

Value::Value(const V_TypedValT &value) : value_(owned_copy(value)) {}

Value::~Value()
{
    velt::release(value_);
}

Value Value::integer(IntT number, IntT value_kind)
{
    Value value;
    value.value_.valType = value_kind;
    value.value_.u.intVal = number;
    return value;
}

Value Value::string(const std::string &text)
{
    Value value;
    value.value_.valType = kind::string;
    value.value_.u.stringVal = owned_string(text);
    return value;
}

PropertyKey::PropertyKey(const V_PropIdentT &ident) : number(ident.num)
{
    if (number == 0 && ident.name)
        name = ident.name;
}

} // namespace velt::host
