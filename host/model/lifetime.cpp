#include "host/model/lifetime.h"

#include "host/model/chains.h"
#include "host/model/marks.h"
#include "host/model/menus.h"

namespace velt::host
{

void discard(Objects &objects, const std::vector<UIntT> &all) noexcept
{
    for (UIntT each : all) {
        Object &gone = objects.at(each);
        if (chains::container_type(gone.type) != 0)
            chains::take_out(objects, gone);
        menus::take_out(objects, gone);
        for (Property &property : gone.properties)
            marks::unlink(objects, property);
    }
    for (UIntT each : all)
        objects.drop(each);
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
