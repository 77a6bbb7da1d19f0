#include "host/model/lifetime.h"

#include "host/model/chains.h"
#include "host/model/marks.h"
#include "host/model/menus.h"
#include "host/model/properties.h"

namespace velt::host
{

namespace
{

void take_out(Objects &objects, Object &gone) noexcept
{
    if (chains::container_type(gone.type) != 0)
        chains::take_out(objects, gone);
    menus::take_out(objects, gone);
    for (Property &property : gone.properties)
        marks::unlink(objects, property);
}

} // namespace

void discard(Objects &objects, const std::vector<UIntT> &all) noexcept
{
    for (UIntT each : all)
        take_out(objects, objects.at(each));
    for (UIntT each : all)
        objects.drop(each);
}

void discard(Objects &objects, UIntT id) noexcept
{
    for (UIntT each = id;;) {
        Object &gone = objects.at(each);
        if (!gone.contents.empty()) {
            each = *gone.contents.rbegin();
            continue;
        }
        const UIntT container = gone.container();
        take_out(objects, gone);
        objects.drop(each);
        if (each == id)
            return;
        each = container;
    }
}

CopiedObjects copy_of(const Objects &objects, UIntT id)
{
    CopiedObjects made;
    std::map<UIntT, std::size_t> index;
    for (const UIntT each : objects.with_contents(id)) {
        const Object &object = objects.at(each);
        index[each] = made.size();
        const std::size_t container = each == id ? 0 : index.at(object.container());
        made.push_back({object.type, object.name, object.properties, container});
        made.back().properties.erase(PropertyKey(property::anchor));
    }
    return made;
}

Object &NewObjects::add(UIntT doc, const CopiedObjects &copy, UIntT parent)
{
    Object &made = add_one(doc, copy.front(), parent);
    add_contents(copy, made);
    return made;
}

void NewObjects::add_contents(const CopiedObjects &copy, Object &to)
{
    std::vector<UIntT> made{to.id};
    for (std::size_t i = 1; i < copy.size(); i++)
        made.push_back(add_one(to.document, copy[i], made[copy[i].container]).id);
}

Object &NewObjects::add_one(UIntT doc, const CopiedObject &copy, UIntT parent)
{
    const bool taken = objects_.find(doc, copy.type, copy.name);
    Object &made = add(doc, copy.type, taken ? std::string() : copy.name, parent);
    marks::assign(objects_, made, made.properties, copy.properties);
    return made;
}

Object &NewObjects::add(UIntT doc, IntT type, const std::string &name, UIntT parent)
{
    made_.push_back(0);
    try {
        Object &made = objects_.add(doc, type, name, parent);
        made_.back() = made.id;
        return made;
    } catch (...) {
        made_.pop_back();
        throw;
    }
}

} // namespace velt::host
