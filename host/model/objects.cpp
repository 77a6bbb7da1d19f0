#include "host/model/objects.h"

#include <algorithm>
#include <cstdint>

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

std::size_t Objects::key(UIntT doc, IntT type, std::string_view name)
{
    const std::uint64_t place = std::uint64_t{doc} << 32 | static_cast<UIntT>(type);
    return std::hash<std::string_view>()(name) ^ place * 0x9E3779B97F4A7C15;
}

void Objects::index_all() const
{
    for (; indexed_ < next_id_; indexed_++)
        if (const auto found = objects_.find(indexed_); found != objects_.end())
            index(found->second, found->second.name);
}

void Objects::index(const Object &object, const std::string &name) const
{
    if (!name.empty())
        by_name_.emplace(key(object.document, object.type, name), object.id);
}

Objects::Index::const_iterator Objects::indexed(const Object &object) const noexcept
{
    const auto [begin, end] = by_name_.equal_range(key(object));
    const auto entry =
        std::find_if(begin, end, [&](auto &each) { return each.second == object.id; });
    return entry == end ? by_name_.end() : entry;
}

void Objects::drop_from_index(const Object &object) noexcept
{
    if (const auto entry = indexed(object); entry != by_name_.end())
        by_name_.erase(entry);
}

std::vector<UIntT> Objects::named(UIntT doc, IntT type, std::string_view name) const
{
    index_all();
    std::vector<UIntT> ids;
    const auto [begin, end] = by_name_.equal_range(key(doc, type, name));
    for (auto each = begin; each != end; ++each)
        if (const Object &object = at(each->second);
            object.document == doc && object.type == type && object.name == name)
            ids.push_back(object.id);
    std::ranges::sort(ids);
    return ids;
}

const Object *Objects::find(UIntT doc, IntT type, std::string_view name) const
{
    const auto ids = named(doc, type, name);
    return ids.empty() ? nullptr : &at(ids.front());
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
    index_all();
    std::string made = name;
    index(object, made);
    drop_from_index(object);
    object.name = std::move(made);
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
    drop_from_index(gone->second);
    objects_.erase(gone);
}

void Objects::exchange_contents(Object &document, Object &other)
{
    const std::vector<UIntT> here = with_contents(document.id), there = with_contents(other.id);
    // Nothing fails from here on: the index gets no more entries than it had.
    const auto give = [&](const std::vector<UIntT> &all, UIntT owner) {
        for (std::size_t i = 1; i < all.size(); i++) {
            Object &object = at(all[i]);
            const auto found = indexed(object);
            object.document = owner;
            if (found == by_name_.end())
                continue;
            auto entry = by_name_.extract(found);
            entry.key() = key(object);
            by_name_.insert(std::move(entry));
        }
    };
    give(here, other.id);
    give(there, document.id);
    document.contents.swap(other.contents);
    document.properties.swap(other.properties);
    std::swap(document.first, other.first);
    std::swap(document.last, other.last);
}

} // namespace velt::host
