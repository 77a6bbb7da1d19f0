#include "host/model/clipboard.h"

#include "host/model/properties.h"

namespace velt::host::texts
{

std::shared_ptr<const CopiedText> copy(const Objects &objects, const Span &span)
{
    check(!span.empty(), nothing_selected);
    CopiedText copied;
    for (UIntT id = span.beg.paragraph;; id = objects.at(id).next) {
        const Object &paragraph = objects.at(id);
        const bool is_last = id == span.end.paragraph;
        const std::size_t begin = id == span.beg.paragraph ? span.beg.byte : 0;
        const std::size_t end = is_last ? span.end.byte : paragraph.text.size();
        CopiedParagraph &made = copied.emplace_back();
        made.text = paragraph.text.substr(begin, end - begin);
        runs::append(made.runs, 0, paragraph.runs, begin, end);
        made.tag = properties::get(paragraph, PropertyKey(property::tag)).get().u.stringVal;
        if (is_last)
            return std::make_shared<const CopiedText>(std::move(copied));
    }
}

std::vector<Piece> pieces(const CopiedText &copied)
{
    std::vector<Piece> made;
    for (const CopiedParagraph &each : copied)
        made.push_back({each.text, each.runs, &each.tag});
    return made;
}

} // namespace velt::host::texts
