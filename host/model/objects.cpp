#include "host/model/objects.h"

#include <algorithm>

namespace velt::host
{

void Objects::check_document(UIntT doc) const
{
    if (doc == 0)
        return;
    const auto owner = objects_.find(doc);
    check(owner != objects_.end() && (owner->second.type == object_type::book ||
                                      owner->second.type == object_type::document),
          no_such_document);
}

void Objects::check_is_document(UIntT id) const
{
    check(id != 0, no_such_document);
    check_document(id);
    check(at(id).type == object_type::document, wrong_kind);
}

const Object &Objects::addressed(UIntT doc, UIntT id) const
{
    check_document(doc);
    const auto found = objects_.find(id);
    check(found != objects_.end() && (found->second.document == doc || id == doc), no_such_object);
    return found->second;
}

template <class Visit>
void Objects::visit_named(UIntT doc, IntT type, std::string_view name, Visit visit) const
{
    const Entry first = entry(doc, type, name, 0);
    for (auto each = by_name_.lower_bound(first);
         each != by_name_.end() && each->document == doc && each->type == type &&
         each->name_hash == first.name_hash;
         ++each)
        if (const Object &object = at(each->id); object.name == name && !visit(object))
            return;
}

const Object *Objects::find(UIntT doc, IntT type, std::string_view name) const
{
    const Object *found = nullptr;
    visit_named(doc, type, name, [&](const Object &object) {
        found = &object;
        return false;
    });
    return found;
}

std::vector<UIntT> Objects::named(UIntT doc, IntT type, std::string_view name) const
{
    std::vector<UIntT> ids;
    visit_named(doc, type, name, [&](const Object &object) {
        ids.push_back(object.id);
        return true;
    });
    return ids;
}

std::vector<UIntT> Objects::of_type(UIntT doc, IntT type) const
{
    std::vector<UIntT> ids;
    for (auto each = by_name_.lower_bound({doc, type, 0, 0});
         each != by_name_.end() && each->document == doc && each->type == type; ++each)
        ids.push_back(each->id);
    std::ranges::sort(ids);
    return ids;
}

Object &Objects::add(UIntT doc, IntT type, const std::string &name, UIntT parent)
{
    const UIntT id = next_id_++;
    Object &made =
        objects_
            .emplace(
                id, Object{.document = doc, .id = id, .type = type, .name = name, .parent = parent})
            .first->second;
    try {
        by_name_.insert(entry(made));
        if (id != 0) {
            auto &contents = at(made.container()).contents;
            contents.insert(contents.end(), id); // no other id is greater
        }
    } catch (...) {
        drop(id);
        throw;
    }
    return made;
}

void Objects::rename(Object &object, const std::string &name)
{
    by_name_.erase(entry(object));
    object.name = name;
    by_name_.insert(entry(object));
}

std::vector<UIntT> Objects::with_contents(UIntT id) const
{
    std::vector<UIntT> all{id};
    for (std::size_t i = 0; i < all.size(); i++) {
        const auto &inside = at(all[i]).contents;
        all.insert(all.end(), inside.begin(), inside.end());
    }
    return all;
}

void Objects::drop(UIntT id) noexcept
{
    const auto gone = objects_.find(id);
    // A container that is removed too comes before its contents and is already gone.
    if (const auto container = objects_.find(gone->second.container()); container != objects_.end())
        container->second.contents.erase(id);
    by_name_.erase(entry(gone->second));
    objects_.erase(gone);
}

} // namespace velt::host
