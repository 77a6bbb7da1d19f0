#include "host/script/document_window.h"

#include <algorithm>
#include <iomanip>

#include "common/words.h"

namespace velt::host
{
namespace
{

// What is shown of a long document: so many paragraphs before the selection and from there on, and
// so many bytes of each.
constexpr std::size_t paragraphs_before = 20, paragraphs_after = 40, longest = 400;

std::size_t position(const std::vector<UIntT> &all, UIntT id)
{
    return static_cast<std::size_t>(std::ranges::find(all, id) - all.begin());
}

} // namespace

UIntT DocumentWindow::active() const
{
    const UIntT document = model_.active_document();
    if (document == 0)
        fail("no document is active; open opens one, document makes one active");
    return document;
}

std::vector<std::string> DocumentWindow::names() const
{
    std::vector<std::string> names;
    for (UIntT each : model_.members(0))
        names.push_back(name(each));
    return names;
}

UIntT DocumentWindow::document(const std::string &name) const
{
    const auto names = this->names();
    const auto documents = model_.members(0);
    if (const auto found = std::ranges::find(names, name); found != names.end())
        return documents[static_cast<std::size_t>(found - names.begin())];
    if (is_whole_number(name))
        if (const auto at = number<std::size_t>(name); at >= 1 && at <= documents.size())
            return documents[at - 1];
    fail("no document \"" + name + "\" is open; there are: " + joined(names));
}

void DocumentWindow::list(std::ostream &out) const
{
    const UIntT active = model_.active_document();
    int position = 0;
    for (UIntT each : model_.members(0))
        out << (each == active ? "> " : "  ") << std::setw(2) << ++position << "  " << name(each)
            << (model_.changed(each) ? " (changed)" : "") << "\n";
    if (position == 0)
        out << "  (no documents)\n";
    out << std::flush;
}

std::vector<UIntT> DocumentWindow::paragraphs(UIntT document) const
{
    std::vector<UIntT> all;
    for (UIntT flow : model_.members(document)) {
        const auto members = model_.members(flow);
        all.insert(all.end(), members.begin(), members.end());
    }
    return all;
}

UIntT DocumentWindow::paragraph(UIntT document, std::string_view number) const
{
    const auto all = paragraphs(document);
    const auto position = velt::number<std::size_t>(number);
    if (position < 1 || position > all.size())
        fail("no paragraph " + std::string(number) + "; there are " + std::to_string(all.size()));
    return all[position - 1];
}

V_TextRangeT DocumentWindow::range(UIntT document, std::string_view place) const
{
    const auto cut = [&place](char separator) {
        const auto end = std::min(place.find(separator), place.size());
        const std::string_view before = place.substr(0, end);
        place.remove_prefix(std::min(end + 1, place.size()));
        return before;
    };
    const bool offsets = place.find(':') != place.npos;
    V_TextRangeT range{};
    range.beg.objId = range.end.objId = paragraph(document, cut(':'));
    if (!offsets) {
        range.end.offset = model_.characters().count(model_.at(range.end.objId).text);
        return range;
    }
    const bool ends = place.find('-') != place.npos;
    range.beg.offset = range.end.offset = number<IntT>(cut('-'));
    if (!ends)
        return range;
    if (place.find(':') != place.npos)
        range.end.objId = paragraph(document, cut(':'));
    range.end.offset = number<IntT>(place);
    return range;
}

// Returns the text with brackets around the bytes of the selection, of a long one what stands
// around its beginning.
std::string DocumentWindow::marked(const Object &paragraph, std::size_t from, std::size_t to) const
{
    const std::string_view text = paragraph.text;
    std::size_t first = 0, last = text.size();
    if (text.size() > longest) {
        const std::size_t middle = from > text.size() ? 0 : from;
        // A character of two bytes is not cut.
        while (middle - first > longest / 4)
            first += model_.characters().size_at(text, first);
        for (last = first; last < text.size() && last - first < longest;)
            last += model_.characters().size_at(text, last);
    }
    std::string all = first > 0 ? "..." : "";
    std::size_t done = first;
    const auto add_to = [&](std::size_t end, const char *mark) {
        if (end < first || end > last)
            return;
        all += shown(text.substr(done, end - done)) + mark;
        done = end;
    };
    add_to(from, "[");
    add_to(to, "]");
    add_to(last, last < text.size() ? "..." : "");
    return all;
}

void DocumentWindow::show_paragraph(std::ostream &out, UIntT paragraph, std::size_t number,
                                    const V_TextRangeT &selection) const
{
    const Object &object = model_.at(paragraph);
    const auto byte = [&](const V_TextLocT &place) {
        return place.objId == paragraph
                   ? model_.characters().byte_of(object.text, place.offset).value_or(0)
                   : std::string::npos;
    };
    const Value tag = model_.get(object.document, paragraph, PropertyKey(property::tag));
    const char *tagged = tag.get().u.stringVal;
    const std::string name = shown(tagged ? tagged : "");
    out << std::setw(4) << number << "  " << (name.empty() ? "" : "(" + name + ") ")
        << marked(object, byte(selection.beg), byte(selection.end)) << "\n";
}

void DocumentWindow::show(std::ostream &out, UIntT document) const
{
    const V_TextRangeT selection = model_.selection(document);
    const auto all = paragraphs(document);
    const std::size_t selected = position(all, selection.beg.objId);
    const std::size_t first = selected > paragraphs_before ? selected - paragraphs_before : 0;
    const std::size_t last = std::min(all.size(), first + paragraphs_before + paragraphs_after);
    out << name(document) << (model_.changed(document) ? " (changed)" : "") << "\n";
    UIntT flow = 0;
    for (std::size_t i = first; i < last; i++) {
        if (const UIntT in = model_.at(all[i]).parent; in != std::exchange(flow, in)) {
            const std::string title = shown(model_.at(in).name);
            if (!title.empty() || model_.members(document).size() > 1)
                out << "Flow" << (title.empty() ? "" : " " + title) << ":\n";
        }
        if (i == first && first > 0)
            out << "      (" << first << " paragraphs before)\n";
        show_paragraph(out, all[i], i + 1, selection);
    }
    if (last < all.size())
        out << "      (" << all.size() - last << " paragraphs after)\n";
    out << std::flush;
}

} // namespace velt::host
