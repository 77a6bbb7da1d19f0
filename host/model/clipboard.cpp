#include "host/model/clipboard.h"

namespace velt::host::texts
{

std::shared_ptr<const CopiedText> copy(const Objects &objects, const Span &span)
{
    check(!span.empty(), nothing_selected);
    CopiedText copied;
    for (const auto &[id, begin, end] : stretches(objects, span)) {
        const Object &paragraph = objects.at(id);
        const bool is_first = id == span.beg.paragraph, is_last = id == span.end.paragraph;
        CopiedParagraph &made = copied.emplace_back();
        made.text = paragraph.text.substr(begin, end - begin);
        runs::append(made.runs, 0, paragraph.runs, begin, end);
        if (begin == 0 && !is_last)
            made.whole = copy_of(objects, id);
        const IntT from = is_first ? span.beg.offset : 0;
        for (const auto &[offset, object] :
             anchors(paragraph, from, is_last ? span.end.offset : no_end))
            made.anchored.push_back({offset - from, copy_of(objects, object)});
    }
    return std::make_shared<const CopiedText>(std::move(copied));
}

std::vector<Piece> pieces(const CopiedText &copied)
{
    std::vector<Piece> made;
    for (const CopiedParagraph &each : copied)
        made.push_back(
            {each.text, each.runs, each.whole.empty() ? nullptr : &each.whole, &each.anchored});
    return made;
}

} // namespace velt::host::texts
