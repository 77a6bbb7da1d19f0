// The clipboard, and the stack on which it can be put aside.
#pragma once

#include "host/model/text.h"

namespace velt::host
{

// A stretch of text as it was in its paragraph.
struct CopiedParagraph {
    std::string text;
    TextRuns runs;
    // The paragraph and what is in it; nothing unless its beginning and its end were copied.
    CopiedObjects whole;
    std::vector<texts::AnchoredCopy> anchored;
};
using CopiedText = std::vector<CopiedParagraph>;

class Clipboard
{
public:
    // The text that was copied; null when there is none.
    std::shared_ptr<const CopiedText> text;

    // Puts a copy aside.
    void push() { stack_.push_back(text); }
    // Takes the last one up again; refuses when there is none.
    void pop()
    {
        check(!stack_.empty(), nothing_selected);
        text = std::move(stack_.back());
        stack_.pop_back();
    }

private:
    std::vector<std::shared_ptr<const CopiedText>> stack_;
};

namespace texts
{

// Returns a copy of the text; refuses an empty span.
std::shared_ptr<const CopiedText> copy(const Objects &objects, const Span &span);
// Returns the pieces by which copied text replaces other text. They point into it.
std::vector<Piece> pieces(const CopiedText &copied);

} // namespace texts
} // namespace velt::host
