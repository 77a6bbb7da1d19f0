#include "host/scenario/shape_fields.h"

#include <map>
#include <set>
#include <tuple>

namespace velt::host
{
namespace
{

// No tag of a union has a greater value.
constexpr std::int64_t most_tags = 64;

} // namespace

void each_possible_field(const Shape &structure,
                         const std::function<void(const char *name, const Shape &)> &visit)
{
    std::vector<std::byte> value(structure.size);
    std::vector<std::pair<const Shape *, void *>> numbers;
    std::set<std::string> seen;
    const auto add = [&](const char *name, const Shape &field, void *place) {
        if (field.kind == Shape::number)
            numbers.emplace_back(&field, place);
        if (seen.insert(name).second)
            visit(name, field);
    };
    structure.each_field(value.data(), add);
    const std::vector<std::pair<const Shape *, void *>> tags = numbers;
    for (const auto &[tag, place] : tags)
        for (std::int64_t i = most_tags; i >= 0; i--) {
            tag->set(place, i); // the last is 0 again
            structure.each_field(value.data(), add);
        }
}

void each_tagged_field(const Shape &structure,
                       const std::function<void(const std::string &name, const char *tag,
                                                const std::vector<std::int64_t> &)> &visit)
{
    std::vector<std::byte> value(structure.size);
    std::vector<std::tuple<const char *, const Shape *, void *>> numbers;
    structure.each_field(value.data(), [&](const char *name, const Shape &field, void *place) {
        if (field.kind == Shape::number)
            numbers.emplace_back(name, &field, place);
    });
    for (const auto &[tag, shape, place] : numbers) {
        std::map<std::string, std::vector<std::int64_t>> there;
        for (std::int64_t i = most_tags; i >= 0; i--) {
            shape->set(place, i);
            structure.each_field(value.data(), [&](const char *name, const Shape &, void *) {
                there[name].push_back(i);
            });
        }
        for (const auto &[name, values] : there)
            if (values.front() < most_tags)
                visit(name, tag, values);
    }
}

void each_path(const Shape &shape, const std::string &before,
               const std::function<void(const std::string &path, const Shape &)> &visit)
{
    if (shape.kind == Shape::list || shape.kind == Shape::pointer)
        return each_path(*shape.element, before, visit);
    if (shape.kind == Shape::structure)
        each_possible_field(shape, [&](const char *name, const Shape &field) {
            const std::string path = before + "." + name;
            visit(path, field);
            each_path(field, path, visit);
        });
}

} // namespace velt::host
