#include "host/model/chains.h"

#include <algorithm>
#include <iterator>

namespace velt::host::chains
{
namespace
{

constexpr struct {
    IntT type, container;
} orders[] = {
    {object_type::document, object_type::session},
    {object_type::component, object_type::book},
    {object_type::flow, object_type::document},
    {object_type::paragraph, object_type::flow},
};

} // namespace

IntT container_type(IntT type)
{
    for (const auto &order : orders)
        if (order.type == type)
            return order.container;
    return 0;
}

bool has(const Objects &objects, const Object &container, UIntT id)
{
    return objects.contains(id) && objects.at(id).container() == container.id &&
           container_type(objects.at(id).type) == container.type;
}

void put_after(Objects &objects, Object &member, UIntT previous)
{
    take_out(objects, member);
    Object &container = objects.at(member.container());
    UIntT &link = previous != 0 ? objects.at(previous).next : container.first;
    member.previous = previous;
    member.next = std::exchange(link, member.id);
    (member.next != 0 ? objects.at(member.next).previous : container.last) = member.id;
}

void take_out(Objects &objects, Object &member)
{
    Object &container = objects.at(member.container());
    UIntT &before = member.previous != 0 ? objects.at(member.previous).next : container.first;
    if (before != member.id)
        return;
    before = member.next;
    (member.next != 0 ? objects.at(member.next).previous : container.last) = member.previous;
    member.previous = member.next = 0;
}

std::vector<UIntT> members(const Objects &objects, const Object &container)
{
    std::vector<UIntT> order;
    for (UIntT each = container.first; each != 0; each = objects.at(each).next)
        order.push_back(each);
    return order;
}

} // namespace velt::host::chains
