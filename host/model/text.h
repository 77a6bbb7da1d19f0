// Places in the text of documents, and edits of it.
#pragma once

#include <limits>
#include <optional>

#include "host/model/lifetime.h"

namespace velt::host::texts
{

// A place that exists: the offset counts characters, the byte is where the character begins.
struct Place {
    UIntT paragraph;
    IntT offset;
    std::size_t byte;
    V_TextLocT location() const { return {paragraph, offset}; }
};
// A range of one flow that does not end before it begins.
struct Span {
    UIntT document;
    Place beg, end;
    bool empty() const { return beg.paragraph == end.paragraph && beg.byte == end.byte; }
    V_TextRangeT range() const { return {beg.location(), end.location()}; }
};

// Returns the byte of the place in the document's text, or nothing when there is no such place.
std::optional<std::size_t> byte_of(const Objects &objects, UIntT doc, const V_TextLocT &place);
// These return the place or the range; they refuse what is not in the document's text.
Place place_at(const Objects &objects, UIntT doc, const V_TextLocT &place);
Span span_at(const Objects &objects, UIntT doc, const V_TextRangeT &range);
// Returns whether the first of two paragraphs of a flow stands before the other. The cost is that
// of the way between them.
bool is_before(const Objects &objects, UIntT paragraph, UIntT other);

// The text of a paragraph that is in a span.
struct Stretch {
    UIntT paragraph;
    std::size_t begin, end;
};
// Returns the stretches of all paragraphs of the span, also empty ones.
std::vector<Stretch> stretches(const Objects &objects, const Span &span);

// A copy of an object that is anchored in text, with the offset from where that begins.
struct AnchoredCopy {
    IntT offset;
    CopiedObjects objects;
};

// Text that becomes part of a document: each piece but the first begins a paragraph.
struct Piece {
    std::string_view text;
    TextRuns runs;
    // The paragraph that the text was from end to end, and what was anchored in it; may be null.
    const CopiedObjects *whole = nullptr;
    const std::vector<AnchoredCopy> *anchored = nullptr;
};

// Replaces the span and returns the place after the new text; changes nothing when it fails. There
// is at least one piece. A piece that becomes a whole paragraph and was one gives it the properties
// that it had then, and what was in it. Any other new paragraph has the properties of the one in
// which the span begins; the paragraphs of a span become one.
//
// A place at the beginning of the span stays there; one in the span or at its end goes there. What
// is anchored to a character in the span is removed with it.
Place replace(Objects &objects, const Span &span, const std::vector<Piece> &pieces);
// Replaces it by text in which a line end begins a paragraph. The text has the properties of the
// character before it or, at the beginning of a paragraph, of the one after it.
Place replace(Objects &objects, const Span &span, std::string_view text);

struct Anchor {
    IntT offset;
    UIntT object;
    auto operator<=>(const Anchor &) const = default; // NOLINT(modernize-use-nullptr)
};
inline constexpr IntT no_end = std::numeric_limits<IntT>::max();
// Returns the anchors of objects at the offsets of the paragraph from the first up to the second,
// which is not among them; in ascending order.
std::vector<Anchor> anchors(const Object &paragraph, IntT from = 0, IntT to = no_end);

// Gives the text of the span properties in addition to those that it has, or instead of them.
// A property keeps its kind.
void set_properties(Objects &objects, const Span &span, const Properties &properties);
// Returns the properties of the character at the place or, at the end of a paragraph, of the last.
SharedProperties properties_at(const Objects &objects, const Place &place);

} // namespace velt::host::texts
