// Answers in words, as people and scripts give them.
#pragma once

#include <string>
#include <string_view>

#include "host/console/console.h"

namespace velt::host
{

// These functions take and return texts in UTF-8, also those in questions and replies.

// Returns which answers fit the question, as a hint.
std::string_view wanted(const Question &question);
// Reads an answer. Throws Error, which says why, for one that does not fit.
Reply read_reply(const Question &question, const std::string &words);
// Returns what has come of the question: "cancelled", or "answered with" the reply in words.
std::string told(const Question &question, const Reply &reply);

} // namespace velt::host
