// The text of documents beside a model of it that is one string with marks.

#include <random>

#include "support/host_in_process.h"
#include "velt/vde/strings.h"

namespace velt::host
{
namespace
{

constexpr IntT marked_place = 500, marked_range = 501, style = 502;

// A character, or "\n" for the end of a paragraph, and the value of its property, 0 for none.
struct Character {
    std::string bytes;
    IntT style;
    bool operator==(const Character &) const = default;
};

class Texts : public HostInProcess, public testing::WithParamInterface<IntT>
{
protected:
    UIntT doc = 0;
    std::mt19937 random{1};
    std::vector<Character> flat;
    std::vector<Character> clipboard;

    Texts()
    {
        model.set_language(GetParam());
        doc = V_ApiCustomDoc(0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    }
    std::size_t any(std::size_t end) { return random() % end; }
    std::string any_text(std::size_t longest)
    {
        // In the second byte of a character there may be one that has a meaning of its own.
        const std::vector<std::string> all =
            GetParam() == V_language_japanese
                ? std::vector<std::string>{"a",  "A",    " ",    "\x83\x41", "\x82\x61",
                                           "\n", "\xCB", "\xAE", "\xBE"}
                : std::vector<std::string>{"a", "A", " ", "b", "\x8A", "\n"};
        std::string text;
        for (std::size_t i = any(longest + 1); i > 0; i--)
            text += all[any(all.size())];
        return text;
    }
    std::vector<Character> split(const std::string &text, IntT with = 0) const
    {
        std::vector<Character> all;
        for (std::size_t i = 0; i < text.size(); i += all.back().bytes.size())
            all.push_back({text.substr(i, model.characters().size_at(text, i)), with});
        for (Character &each : all)
            if (each.bytes == "\n")
                each.style = 0;
        return all;
    }
    std::vector<UIntT> paragraphs() const
    {
        std::vector<UIntT> all;
        for (UIntT flow = model.at(doc).first; flow != 0; flow = model.at(flow).next)
            for (UIntT each = model.at(flow).first; each != 0; each = model.at(each).next)
                all.push_back(each);
        return all;
    }
    V_TextLocT at(std::size_t place) const
    {
        auto offset = static_cast<IntT>(place);
        for (UIntT each : paragraphs()) {
            const IntT size = model.characters().count(model.at(each).text);
            if (offset <= size)
                return {each, offset};
            offset -= size + 1;
        }
        return {};
    }
    std::size_t place(const V_TextLocT &of) const
    {
        std::size_t before = 0;
        for (UIntT each : paragraphs()) {
            if (each == of.objId)
                return before + static_cast<std::size_t>(of.offset);
            before += static_cast<std::size_t>(model.characters().count(model.at(each).text)) + 1;
        }
        return 999'999;
    }
    V_TextRangeT any_range()
    {
        const auto [beg, end] = std::minmax({any(flat.size() + 1), any(flat.size() + 1)});
        return {at(beg), at(end)};
    }
    void fill(const std::string &text)
    {
        const V_TextLocT begin = at(0);
        V_ApiAddText(doc, &begin, text.c_str());
        flat = split(text);
    }
};
INSTANTIATE_TEST_SUITE_P(Languages, Texts,
                         testing::Values(V_language_usenglish, V_language_japanese));

TEST_P(Texts, EditsKeepEverythingRight)
{
    // Marks of the selection, of a place, of a range; then of anchored objects.
    const UIntT object = V_ApiNewNamedObject(doc, 77, "");
    std::vector<std::size_t> marks(5);
    std::map<UIntT, std::size_t> anchored;
    std::multiset<std::size_t> clipped; // the places of objects in what the clipboard holds
    const auto write_marks = [&](const V_TextRangeT &range) {
        V_ApiSetTextRange(doc, object, marked_range, &range);
        V_ApiSetTextLoc(doc, object, marked_place, &range.end);
    };
    write_marks({at(0), at(0)});
    const auto edit = [&](std::size_t beg, std::size_t end, std::vector<Character> text) {
        const auto iterator = [&](std::size_t i) {
            return flat.begin() + static_cast<std::ptrdiff_t>(i);
        };
        const auto move = [&](std::size_t &mark) {
            mark = mark > end ? mark - end + beg + text.size() : std::min(mark, beg);
        };
        std::erase_if(anchored,
                      [&](auto &each) { return beg <= each.second && each.second < end; });
        std::ranges::for_each(marks, move);
        for (auto &[id, mark] : anchored)
            move(mark);
        flat.erase(iterator(beg), iterator(end));
        flat.insert(iterator(beg), text.begin(), text.end());
    };
    const auto style_for = [&](std::size_t beg) {
        const auto of = [&](std::size_t i) {
            return i < flat.size() && flat[i].bytes != "\n" ? std::optional(flat[i].style)
                                                            : std::nullopt;
        };
        return (beg > 0 ? of(beg - 1) : std::nullopt).value_or(of(beg).value_or(0));
    };
    for (int step = 0; step < 1500; step++) {
        V_TextRangeT range = any_range();
        std::size_t beg = place(range.beg), end = place(range.end);
        const std::string text = any_text(flat.size() > 80 ? 2 : 9);
        switch (any(10)) {
        case 0:
        case 1:
            range.end = range.beg;
            EXPECT_EQ(place(V_ApiAddText(doc, &range.beg, text.c_str())), beg + split(text).size());
            edit(beg, beg, split(text, style_for(beg)));
            break;
        case 2:
            EXPECT_CALL(ok, 0, V_ApiDeleteText(doc, &range));
            edit(beg, end, {});
            break;
        case 3:
            EXPECT_CALL(ok, 0, V_ApiReplaceText(doc, &range, text.c_str()));
            edit(beg, end, split(text, style_for(beg)));
            break;
        case 4:
            write_marks(range);
            marks[2] = marks[4] = end;
            marks[3] = beg;
            break;
        case 5: {
            const V_TypedValT number = integer(static_cast<IntT>(any(3)) + 1);
            V_ApiSetTextVal(doc, &range, style, &number);
            for (std::size_t i = beg; i < end; i++)
                if (flat[i].bytes != "\n")
                    flat[i].style = number.u.intVal;
            break;
        }
        case 6:
            anchored[V_ApiNewAnchoredObject(doc, 78, &range.beg)] = beg;
            break;
        case 7:
            EXPECT_CALL(ok, 0, V_ApiScrollToText(doc, &range));
            marks[0] = beg;
            marks[1] = end;
            if (beg == end)
                break;
            clipboard.assign(flat.begin() + static_cast<std::ptrdiff_t>(beg),
                             flat.begin() + static_cast<std::ptrdiff_t>(end));
            clipped.clear();
            for (const auto &[id, where] : anchored)
                if (beg <= where && where < end)
                    clipped.insert(where - beg);
            if (any(2)) {
                EXPECT_CALL(ok, 0, V_ApiCopy(doc, 0));
            } else {
                EXPECT_CALL(ok, 0, V_ApiCut(doc, 0));
                edit(beg, end, {});
            }
            break;
        case 8: {
            std::multiset<std::size_t> pasted;
            if (clipboard.empty() || flat.size() > 200)
                break;
            beg = marks[0];
            EXPECT_CALL(ok, 0, V_ApiPaste(doc, 0));
            edit(beg, marks[1], clipboard);
            marks[0] = marks[1] = beg + clipboard.size();
            for (const TextItem &each : model.text_items(doc, doc, V_select_anchor))
                if (const auto id = static_cast<UIntT>(each.value); !anchored.contains(id)) {
                    const auto copied =
                        clipped.extract(static_cast<std::size_t>(each.offset) - beg);
                    ASSERT_FALSE(copied.empty()) << step;
                    anchored[id] = beg + copied.value();
                    pasted.insert(copied.value());
                }
            ASSERT_TRUE(clipped.empty()) << step;
            clipped.swap(pasted);
            break;
        }
        case 9: {
            auto order = paragraphs();
            const std::size_t from = any(order.size()), to = any(order.size());
            if (from == to)
                break;
            std::vector<V_TextLocT> places;
            for (std::size_t mark : marks)
                places.push_back(at(mark));
            std::map<UIntT, V_TextLocT> anchors;
            for (const auto &[id, mark] : anchored)
                anchors[id] = at(mark);
            std::vector<std::vector<Character>> lines(1);
            for (const Character &each : flat)
                each.bytes == "\n" ? (void)lines.emplace_back() : lines.back().push_back(each);
            V_ApiSetId(doc, order[from], V_prop_next_paragraph, order[to]);
            const auto line = lines[from];
            lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(from));
            lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(to - (from < to)), line);
            flat.clear();
            for (const auto &each : lines) {
                flat.insert(flat.end(), each.begin(), each.end());
                flat.push_back({"\n", 0});
            }
            flat.pop_back();
            for (std::size_t i = 0; i < marks.size(); i++)
                marks[i] = place(places[i]);
            for (const auto &[id, mark] : anchors)
                anchored[id] = place(mark);
            if (marks[1] < marks[0])
                std::swap(marks[0], marks[1]);
            if (marks[4] < marks[3])
                std::swap(marks[3], marks[4]);
            break;
        }
        }
        std::vector<Character> now;
        for (UIntT each : paragraphs()) {
            if (!now.empty() || each != paragraphs().front())
                now.push_back({"\n", 0});
            for (Character &one : split(model.at(each).text)) {
                now.push_back(one);
                const V_TextLocT here{each, at(now.size() - 1).offset};
                now.back().style = V_ApiGetTextVal(doc, &here, style).u.intVal;
            }
        }
        ASSERT_EQ(now, flat) << step;
        std::vector<std::size_t> found{place(model.selection(doc).beg),
                                       place(model.selection(doc).end)};
        const auto [from, to] = V_ApiGetTextRange(doc, object, marked_range);
        for (const V_TextLocT &each : {V_ApiGetTextLoc(doc, object, marked_place), from, to})
            found.push_back(place(each));
        ASSERT_EQ(found, marks) << step;
        std::map<UIntT, std::size_t> objects;
        TextItemsT items = V_ApiGetText(doc, doc, V_select_anchor);
        for (UIntT i = 0; i < items.len; i++) {
            const auto id = static_cast<UIntT>(items.val[i].u.value);
            objects[id] = place(V_ApiGetTextLoc(doc, id, V_prop_anchor));
            EXPECT_EQ(objects[id], static_cast<std::size_t>(items.val[i].offset));
        }
        V_ApiDeallocateTextItems(&items);
        ASSERT_EQ(objects, anchored) << step;
    }
    EXPECT_TRUE(model.changed(doc));
}

TEST_P(Texts, FindsWhatANaiveSearchFinds)
{
    const auto same = [](const Character &a, const Character &b, bool match_case) {
        // Only the letters of the alphabet above have case.
        return a.bytes == b.bytes || (!match_case && a.bytes.size() == 1 && a.bytes < "\x80" &&
                                      V_StrIEqual(a.bytes.c_str(), b.bytes.c_str()));
    };
    const auto of_word = [&](std::size_t i) {
        return i < flat.size() && flat[i].bytes != " " && flat[i].bytes != "\n";
    };
    for (int step = 0; step < 400; step++) {
        doc = model.create_document("");
        fill(any_text(40));
        const UIntT flow = V_ApiNewNamedObject(doc, V_type_flow, "");
        const std::string more = any_text(10);
        const V_TextLocT there{V_ApiGetId(doc, flow, V_prop_first_paragraph), 0};
        V_ApiAddText(doc, &there, more.c_str());
        flat.push_back({"\n", 0});
        for (const Character &each : split(more))
            flat.push_back(each);
        const std::string text = any_text(3);
        const auto wanted = split(text);
        const std::size_t from = any(flat.size() + 1);
        const V_TextLocT start = at(from);
        for (IntT bits = 0; bits < 16; bits++) {
            const bool backwards = bits & 1, match_case = bits & 2, whole_words = bits & 4;
            const bool wrap = bits & 8;
            std::vector<V_PropValT> options{property_of(V_find_text, string(text.c_str())),
                                            property_of(V_find_backwards, integer(bits & 1)),
                                            property_of(V_find_case, integer(bits & 2)),
                                            property_of(V_find_whole_words, integer(bits & 4)),
                                            property_of(V_find_wrap, integer(bits & 8))};
            const V_PropValsT list = list_of(options);
            std::vector<std::size_t> all;
            for (std::size_t i = 0; i + wanted.size() <= flat.size(); i++) {
                bool fits = !wanted.empty() && text.find('\n') == text.npos;
                for (std::size_t k = 0; fits && k < wanted.size(); k++)
                    fits = same(flat[i + k], wanted[k], match_case);
                if (fits && whole_words)
                    fits = !of_word(i - 1) && !of_word(i + wanted.size());
                if (fits)
                    all.push_back(i);
            }
            IntT expected = wanted.empty() ? bad_value : not_found;
            if (backwards)
                std::ranges::reverse(all);
            auto first = std::ranges::find_if(all, [&](std::size_t i) {
                return backwards ? i + wanted.size() <= from : i >= from;
            });
            if (first == all.end() && wrap)
                first = all.begin();
            if (first != all.end())
                expected = static_cast<IntT>(*first);
            VA_errno = 0;
            const std::size_t found = place(V_ApiFind(doc, &start, &list).beg);
            ASSERT_EQ(VA_errno < 0 ? VA_errno : static_cast<IntT>(found), expected)
                << step << ' ' << bits;
        }
    }
}

// An object that is anchored keeps its place; what is selected stays in order.
TEST_P(Texts, PlacesOutliveTheirParagraphs)
{
    fill("ab\nc");
    const UIntT first = paragraphs()[0], second = paragraphs()[1];
    const V_TextLocT begin{first, 0}, end{second, 1};
    const V_TextRangeT all{begin, end};
    const UIntT object = V_ApiNewAnchoredFormattedObject(doc, 77, "Box", &end);
    EXPECT_STREQ(model.get(doc, object, PropertyKey("Format")).get().u.stringVal, "Box");
    V_ApiSetTextLoc(doc, object, marked_place, &end);
    V_ApiCenterOnText(doc, &all);
    V_ApiSetId(doc, first, V_prop_previous_paragraph, second);
    EXPECT_CALL(ok, (V_TextRangeT{end, begin}), V_ApiGetTextRange(0, doc, V_prop_selection));
    V_ApiSetId(doc, first, V_prop_next_paragraph, second);
    EXPECT_CALL(ok, 0, V_ApiDelete(doc, second));
    EXPECT_CALL(ok, (V_TextRangeT{begin, {first, 2}}), V_ApiGetTextRange(0, doc, V_prop_selection));
    EXPECT_CALL(no_such_object, 0, V_ApiObjectValid(doc, object));
    const UIntT flow = V_ApiNewNamedObject(doc, V_type_flow, "");
    const V_TextLocT elsewhere{V_ApiGetId(doc, flow, V_prop_first_paragraph), 0};
    EXPECT_CALL(ok, 0, V_ApiDelete(doc, V_ApiGetId(0, doc, V_prop_first_flow)));
    EXPECT_CALL(ok, (V_TextRangeT{elsewhere, elsewhere}),
                V_ApiGetTextRange(0, doc, V_prop_selection));
}

std::string shown(TextItemsT items)
{
    std::ostringstream out;
    for (UIntT i = 0; i < items.len; i++) {
        const TextItemT &item = items.val[i];
        out << item.offset << ':' << item.dataType << '=';
        item.dataType == V_item_string ? out << item.u.text : out << item.u.value;
        out << ' ';
    }
    V_ApiDeallocateTextItems(&items);
    return out.str();
}

TEST_P(Texts, ItemsPropertiesAndClipboard)
{
    fill("a b\n\nc");
    const auto ids = paragraphs();
    const auto id = [](UIntT number) { return std::to_string(number); };
    const UIntT flow = V_ApiGetId(0, doc, V_prop_first_flow);
    const V_TextLocT begin{ids[0], 0}, inside{ids[0], 2}, last{ids[2], 0}, end{ids[2], 1};
    const V_TextRangeT space{{ids[0], 1}, inside}, middle{{ids[0], 1}, last}, c{last, end};
    const UIntT object = V_ApiNewAnchoredObject(doc, 77, &inside);

    const V_TypedValT one = integer(1);
    const V_PropValT bold = property_of(style, one), named = {{0, str("n")}, string("x")};
    std::vector<V_PropValT> both{named, bold};
    const V_PropValsT list = list_of(both);
    EXPECT_STATUS(ok, V_ApiSetTextVal(doc, &space, style, &one));
    EXPECT_CALL(ok, one, V_ApiGetTextVal(doc, &space.beg, style));
    EXPECT_STATUS(ok, V_ApiSetTextPropVal(doc, &space, &named));
    EXPECT_CALL(ok, bold, V_ApiGetTextPropVal(doc, &space.beg, style));
    EXPECT_STATUS(ok, V_ApiSetTextProps(doc, &space, &list));
    EXPECT_CALL(ok, list, V_ApiGetTextProps(doc, &space.beg));
    EXPECT_CALL(ok, V_PropValsT{}, V_ApiGetTextProps(doc, &begin));
    EXPECT_STATUS(no_such_property, V_ApiGetTextVal(doc, &begin, style));
    EXPECT_STATUS(wrong_kind, V_ApiSetTextVal(doc, &space, style, &named.propVal));

    EXPECT_CALL(ok, "0:1=a b 5:1=c ", shown(V_ApiGetText(doc, doc, V_select_string)));
    EXPECT_CALL(ok, "0:1=a 1:7=2 1:1=  2:7=0 2:6=" + id(object) + " 2:1=b ",
                shown(V_ApiGetText2(doc, ids[0], V_select_string | V_select_anchor,
                                    V_select_properties_change)));
    EXPECT_CALL(ok,
                "3:3=" + id(ids[0]) + " 4:3=" + id(ids[1]) + " 6:3=" + id(ids[2]) +
                    " 7:5=" + id(flow) + " ",
                shown(V_ApiGetText2(doc, flow, V_select_paragraph_end, V_select_flow_end)));
    EXPECT_CALL(ok, "0:1= b ", shown(V_ApiGetTextForRange(doc, &middle, V_select_string)));
    EXPECT_CALL(ok,
                "2:3=" + id(ids[0]) + " 3:2=" + id(ids[1]) + " 3:3=" + id(ids[1]) +
                    " 4:2=" + id(ids[2]) + " ",
                shown(V_ApiGetTextForRange2(doc, &middle, V_select_paragraph_begin,
                                            V_select_paragraph_end)));
    EXPECT_CALL(ok, "", shown(V_ApiGetText(doc, ids[0], 0)));
    EXPECT_CALL(wrong_kind, "", shown(V_ApiGetText(doc, object, V_select_string)));

    const auto text = [&] { return shown(V_ApiGetText(doc, doc, V_select_string)); };
    EXPECT_CALL(ok, 0, V_ApiCenterOnGraphicObject(doc, object));
    EXPECT_CALL(ok, (V_TextRangeT{inside, inside}), V_ApiGetTextRange(0, doc, V_prop_selection));
    EXPECT_CALL(ok, 0, V_ApiCenterOnText(doc, &space));
    EXPECT_CALL(ok, space, V_ApiGetTextRange(0, doc, V_prop_selection));
    EXPECT_CALL(ok, 0, V_ApiCopy(doc, 0));
    EXPECT_CALL(ok, "", V_ApiPushClipboard());
    EXPECT_CALL(ok, 0, V_ApiScrollToText(doc, &c));
    EXPECT_CALL(ok, 0, V_ApiCut(doc, 0));
    EXPECT_CALL(nothing_selected, nothing_selected, V_ApiCut(doc, 0));
    EXPECT_CALL(ok, "0:1=a b ", text());
    EXPECT_CALL(ok, 0, V_ApiPaste(doc, 0));
    EXPECT_CALL(ok, 0, V_ApiPopClipboard());
    EXPECT_CALL(nothing_selected, nothing_selected, V_ApiPopClipboard());
    EXPECT_CALL(ok, 0, V_ApiPaste(doc, 0));
    EXPECT_CALL(ok, "0:1=a b 5:1=c  ", text());
    EXPECT_CALL(ok, list, V_ApiGetTextProps(doc, &end));
    EXPECT_CALL(ok, 0, V_ApiScrollToText(doc, &middle));
    EXPECT_CALL(ok, 0, V_ApiClear(doc, 0));
    EXPECT_CALL(ok, "0:1=ac  ", text());
}

TEST_P(Texts, PastedParagraphsAreAsTheyWere)
{
    const PropertyKey tag(property::tag);
    // Returns the paragraphs, each with its tag, its text with a ^ for an object, and its contents.
    const auto shown = [&] {
        std::string all;
        for (UIntT each : paragraphs()) {
            const Object &paragraph = model.at(each);
            std::string text = paragraph.text;
            for (const texts::Anchor &anchor : texts::anchors(paragraph)) {
                text.insert(static_cast<std::size_t>(anchor.offset), "^");
                EXPECT_EQ(model.at(anchor.object).contents.size(), 1U);
                EXPECT_EQ(model.get(doc, anchor.object, PropertyKey(marked_place)).get().u.intVal,
                          7);
            }
            all += model.get(doc, each, tag).get().u.stringVal + (":" + text) +
                   std::string(paragraph.contents.size(), '+') + " ";
        }
        return all;
    };
    const struct {
        std::size_t beg, end;
        bool cut;
        std::size_t to;
        const char *expected;
    } cases[] = {
        {3, 6, false, 6, ":ab T:c^d+ T:c^d+ :ef "}, {3, 6, false, 7, ":ab T:c^d+ :ec^d :f "},
        {3, 5, false, 0, ":c^dab T:c^d+ :ef "},     {1, 7, true, 2, ":afb T:c^d+ :e "},
        {3, 6, true, 0, "T:c^d+ :ab T:ef+ "},       {4, 5, true, 1, ":a^db T:c+ :ef "},
    };
    for (const auto &[beg, end, cut, to, expected] : cases) {
        doc = model.create_document("");
        fill("ab\ncd\nef");
        const UIntT whole = paragraphs()[1];
        const UIntT object = model.create_anchored(doc, 77, {whole, 1});
        model.set(doc, object, PropertyKey(marked_place), Value::integer(7).get());
        model.create_in(doc, 78, object);
        model.create_in(doc, 79, whole);
        model.set(doc, whole, tag, Value::string("T").get());
        ASSERT_EQ(shown(), ":ab T:c^d+ :ef ");
        model.select_text(doc, {at(beg), at(end)});
        cut ? model.cut(doc) : model.copy(doc);
        model.select_text(doc, {at(to), at(to)});
        model.paste(doc);
        EXPECT_EQ(shown(), expected);
    }
}

TEST_P(Texts, ChangesOfTextAreToldWhoeverMakesThem)
{
    fill("a\nb\nc");
    const auto ids = paragraphs();
    const UIntT flow = model.at(doc).first;
    const auto told = [&] {
        const auto change = model.take_change();
        EXPECT_FALSE(model.take_change());
        return change ? change->paragraph : 0;
    };
    EXPECT_EQ(told(), 0U); // after the call of a client it has been told
    const V_TextLocT place{ids[1], 1};
    model.add_text(doc, place, "");
    model.select_text(doc, {place, place});
    model.set_text_properties(doc, {{ids[1], 0}, place}, {{PropertyKey(style), Value::integer(1)}});
    EXPECT_EQ(told(), 0U);
    model.add_text(doc, place, "x\ny");
    EXPECT_EQ(told(), ids[1]);
    const UIntT made = model.create_after(doc, object_type::paragraph, ids[1]);
    EXPECT_EQ(told(), made);
    model.remove(doc, made);
    EXPECT_EQ(told(), ids[1]);
    model.set(doc, ids[2], PropertyKey(property::next_paragraph), Value::id(ids[0]).get());
    EXPECT_EQ(told(), ids[2]);
    model.set(doc, flow, PropertyKey(property::first_paragraph), Value::id(ids[0]).get());
    EXPECT_EQ(told(), ids[0]);
    const UIntT other = model.create_in(doc, object_type::flow, doc);
    EXPECT_EQ(told(), model.at(other).first);
    model.remove(doc, other);
    EXPECT_EQ(told(), model.at(flow).last);
    model.add_text(doc, place, "z");
    model.close_document(doc);
    EXPECT_EQ(told(), 0U);
}

} // namespace
} // namespace velt::host
