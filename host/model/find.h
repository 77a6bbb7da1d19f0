// Finds text in documents.
#pragma once

#include "host/model/text.h"

namespace velt::host
{

struct FindOptions {
    std::string text = {};
    bool backwards = false;
    bool match_case = false;
    bool whole_words = false;
    bool wrap = false;
};

namespace texts
{

// Returns the first match that begins at the place or behind it; backwards, the last one that ends
// at the place or before it. Wrapping, the rest of the document follows after its end. Matches lie
// within a paragraph and may overlap. The cost is linear in the text. Refuses an empty text, and
// when there is no match.
V_TextRangeT find(const Objects &objects, UIntT doc, const V_TextLocT &start,
                  const FindOptions &options);

} // namespace texts
} // namespace velt::host
