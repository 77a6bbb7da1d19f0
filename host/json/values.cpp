#include "host/json/values.h"

namespace velt::host
{

Json &JsonTree::add(Json value)
{
    if (open_.empty())
        return root_ = std::move(value);
    Json &into = *open_.back();
    if (into.is_array()) {
        into.push_back(std::move(value));
        return into.back();
    }
    return into[key_] = std::move(value);
}

void JsonTree::begin(char bracket)
{
    open_.push_back(&add(bracket == '[' ? Json::array() : Json::object()));
}

bool fits(const nlohmann::json &value, std::int64_t least, std::int64_t most)
{
    if (value.is_number_unsigned())
        return value.get<std::uint64_t>() <= static_cast<std::uint64_t>(most);
    return value.is_number_integer() && value.get<std::int64_t>() >= least &&
           value.get<std::int64_t>() <= most;
}

} // namespace velt::host
