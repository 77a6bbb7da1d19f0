#include "host/script/document_window.h"

#include <algorithm>
#include <charconv>
#include <iomanip>
#include <map>

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

std::string DocumentWindow::file_name(UIntT document) const
{
    return printable(documents_.title(document));
}

std::string DocumentWindow::name(UIntT document) const
{
    const std::string name = file_name(document), path = printable(documents_.path(document));
    const auto has_it = [&](UIntT each) { return file_name(each) == name; };
    return path.empty() || std::ranges::count_if(model_.members(0), has_it) == 1 ? name : path;
}

std::string DocumentWindow::call(UIntT document) const
{
    const std::string name = this->name(document);
    const auto documents = model_.members(0);
    const auto has_it = [&](UIntT each) { return this->name(each) == name; };
    if (std::ranges::count_if(documents, has_it) == 1)
        return name;
    return std::to_string(std::ranges::find(documents, document) - documents.begin() + 1);
}

std::vector<std::string> DocumentWindow::names() const
{
    std::map<std::string, int> count;
    for (UIntT each : model_.members(0))
        count[file_name(each)]++;
    std::vector<std::string> names;
    for (UIntT each : model_.members(0)) {
        const std::string path = printable(documents_.path(each));
        names.push_back(file_name(each));
        if (count[names.back()] > 1 && !path.empty())
            names.back() = path;
    }
    return names;
}

UIntT DocumentWindow::find(const std::string &name) const
{
    const auto documents = model_.members(0);
    const auto names = this->names();
    UIntT found = 0;
    std::vector<std::string> others;
    for (std::size_t i = 0; i < documents.size(); i++)
        if (file_name(documents[i]) == name) {
            found = documents[i];
            others.push_back(std::to_string(i + 1) + " " + names[i]);
        }
    if (others.size() > 1)
        misuse(std::to_string(others.size()) + " open documents are called " + name +
               "; use a number: " + joined(others));
    if (found != 0)
        return found;
    const auto opened_so = [&](UIntT each) { return printable(documents_.path(each)) == name; };
    if (const auto same = std::ranges::find_if(documents, opened_so); same != documents.end())
        return *same;
    const auto position = find_by_name_or_number(names, name);
    return position ? documents[*position] : 0;
}

void DocumentWindow::list(std::ostream &out) const
{
    const UIntT active = model_.active_document();
    const auto names = this->names();
    std::size_t position = 0;
    for (UIntT each : model_.members(0)) {
        const std::string &name = names[position];
        out << (each == active ? "> " : "  ") << std::setw(2) << ++position << "  " << name
            << (model_.changed(each) ? " (changed)" : "") << "\n";
    }
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

UIntT DocumentWindow::paragraph(UIntT document, std::size_t number) const
{
    std::size_t count = 0;
    for (UIntT flow : model_.members(document))
        for (UIntT each = model_.at(flow).first; each != 0; each = model_.at(each).next)
            if (++count == number)
                return each;
    fail("no paragraph " + std::to_string(number) + "; there are " + std::to_string(count));
}

std::optional<V_TextRangeT> DocumentWindow::range(UIntT document, std::string_view place) const
{
    struct Place {
        std::size_t paragraph;
        IntT offset;
    } from{}, to{};
    const auto take = [&place](auto &number) {
        const bool digit = !place.empty() && place[0] >= '0' && place[0] <= '9';
        const auto [end, error] =
            std::from_chars(place.data(), place.data() + place.size(), number);
        place.remove_prefix(static_cast<std::size_t>(end - place.data()));
        return digit && error == std::errc();
    };
    const auto skip = [&place](char c) {
        const bool is_it = place.starts_with(c);
        place.remove_prefix(is_it ? 1 : 0);
        return is_it;
    };
    // Returns the location, which has to be there.
    const auto location = [&](const Place &at) -> V_TextLocT {
        const UIntT id = paragraph(document, at.paragraph);
        const auto count = model_.characters().count(model_.at(id).text);
        if (at.offset > count)
            fail("paragraph " + std::to_string(at.paragraph) + " has " + std::to_string(count) +
                 " characters, no place " + std::to_string(at.offset));
        return {id, at.offset};
    };
    if (!take(from.paragraph))
        return {};
    if (place.empty()) {
        const UIntT id = paragraph(document, from.paragraph);
        return V_TextRangeT{{id, 0}, {id, model_.characters().count(model_.at(id).text)}};
    }
    if (!skip(':') || !take(from.offset))
        return {};
    to = from;
    if (skip('-')) {
        if (!take(to.offset))
            return {};
        if (skip(':')) {
            to.paragraph = static_cast<std::size_t>(to.offset);
            if (!take(to.offset))
                return {};
        }
    }
    if (!place.empty())
        return {};
    const V_TextRangeT range{location(from), location(to)};
    const auto told = [&](const Place &at) {
        return (from.paragraph == to.paragraph ? "" : std::to_string(at.paragraph) + ":") +
               std::to_string(at.offset);
    };
    if (std::pair(to.paragraph, to.offset) < std::pair(from.paragraph, from.offset))
        fail("the range ends (" + told(to) + ") before it begins (" + told(from) + ")");
    if (model_.at(range.beg.objId).parent != model_.at(range.end.objId).parent)
        fail("a selection lies within one flow, and paragraphs " + std::to_string(from.paragraph) +
             " and " + std::to_string(to.paragraph) + " are in two");
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
