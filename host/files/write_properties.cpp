#include "host/files/write_properties.h"

#include "host/json/values.h"
#include "host/values/kinds.h"

namespace velt::host
{

void write_properties(const std::map<PropertyKey, Value> &properties, const SessionText &session,
                      JsonWriter &out,
                      const std::function<bool(const PropertyKey &, const Value &)> &kept,
                      const std::function<void(V_TypedValT &)> &adjust)
{
    bool any = false;
    for (const auto &[key, value] : properties) {
        if (!kept(key, value))
            continue;
        if (!std::exchange(any, true)) {
            out.key("properties");
            out.begin('[');
        }
        out.begin('{');
        if (key.number != 0) {
            out.key("number");
            out.number(key.number);
        } else {
            out.text("name", session.to_utf8(key.name));
        }
        const Value copy = value;
        V_TypedValT shown = copy.get();
        adjust(shown);
        fields(shown.valType, shown.u, [&](const char *, auto &field) {
            out.key(name_of_kind(shown.valType));
            write_value(shape_of<std::remove_reference_t<decltype(field)>>, &field, out,
                        [&](const char *bytes) { return session.to_utf8(bytes); });
            return true;
        });
        out.end('}');
    }
    if (any)
        out.end(']');
}

} // namespace velt::host
