// The text of documents beside a model of it that is one string with marks.

#include "api/samples.h"

#include <random>

#include "apilib/wire/memory.h"
#include "host/answers/answers.h"
#include "velt/vde/strings.h"

namespace velt::host
{
namespace
{

Value location(const V_TextLocT &place)
{
    V_TypedValT value{kind::text_location, {}};
    value.u.textLocVal = place;
    return Value(value);
}

const PropertyKey mark_key(500), range_key(501), style(502);

// A character, or "\n" for the end of a paragraph, and the value of its property, 0 for none.
struct Character {
    std::string bytes;
    IntT style;
    bool operator==(const Character &) const = default;
};

class Texts : public testing::TestWithParam<IntT>
{
protected:
    Model model;
    UIntT doc = 0;
    std::mt19937 random{1};
    std::vector<Character> flat;
    std::vector<Character> clipboard;

    Texts()
    {
        model.set_language(GetParam());
        doc = model.create_document("");
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
        model.add_text(doc, at(0), text);
        flat = split(text);
    }
};
INSTANTIATE_TEST_SUITE_P(Languages, Texts,
                         testing::Values(V_language_usenglish, V_language_japanese));

TEST_P(Texts, EditsKeepEverythingRight)
{
    // Marks of the selection, of a place, of a range; then of anchored objects.
    const UIntT object = model.create(doc, 77, "");
    std::vector<std::size_t> marks(5);
    std::map<UIntT, std::size_t> anchored;
    std::multiset<std::size_t> clipped; // the places of objects in what the clipboard holds
    const auto write_marks = [&](const V_TextRangeT &range) {
        V_TypedValT value{kind::text_range, {}};
        value.u.textRangeVal = range;
        model.set(doc, object, range_key, value);
        model.set(doc, object, mark_key, location(range.end).get());
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
            EXPECT_EQ(place(model.add_text(doc, range.beg, text)), beg + split(text).size());
            edit(beg, beg, split(text, style_for(beg)));
            break;
        case 2:
            model.remove_text(doc, range);
            edit(beg, end, {});
            break;
        case 3: {
            const auto changed = split(text, style_for(beg));
            EXPECT_EQ(place(model.replace_text(doc, range, text)), beg + changed.size());
            edit(beg, end, changed);
            break;
        }
        case 4: {
            write_marks(range);
            marks[2] = marks[4] = end;
            marks[3] = beg;
            break;
        }
        case 5: {
            const IntT number = static_cast<IntT>(any(3)) + 1;
            model.set_text_properties(doc, range, {{style, Value::integer(number)}});
            for (std::size_t i = beg; i < end; i++)
                if (flat[i].bytes != "\n")
                    flat[i].style = number;
            break;
        }
        case 6:
            anchored[model.create_anchored(doc, 78, range.beg)] = beg;
            break;
        case 7:
            model.select_text(doc, range);
            marks[0] = beg;
            marks[1] = end;
            if (beg == end)
                break;
            clipboard.assign(flat.begin() + static_cast<std::ptrdiff_t>(beg),
                             flat.begin() + static_cast<std::ptrdiff_t>(end));
            clipped.clear();
            for (const auto &[id, mark] : anchored)
                if (beg <= mark && mark < end)
                    clipped.insert(mark - beg);
            any(2) ? model.copy(doc) : (edit(beg, end, {}), (void)model.cut(doc));
            break;
        case 8: {
            std::multiset<std::size_t> pasted;
            if (clipboard.empty() || flat.size() > 200)
                break;
            beg = marks[0];
            model.paste(doc);
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
            model.set(doc, order[from], PropertyKey(property::next_paragraph),
                      Value::id(order[to]).get());
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
                const Properties all = model.text_properties(doc, here);
                now.back().style = all.empty() ? 0 : all.at(style).get().u.intVal;
            }
        }
        ASSERT_EQ(now, flat) << step;
        std::vector<std::size_t> found{place(model.selection(doc).beg),
                                       place(model.selection(doc).end)};
        found.push_back(place(model.get(doc, object, mark_key).get().u.textLocVal));
        found.push_back(place(model.get(doc, object, range_key).get().u.textRangeVal.beg));
        found.push_back(place(model.get(doc, object, range_key).get().u.textRangeVal.end));
        ASSERT_EQ(found, marks) << step;
        std::map<UIntT, std::size_t> objects;
        for (const TextItem &each : model.text_items(doc, doc, V_select_anchor)) {
            const auto id = static_cast<UIntT>(each.value);
            objects[id] =
                place(model.get(doc, id, PropertyKey(property::anchor)).get().u.textLocVal);
            EXPECT_EQ(objects[id], static_cast<std::size_t>(each.offset));
        }
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
    const auto outcome = [&](const V_TextLocT &from, const FindOptions &options) -> IntT {
        try {
            return static_cast<IntT>(place(model.find_text(doc, from, options).beg));
        } catch (const StatusError &error) {
            return error.status();
        }
    };
    for (int step = 0; step < 400; step++) {
        doc = model.create_document("");
        fill(any_text(40));
        const UIntT flow = model.create(doc, object_type::flow, "");
        const std::string more = any_text(10);
        model.add_text(doc, {model.at(flow).first, 0}, more);
        flat.push_back({"\n", 0});
        for (const Character &each : split(more))
            flat.push_back(each);
        FindOptions options{.text = any_text(3)};
        const auto wanted = split(options.text);
        const std::size_t from = any(flat.size() + 1);
        for (unsigned bits = 0; bits < 16; bits++) {
            options.backwards = bits & 1;
            options.match_case = bits & 2;
            options.whole_words = bits & 4;
            options.wrap = bits & 8;
            std::vector<std::size_t> all;
            for (std::size_t i = 0; i + wanted.size() <= flat.size(); i++) {
                bool fits = !wanted.empty() && options.text.find('\n') == options.text.npos;
                for (std::size_t k = 0; fits && k < wanted.size(); k++)
                    fits = same(flat[i + k], wanted[k], options.match_case);
                if (fits && options.whole_words)
                    fits = !of_word(i - 1) && !of_word(i + wanted.size());
                if (fits)
                    all.push_back(i);
            }
            IntT expected = wanted.empty() ? bad_value : not_found;
            if (options.backwards)
                std::ranges::reverse(all);
            auto first = std::ranges::find_if(all, [&](std::size_t i) {
                return options.backwards ? i + wanted.size() <= from : i >= from;
            });
            if (first == all.end() && options.wrap)
                first = all.begin();
            if (first != all.end())
                expected = static_cast<IntT>(*first);
            ASSERT_EQ(outcome(at(from), options), expected) << step << ' ' << bits;
        }
    }
}

TEST_P(Texts, RefusalsChangeNothing)
{
    fill("ab\nc");
    const UIntT first = paragraphs()[0], second = paragraphs()[1];
    const UIntT flow = model.create(doc, object_type::flow, "other");
    const UIntT foreign = model.at(model.at(model.create_document("")).first).first;
    const UIntT book = model.create(0, object_type::book, "Book");
    const V_TextLocT good{first, 0};
    const V_TextRangeT all{good, {second, 1}};
    model.set_text_properties(doc, all, {{style, Value::integer(1)}});
    model.set_changed(doc, false);
    const auto refused = [&](IntT status, auto action) {
        try {
            action();
            ADD_FAILURE() << "not refused with " << status;
        } catch (const StatusError &error) {
            EXPECT_EQ(error.status(), status);
        }
    };
    for (const V_TextLocT wrong : {V_TextLocT{first, -1},
                                   {first, 3},
                                   {second, INT32_MAX},
                                   {foreign, 0},
                                   {flow, 0},
                                   {0, 0},
                                   {4711, 0},
                                   {doc, 0}}) {
        refused(no_such_place, [&] { model.add_text(doc, wrong, "x"); });
        refused(no_such_place, [&] { model.remove_text(doc, {good, wrong}); });
        refused(no_such_place, [&] { model.select_text(doc, {wrong, wrong}); });
        refused(no_such_place, [&] { model.create_anchored(doc, 77, wrong); });
        refused(no_such_place, [&] { model.find_text(doc, wrong, {.text = "c"}); });
    }
    const V_TextLocT elsewhere{model.at(flow).first, 0};
    for (const V_TextRangeT wrong : {V_TextRangeT{{first, 1}, good},
                                     {{second, 0}, {first, 2}},
                                     {good, elsewhere},
                                     {elsewhere, good}})
        refused(no_such_place, [&] { model.replace_text(doc, wrong, "x"); });
    refused(wrong_kind, [&] { model.add_text(book, good, "x"); });
    refused(no_such_document, [&] { model.add_text(0, good, "x"); });
    refused(wrong_kind, [&] { model.create_anchored(doc, object_type::paragraph, good); });
    refused(wrong_kind, [&] {
        model.set_text_properties(doc, all, {{style, Value::string("x")}});
    });
    refused(nothing_selected, [&] { model.cut(doc); });
    refused(nothing_selected, [&] { model.paste(doc); });
    refused(nothing_selected, [&] { model.pop_clipboard(); });
    refused(not_permitted, [&] { model.remove(0, doc); });
    refused(not_permitted, [&] { model.remove(doc, elsewhere.objId); });
    if (GetParam() == V_language_japanese)
        refused(bad_value, [&] { model.add_text(doc, good, "x\x83"); });
    EXPECT_FALSE(model.changed(doc));
    EXPECT_EQ(model.at(first).text, "ab");

    // An object that is anchored keeps its place; only the host writes it.
    const UIntT object = model.create_anchored(doc, 77, {second, 1}, "Box");
    const PropertyKey anchor(property::anchor);
    EXPECT_STREQ(model.get(doc, object, PropertyKey("Format")).get().u.stringVal, "Box");
    refused(not_permitted, [&] { model.set(doc, object, anchor, location(good).get()); });
    model.set(doc, object, mark_key, location({second, 1}).get());
    model.select_text(doc, all);
    model.remove(doc, second);
    EXPECT_EQ(tell(model.selection(doc)), tell(V_TextRangeT{good, {first, 2}}));
    refused(no_such_object, [&] { model.object(doc, object); });
    const UIntT active = model.create_document("");
    model.activate_document(active);
    const UIntT component = model.create(book, object_type::component, "c");
    model.attach(component, active);
    model.close_document(active);
    EXPECT_EQ(model.active_document(), 0u);
    EXPECT_EQ(model.get(book, component, PropertyKey(property::document)).get().u.intVal, 0);
    model.remove(doc, model.at(doc).first);
    EXPECT_EQ(tell(model.selection(doc)), tell(V_TextRangeT{elsewhere, elsewhere}));
}

struct NobodyThere : Console {
    Reply ask(const Question &) override { return {}; }
    void report(const std::string &) override {}
};

TEST_P(Texts, AnswersGiveItemsAndReadOptions)
{
    fill("a b\n\nc");
    NobodyThere console;
    Documents documents(model);
    ModelResponder responder({model, documents});
    Host host({}, responder, console);
    Client client;
    Context context{{model, documents}, host, client};
    const auto ids = paragraphs();
    const UIntT object = model.create_anchored(doc, 77, {ids[0], 2});
    model.set_text_properties(doc, {{ids[0], 1}, {ids[0], 2}}, {{style, Value::integer(1)}});

    const auto items = [&](UIntT of, UIntT selector, UIntT second) {
        ApiVqGetTextRetT result{};
        Answer<api_vq_get_text2_1>::answer(context, {doc, of, selector, second}, result);
        std::ostringstream told;
        for (UIntT i = 0; i < result.items.len; i++) {
            const TextItemT &item = result.items.val[i];
            told << item.offset << ':' << item.dataType << '=';
            item.dataType == V_item_string ? told << item.u.text : told << item.u.value;
            told << ' ';
        }
        velt::release(result);
        return result.status == ok ? told.str() : std::to_string(result.status);
    };
    const auto id = [](UIntT number) { return std::to_string(number); };
    EXPECT_EQ(items(doc, V_select_string, 0), "0:1=a b 5:1=c ");
    EXPECT_EQ(items(ids[0], V_select_string | V_select_anchor, V_select_properties_change),
              "0:1=a 1:7=1 1:1=  2:7=0 2:6=" + id(object) + " 2:1=b ");
    EXPECT_EQ(items(model.at(doc).first, V_select_paragraph_end, V_select_flow_end),
              "3:3=" + id(ids[0]) + " 4:3=" + id(ids[1]) + " 6:3=" + id(ids[2]) +
                  " 7:5=" + id(model.at(doc).first) + " ");
    EXPECT_EQ(items(ids[0], 0, 0), "");
    EXPECT_EQ(items(object, V_select_string, 0), std::to_string(wrong_kind));

    V_PropValT options[] = {{{V_find_text, nullptr}, {kind::string, {}}},
                            {{V_find_backwards, nullptr}, {kind::integer, {}}}};
    options[0].propVal.u.stringVal = str("C");
    options[1].propVal.u.intVal = 1;
    const auto find = [&] {
        ApiVqFindRetT result{};
        Answer<api_vq_find_1>::answer(context, {doc, {ids[2], 1}, {2, options}}, result);
        return result.status == ok ? static_cast<IntT>(result.textRange.end.objId) : result.status;
    };
    EXPECT_EQ(find(), static_cast<IntT>(ids[2]));
    options[1].propIdent.num = V_find_case;
    EXPECT_EQ(find(), not_found);
    options[1].propVal.valType = kind::id;
    EXPECT_EQ(find(), wrong_kind);
    options[1].propIdent.num = 4711;
    EXPECT_EQ(find(), no_such_property);

    IntT centred = 1;
    Answer<api_vq_center_on_graphic_object_1>::answer(context, {doc, object}, centred);
    EXPECT_EQ(centred, ok);
    EXPECT_EQ(tell(model.selection(doc)), tell(V_TextRangeT{{ids[0], 2}, {ids[0], 2}}));
}

TEST_P(Texts, PastedParagraphsAreAsTheyWere)
{
    const PropertyKey tag(property::tag);
    // Returns the paragraphs, each with its tag, its text with a ^ for an object, and what is in
    // it.
    const auto shown = [&] {
        std::string all;
        for (UIntT each : paragraphs()) {
            const Object &paragraph = model.at(each);
            std::string text = paragraph.text;
            for (const texts::Anchor &anchor : texts::anchors(paragraph)) {
                text.insert(static_cast<std::size_t>(anchor.offset), "^");
                EXPECT_EQ(model.at(anchor.object).contents.size(), 1U);
                EXPECT_EQ(model.get(doc, anchor.object, mark_key).get().u.intVal, 7);
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
        model.set(doc, object, mark_key, Value::integer(7).get());
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
    EXPECT_EQ(told(), ids[0]);
    const V_TextLocT place{ids[1], 1};
    model.add_text(doc, place, "");
    model.select_text(doc, {place, place});
    model.set_text_properties(doc, {{ids[1], 0}, place}, {{style, Value::integer(1)}});
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
