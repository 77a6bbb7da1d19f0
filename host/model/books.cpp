#include "host/model/books.h"

namespace velt::host::books
{

void put_after(Objects &objects, Object &component, UIntT place)
{
    take_out(objects, component);
    Object &before = objects.at(place);
    component.previous = place;
    component.next = std::exchange(before.next, component.id);
    objects.at(component.next).previous = component.id;
}

void take_out(Objects &objects, Object &component)
{
    objects.at(component.previous).next = component.next;
    objects.at(component.next).previous = component.previous;
    component.previous = component.next = component.id;
}

bool has(const Objects &objects, const Object &book, UIntT component)
{
    return objects.contains(component) && objects.at(component).document == book.id &&
           objects.at(component).type == object_type::component;
}

UIntT previous(const Object &component)
{
    return component.previous == component.document ? 0 : component.previous;
}

UIntT next(const Object &component)
{
    return component.next == component.document ? 0 : component.next;
}

UIntT first(const Object &book)
{
    return book.next == book.id ? 0 : book.next;
}

std::vector<UIntT> components(const Objects &objects, const Object &book)
{
    std::vector<UIntT> order;
    for (UIntT each = first(book); each != 0; each = next(objects.at(each)))
        order.push_back(each);
    return order;
}

} // namespace velt::host::books
