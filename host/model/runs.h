// The properties of stretches of a paragraph's text.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <vector>

#include "host/values/value.h"

namespace velt::host
{

using Properties = std::map<PropertyKey, Value>;
using SharedProperties = std::shared_ptr<const Properties>; // null when there are none

// The properties of the text from a byte on, up to the next run. Text before the first run has
// none, and neighbours differ.
struct TextRun {
    std::size_t begin;
    SharedProperties properties;
};
using TextRuns = std::vector<TextRun>;

namespace runs
{

// Returns the properties of the character at the byte.
SharedProperties at(const TextRuns &runs, std::size_t byte);
// Appends to `to`, for the text from `place` on, the runs of the bytes from `begin` to `end` of
// `from`.
void append(TextRuns &to, std::size_t place, const TextRuns &from, std::size_t begin,
            std::size_t end);
// Runs that take the place of those from `first` to before `last`.
struct Change {
    std::size_t first, last;
    TextRuns runs;
};
// Returns the change that gives the bytes from `begin` to `end` of a text of `size` bytes the
// properties that they have in `inside`, where they begin at 0. It takes no longer than is changed.
Change change(const TextRuns &of, std::size_t begin, std::size_t end, std::size_t size,
              const TextRuns &inside);
// Makes room for the change, so that carrying it out cannot fail.
void reserve(TextRuns &to, const Change &made);
void carry_out(TextRuns &to, Change &made) noexcept;
// Returns runs that give all of a text the properties.
inline TextRuns of(const SharedProperties &properties)
{
    return properties ? TextRuns{{0, properties}} : TextRuns{};
}

} // namespace runs
} // namespace velt::host
