// Compares messages with what a scenario says of them.
#pragma once

#include <string>
#include <vector>

#include "host/json/node.h"
#include "host/values/shape.h"
#include "host/values/text.h"
#include "host/wire/catalogue.h"

namespace velt::host
{

// A part of a message that is not as it should be.
struct Difference {
    std::string path; // such as propVals[2].propIdent.num; empty for the message itself
    std::string is, wanted;
};

// Returns the text that a text has to contain, where that is what the node says; else null.
const JsonNode *contained(const JsonNode &node);

// Returns the node as JSON on one line.
std::string json_of(const JsonNode &node);

// Returns whether the value is what the node says; fields that this leaves out may be anything.
bool matches(const Shape &shape, void *value, const JsonNode &wanted, const SessionText &text);
// Returns where it is not.
std::vector<Difference> differences(const Shape &shape, void *value, const JsonNode &wanted,
                                    const SessionText &text);

// Reads what the node, which may be null, says of a message into that; fields that it leaves out
// stay as they are. Throws JsonError.
void fill(const MessageType &type, void *message, const JsonNode *fields, const SessionText &text);

} // namespace velt::host
