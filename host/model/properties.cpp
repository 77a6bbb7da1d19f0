#include "host/model/properties.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include "host/model/chains.h"
#include "host/model/marks.h"
#include "host/model/text.h"

namespace velt::host::properties
{
namespace
{

enum class Rule {
    book,
    document,
    member,
    after,
    before,
    first,
    name,
    container,
    selection,
    any,
    nothing
};

struct PropertyRow {
    IntT number;
    IntT kind;
    IntT type;
    Rule rule;

    // Returns whether the property follows from the book's order or from the object itself; all
    // others are stored.
    constexpr bool computed() const
    {
        return rule == Rule::after || rule == Rule::before || rule == Rule::first ||
               rule == Rule::name || rule == Rule::container;
    }
};

constexpr PropertyRow rows[] = {
#define V_PROPERTY(number, kind_name, object, name, rule, meaning)                                 \
    {number, kind::kind_name, object_type::object, Rule::rule},
#include "velt/tables/properties.def"
};

template <class Table, class Projection = std::identity>
constexpr bool ascending(const Table &table, Projection key = {})
{
    return std::ranges::adjacent_find(table, std::ranges::greater_equal{}, key) ==
           std::ranges::end(table);
}
static_assert(ascending(rows, &PropertyRow::number));

constexpr IntT kinds[] = {
#define V_KIND(code, name) code,
#include "velt/tables/kinds.def"
};
constexpr IntT types[] = {
#define V_OBJECT_TYPE(number, name, meaning) number,
#include "velt/tables/object_types.def"
};
static_assert(ascending(kinds) && ascending(types));

const PropertyRow *row(IntT type, const PropertyKey &key)
{
    const auto is_it = [&](const PropertyRow &each) {
        return each.number == key.number && each.type == type;
    };
    const auto *found = std::ranges::find_if(rows, is_it);
    return found == std::end(rows) ? nullptr : found;
}

UIntT move(Objects &objects, Object &member, UIntT neighbour, bool after)
{
    // The object leaves the order first, because what precedes the neighbour may be this very
    // object.
    chains::take_out(objects, member);
    chains::put_after(objects, member, after ? neighbour : objects.at(neighbour).previous);
    return member.id;
}

} // namespace

void add_own(Object &made)
{
    for (const PropertyRow &each : rows)
        if (each.type == made.type && !each.computed())
            made.properties[PropertyKey(each.number)] =
                each.kind == kind::string ? Value::string("") : Value::integer(0, each.kind);
}

Value get(const Object &from, const PropertyKey &key)
{
    if (const PropertyRow *behaviour = row(from.type, key))
        switch (behaviour->rule) {
        case Rule::after:
            return Value::id(from.previous);
        case Rule::before:
            return Value::id(from.next);
        case Rule::first:
            return Value::id(from.first);
        case Rule::name:
            return Value::string(from.name);
        case Rule::container:
            return Value::id(from.container());
        case Rule::book:
        case Rule::document:
        case Rule::member:
        case Rule::selection:
        case Rule::any:
        case Rule::nothing:
            break;
        }
    const auto found = from.properties.find(key);
    check(found != from.properties.end(), no_such_property);
    return found->second;
}

void check_writable(const Objects &objects, const Object &to, const PropertyKey &key,
                    const V_TypedValT &value)
{
    check_valid(key, value);
    check(key.number != property::anchor, not_permitted);
    const PropertyRow *behaviour = row(to.type, key);
    check(!behaviour || behaviour->kind == value.valType, wrong_kind);
    const auto old = to.properties.find(key);
    check(old == to.properties.end() || old->second.kind() == value.valType, wrong_kind);
    const auto wanted = static_cast<UIntT>(value.u.intVal);
    const auto is_of = [&](IntT type) {
        return wanted == 0 || (objects.contains(wanted) && objects.at(wanted).type == type);
    };
    switch (behaviour ? behaviour->rule : Rule::any) {
    case Rule::book:
        return check(is_of(object_type::book), bad_value);
    case Rule::document:
        return check(is_of(object_type::document), bad_value);
    case Rule::member:
        return check(wanted == 0 || chains::has(objects, to, wanted), bad_value);
    case Rule::after:
    case Rule::before:
        return check(wanted != to.id && chains::has(objects, objects.at(to.container()), wanted),
                     bad_value);
    case Rule::first:
        return check(chains::has(objects, to, wanted), bad_value);
    case Rule::name: {
        const std::string name = value.u.stringVal ? value.u.stringVal : "";
        const Object *other = name.empty() ? nullptr : objects.find(to.document, to.type, name);
        return check(!other || other == &to, bad_value);
    }
    case Rule::container:
    case Rule::nothing:
        throw StatusError(not_permitted);
    case Rule::selection:
        texts::span_at(objects, to.id, value.u.textRangeVal);
        return;
    case Rule::any:
        return;
    }
}

UIntT set(Objects &objects, Object &to, const PropertyKey &key, const V_TypedValT &value)
{
    const PropertyRow *behaviour = row(to.type, key);
    const Rule rule = behaviour ? behaviour->rule : Rule::any;
    const auto wanted = static_cast<UIntT>(value.u.intVal);
    if (rule == Rule::after || rule == Rule::before)
        return move(objects, to, wanted, rule == Rule::after);
    if (rule == Rule::first) {
        chains::put_after(objects, objects.at(wanted), 0);
        return wanted;
    }
    if (rule == Rule::name)
        objects.rename(to, value.u.stringVal ? value.u.stringVal : "");
    else
        put(objects, to, key, Value(value));
    return 0;
}

void put(Objects &objects, Object &to, const PropertyKey &key, Value value)
{
    const auto [property, fresh] = to.properties.try_emplace(key);
    try {
        marks::assign(objects, to, *property, std::move(value));
    } catch (...) {
        if (fresh)
            to.properties.erase(property);
        throw;
    }
}

void remove(Objects &objects, Object &from, const PropertyKey &key)
{
    check(!row(from.type, key) && key.number != property::anchor, not_permitted);
    const auto found = from.properties.find(key);
    check(found != from.properties.end(), no_such_property);
    marks::unlink(objects, *found);
    from.properties.erase(found);
}

void check_valid(const PropertyKey &key, const V_TypedValT &value)
{
    check(key.number != 0 || !key.name.empty(), no_such_property);
    check(std::ranges::binary_search(kinds, value.valType), wrong_kind);
}

std::vector<std::pair<PropertyKey, Value>> all(const Object &of)
{
    std::map<PropertyKey, Value> both = of.properties;
    for (const PropertyRow &each : rows)
        if (each.type == of.type)
            both.insert_or_assign(PropertyKey(each.number), get(of, PropertyKey(each.number)));
    return {both.begin(), both.end()};
}

} // namespace velt::host::properties
