#include "support/json.h"

#include <nlohmann/json.hpp>

std::string velt::test::json_at(const std::string &text, const std::string &pointer)
{
    const auto json = nlohmann::json::parse(text);
    return json.at(nlohmann::json::json_pointer(pointer)).dump();
}
