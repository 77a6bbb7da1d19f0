#include "host/model/text.h"

#include <algorithm>

#include "host/model/chains.h"
#include "host/model/lifetime.h"
#include "host/model/marks.h"
#include "host/model/properties.h"

namespace velt::host::texts
{
namespace
{

// An edit that is made ready first, which may fail, and then carried out, which cannot.
class Edit
{
public:
    Edit(Objects &objects, const Span &span, const std::vector<Piece> &pieces);
    Place carry_out() noexcept;

private:
    void make_paragraphs();
    void collect_doomed();
    void make_anchored();
    void move_marks() noexcept;
    V_TextLocT moved(const V_TextLocT &place) const noexcept;

    Objects &objects_;
    const Span &span_;
    const std::vector<Piece> &pieces_;
    Object &first_, &last_;
    std::string_view tail_; // the rest of the last paragraph

    NewObjects made_;
    std::vector<Object *> paragraphs_; // the new ones
    TextRuns runs_;                    // of the first paragraph
    Object *former_ = nullptr;         // it gets the properties that the first paragraph loses
    std::vector<std::pair<Property *, IntT>> anchored_; // new anchors in it, with their offsets
    std::vector<UIntT> vanishing_;                      // paragraphs
    std::vector<UIntT> doomed_; // they, what is anchored, and the contents of all
    Place after_;               // the place after the new text
};

Edit::Edit(Objects &objects, const Span &span, const std::vector<Piece> &pieces)
    : objects_(objects), span_(span), pieces_(pieces), first_(objects.at(span.beg.paragraph)),
      last_(objects.at(span.end.paragraph)),
      tail_(std::string_view(last_.text).substr(span.end.byte)), made_(objects)
{
    std::size_t size = span.beg.byte + tail_.size();
    for (const Piece &each : pieces) {
        check(objects.characters.whole(each.text), bad_value);
        size += each.text.size();
    }
    check(size <= static_cast<std::size_t>(no_end), bad_value);

    const Piece &head = pieces.front();
    runs::append(runs_, 0, first_.runs, 0, span.beg.byte);
    runs::append(runs_, span.beg.byte, head.runs, 0, head.text.size());
    after_ = {first_.id, span.beg.offset + objects.characters.count(head.text),
              span.beg.byte + head.text.size()};
    if (pieces.size() == 1)
        runs::append(runs_, after_.byte, last_.runs, span.end.byte, last_.text.size());
    make_paragraphs();
    collect_doomed();
    make_anchored();
    first_.text.reserve(span.beg.byte + head.text.size() +
                        (paragraphs_.empty() ? tail_.size() : 0));
    // The tail is a view of this text, if it is that of the first paragraph too.
    tail_ = std::string_view(last_.text).substr(span.end.byte);
}

void Edit::make_paragraphs()
{
    const std::size_t last = pieces_.size() - 1;
    if (const auto *whole = pieces_.front().whole; whole && span_.beg.byte == 0 && last > 0) {
        former_ = &made_.add(first_.document, object_type::paragraph, {}, first_.parent);
        doomed_.push_back(former_->id);
        marks::assign(objects_, first_, former_->properties, whole->front().properties);
        made_.add_contents(*whole, first_);
    }
    for (std::size_t i = 1; i <= last; i++) {
        const Piece &piece = pieces_[i];
        const bool as_it_was = piece.whole && i < last;
        Object &made = as_it_was
                           ? made_.add(first_.document, *piece.whole, first_.parent)
                           : made_.add(first_.document, object_type::paragraph, {}, first_.parent);
        if (!as_it_was)
            marks::assign(objects_, made, made.properties, first_.properties);
        made.text = piece.text;
        made.runs = piece.runs;
        paragraphs_.push_back(&made);
        if (i < last)
            continue;
        after_ = {made.id, objects_.characters.count(piece.text), piece.text.size()};
        made.text += tail_;
        runs::append(made.runs, after_.byte, last_.runs, span_.end.byte, last_.text.size());
    }
}

// The places of what is anchored in the first paragraph do not exist before the text does.
void Edit::make_anchored()
{
    for (std::size_t i = 0; i < pieces_.size(); i++) {
        if (!pieces_[i].anchored)
            continue;
        const V_TextLocT begin =
            i == 0 ? span_.beg.location() : V_TextLocT{paragraphs_[i - 1]->id, 0};
        for (const auto &[offset, copy] : *pieces_[i].anchored) {
            Object &made = made_.add(first_.document, copy);
            V_TypedValT place{kind::text_location, {}};
            place.u.textLocVal = begin;
            place.u.textLocVal.offset += i == 0 ? 0 : offset;
            properties::put(objects_, made, PropertyKey(property::anchor), Value(place));
            if (i == 0)
                anchored_.emplace_back(&*made.properties.find(PropertyKey(property::anchor)),
                                       begin.offset + offset);
        }
    }
}

void Edit::collect_doomed()
{
    const auto doom = [&](UIntT id) {
        const auto all = objects_.with_contents(id);
        doomed_.insert(doomed_.end(), all.begin(), all.end());
    };
    for (const Object *each = &first_;; each = &objects_.at(each->next)) {
        for (const Anchor &anchor : anchors(*each, each == &first_ ? span_.beg.offset : 0,
                                            each == &last_ ? span_.end.offset : no_end))
            doom(anchor.object);
        if (each != &first_) {
            vanishing_.push_back(each->id);
            doom(each->id);
        }
        if (each == &last_)
            return;
    }
}

V_TextLocT Edit::moved(const V_TextLocT &place) const noexcept
{
    if (place.objId == first_.id && place.offset <= span_.beg.offset)
        return place;
    if (place.objId == last_.id && place.offset > span_.end.offset)
        return {after_.paragraph, place.offset - span_.end.offset + after_.offset};
    return span_.beg.location();
}

void Edit::move_marks() noexcept
{
    const auto move_from = [&](UIntT id) {
        marks::move_all(objects_, objects_.at(id), [&](IntT offset) {
            return moved({id, offset});
        });
    };
    // Those of the first paragraph move first, because the others' may move there.
    move_from(first_.id);
    for (UIntT each : vanishing_)
        move_from(each);
}

Place Edit::carry_out() noexcept
{
    move_marks();
    const std::string_view head = pieces_.front().text;
    if (&first_ == &last_ && paragraphs_.empty()) {
        first_.text.replace(span_.beg.byte, span_.end.byte - span_.beg.byte, head);
    } else {
        first_.text.replace(span_.beg.byte, std::string::npos, head);
        if (paragraphs_.empty())
            first_.text += tail_;
    }
    first_.runs.swap(runs_);
    if (former_)
        first_.properties.swap(former_->properties);
    for (const auto &[anchor, offset] : anchored_)
        marks::move(objects_, first_, first_.marks.find({anchor, 0}), {first_.id, offset});
    UIntT previous = first_.id;
    for (Object *each : paragraphs_) {
        chains::put_after(objects_, *each, previous);
        previous = each->id;
    }
    made_.keep();
    discard(objects_, doomed_);
    return after_;
}

} // namespace

std::optional<std::size_t> byte_of(const Objects &objects, UIntT doc, const V_TextLocT &place)
{
    if (doc == 0 || !objects.contains(place.objId))
        return {};
    const Object &paragraph = objects.at(place.objId);
    if (paragraph.type != object_type::paragraph || paragraph.document != doc)
        return {};
    return objects.characters.byte_of(paragraph.text, place.offset);
}

Place place_at(const Objects &objects, UIntT doc, const V_TextLocT &place)
{
    objects.check_is_document(doc);
    const auto byte = byte_of(objects, doc, place);
    check(byte.has_value(), no_such_place);
    return {place.objId, place.offset, *byte};
}

Span span_at(const Objects &objects, UIntT doc, const V_TextRangeT &range)
{
    const Span span{doc, place_at(objects, doc, range.beg), place_at(objects, doc, range.end)};
    const auto &[beg, end] = std::pair(range.beg, range.end);
    check(beg.objId == end.objId ? beg.offset <= end.offset
                                 : is_before(objects, beg.objId, end.objId),
          no_such_place);
    return span;
}

bool is_before(const Objects &objects, UIntT paragraph, UIntT other)
{
    if (objects.at(paragraph).parent != objects.at(other).parent)
        return false;
    UIntT after = paragraph, after_other = other;
    while (after != 0 && after_other != 0) {
        after = objects.at(after).next;
        after_other = objects.at(after_other).next;
        if (after == other || after_other == paragraph)
            return after == other;
    }
    // One has come to the end of the flow, so it stands behind the other.
    return after != 0;
}

std::vector<Stretch> stretches(const Objects &objects, const Span &span)
{
    std::vector<Stretch> found;
    for (UIntT id = span.beg.paragraph;; id = objects.at(id).next) {
        const bool is_last = id == span.end.paragraph;
        found.push_back({id, id == span.beg.paragraph ? span.beg.byte : 0,
                         is_last ? span.end.byte : objects.at(id).text.size()});
        if (is_last)
            return found;
    }
}

Place replace(Objects &objects, const Span &span, const std::vector<Piece> &pieces)
{
    return Edit(objects, span, pieces).carry_out();
}

Place replace(Objects &objects, const Span &span, std::string_view text)
{
    const Object &paragraph = objects.at(span.beg.paragraph);
    const bool at_beginning = span.beg.byte == 0;
    // The character before ends where the text begins, and so does its run.
    const auto properties = paragraph.text.empty()
                                ? nullptr
                                : runs::at(paragraph.runs, at_beginning ? 0 : span.beg.byte - 1);
    std::vector<Piece> pieces;
    for (std::size_t begin = 0;;) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        pieces.push_back({text.substr(begin, end - begin), runs::of(properties)});
        if (pieces.back().text.empty())
            pieces.back().runs.clear();
        if (end == text.size())
            return replace(objects, span, pieces);
        begin = end + 1;
    }
}

std::vector<Anchor> anchors(const Object &paragraph, IntT from, IntT to)
{
    std::vector<Anchor> found;
    for (const TextMark &mark : paragraph.marks)
        if (mark.property->first.number == property::anchor)
            if (const IntT offset = marks::place(mark).offset; from <= offset && offset < to)
                found.push_back({offset, mark.owner});
    std::ranges::sort(found);
    return found;
}

void set_properties(Objects &objects, const Span &span, const Properties &properties)
{
    // Stretches that have the same properties have them in common afterwards too.
    std::map<SharedProperties, SharedProperties> changed;
    const auto change = [&](const SharedProperties &old) {
        SharedProperties &made = changed[old];
        if (made)
            return made;
        Properties all = old ? *old : Properties();
        for (const auto &[key, value] : properties) {
            const auto found = all.find(key);
            check(found == all.end() || found->second.kind() == value.kind(), wrong_kind);
            all.insert_or_assign(key, value);
        }
        return made = std::make_shared<const Properties>(std::move(all));
    };
    std::vector<std::pair<TextRuns *, runs::Change>> ready;
    for (const Stretch &each : stretches(objects, span)) {
        if (each.begin == each.end)
            continue;
        Object &paragraph = objects.at(each.paragraph);
        TextRuns inside;
        runs::append(inside, 0, paragraph.runs, each.begin, each.end);
        if (inside.empty() || inside.front().begin != 0)
            inside.insert(inside.begin(), {0, nullptr});
        for (TextRun &run : inside)
            run.properties = change(run.properties);
        ready.emplace_back(&paragraph.runs, runs::change(paragraph.runs, each.begin, each.end,
                                                         paragraph.text.size(), inside));
        runs::reserve(*ready.back().first, ready.back().second);
    }
    for (auto &[all, made] : ready)
        runs::carry_out(*all, made);
}

SharedProperties properties_at(const Objects &objects, const Place &place)
{
    const Object &paragraph = objects.at(place.paragraph);
    if (paragraph.text.empty())
        return nullptr;
    return runs::at(paragraph.runs, std::min(place.byte, paragraph.text.size() - 1));
}

} // namespace velt::host::texts
