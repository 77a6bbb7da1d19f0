#include "host/model/dialogs.h"

#include <algorithm>

#include "host/model/lifetime.h"
#include "host/model/properties.h"

namespace velt::host::dialogs
{

UIntT dialog(Objects &objects, int client, const std::string &name)
{
    check(!name.empty(), bad_value);
    const auto same_name = objects.named(0, object_type::dialog, name);
    const auto found =
        std::ranges::find(same_name, client, [&](UIntT each) { return objects.at(each).client; });
    if (found != same_name.end())
        return *found;
    Object &made = objects.add(0, object_type::dialog, name);
    made.client = client;
    return made.id;
}

UIntT item(Objects &objects, UIntT dialog, IntT number)
{
    const Object &owner = objects.addressed(0, dialog);
    check(owner.type == object_type::dialog, wrong_kind);
    // Found by a name that no client can give, because it holds the character 0.
    const std::string name = std::to_string(dialog) + std::string(1, '\0') + std::to_string(number);
    if (const Object *found = objects.find(0, object_type::dialog_item, name))
        return found->id;
    NewObjects made(objects);
    Object &item = made.add(0, object_type::dialog_item, name, dialog);
    item.properties[PropertyKey(property::item_number)] = Value::integer(number);
    made.keep();
    return item.id;
}

} // namespace velt::host::dialogs
