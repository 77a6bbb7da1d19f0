#include "host/model/objects.h"

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

const Object &Objects::addressed(UIntT doc, UIntT id) const
{
    check_document(doc);
    const auto found = objects_.find(id);
    check(found != objects_.end() && found->second.document == doc, no_such_object);
    return found->second;
}

const Object *Objects::find(UIntT doc, IntT type, std::string_view name) const
{
    const auto found = by_name_.lower_bound({doc, type, name, 0});
    const bool is_it = found != by_name_.end() && found->document == doc && found->type == type &&
                       found->name == name;
    return is_it ? &at(found->id) : nullptr;
}

std::vector<UIntT> Objects::named(UIntT doc, IntT type, std::string_view name) const
{
    return between({doc, type, name, 0}, {doc, type, name, std::numeric_limits<UIntT>::max()});
}

std::vector<UIntT> Objects::of_type(UIntT doc, IntT type) const
{
    return between({doc, type, {}, 0}, {doc, type + 1, {}, 0});
}

std::vector<UIntT> Objects::between(const Entry &from, const Entry &to) const
{
    std::vector<UIntT> ids;
    const auto end = by_name_.lower_bound(to);
    for (auto each = by_name_.lower_bound(from); each != end; ++each)
        ids.push_back(each->id);
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
    by_name_.insert(entry(made));
    if (id != 0)
        at(made.container()).contents.insert(id);
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

void Objects::remove(UIntT id)
{
    for (UIntT each : with_contents(id)) {
        const auto gone = objects_.find(each);
        // A container that is removed too comes before its contents and is already gone.
        if (const auto container = objects_.find(gone->second.container());
            container != objects_.end())
            container->second.contents.erase(each);
        by_name_.erase(entry(gone->second));
        objects_.erase(gone);
    }
}

} // namespace velt::host
