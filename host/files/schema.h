// Makes the JSON Schemas of book and document files from the tables by which these are read.
#pragma once

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

namespace velt::host::schema
{

using Json = nlohmann::ordered_json;

Json text();
Json number(std::int64_t least, std::int64_t most);
// An object has no other properties than these, of which some are required.
Json object(Json properties, Json required);
Json list(Json items);
// A part of the whole schema by its name; "property" is one that each schema has.
Json reference(const char *part);

// Returns the text of the schema of a file whose root is like this.
std::string whole(const char *title, const Json &root, Json parts);

} // namespace velt::host::schema
