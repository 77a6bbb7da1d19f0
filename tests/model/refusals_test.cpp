// Bad arguments crossed with the calls that take them: each is refused, and changes nothing.

#include "host/files/book.h"
#include "host/files/document.h"
#include "support/host_in_process.h"

namespace velt::host
{
namespace
{

constexpr IntT style_number = 502, many = 100'000;
constexpr UIntT nobody = 4711;
const V_TypedValT one = integer(1);
V_PropValT property = property_of(style_number, one);
const V_PropValsT properties{1, &property}, none{};
V_PropValT c = property_of(V_find_text, string("c"));
const V_PropValsT find_c{1, &c};

// A call by its text.
struct Row {
    std::string name;
    std::function<void()> call;
};
#define ROW(...)                                                                                   \
    {                                                                                              \
#__VA_ARGS__, [&] { outcome([&] { return __VA_ARGS__; }); }                                \
    }

class Refusals : public HostInProcess, public testing::WithParamInterface<IntT>
{
protected:
    const UIntT book = V_ApiNewNamedObject(0, V_type_book, "Book");
    const UIntT component = V_ApiNewNamedObject(book, V_type_component, "Component");
    UIntT doc, other, flow, first, second, foreign, object;
    V_TextLocT good;
    std::string before;
    V_PropValsT *returned = nullptr;

    Refusals()
    {
        model.set_language(GetParam());
        test::write("in.txt", "x\n");
        for (const auto &[document, paragraph] : {std::pair{&doc, &first}, {&other, &foreign}}) {
            *document = V_ApiCustomDoc(0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
            flow = V_ApiGetId(0, *document, V_prop_first_flow);
            *paragraph = V_ApiGetId(*document, flow, V_prop_first_paragraph);
        }
        good = {first, 0};
        const bool japanese = GetParam() == V_language_japanese;
        V_ApiAddText(doc, &good, japanese ? "\x83\x41\x82\x61\nc" : "ab\nc");
        second = V_ApiGetId(doc, first, V_prop_next_paragraph);
        flow = V_ApiNewNamedObject(doc, V_type_flow, "other");
        object = V_ApiNewNamedObject(doc, 77, "");
        const V_TextRangeT all{good, {second, 1}};
        V_ApiSetTextVal(doc, &all, style_number, &one);
        V_ApiSetInt(doc, object, style_number, 1);
        V_ApiScrollToText(doc, &all);
        V_ApiCopy(doc, 0);
        before = state();
    }
    ~Refusals() override { V_ApiDeallocatePropVals(returned); }
    std::string state()
    {
        // Each byte is one character then, and the files are written faster.
        model.set_language(V_language_usenglish);
        const std::string all = write_book(model, book) + write_document(model, doc) +
                                write_document(model, other) + tell(model.selection(doc));
        model.set_language(GetParam());
        return all;
    }
    // The call must leave one of these statuses, and nothing changed.
    void refused(const std::set<IntT> &statuses, const Row &row, const std::string &with = "")
    {
        model.set_changed(doc, false);
        model.set_changed(other, false);
        VA_errno = ok;
        row.call();
        EXPECT_TRUE(statuses.contains(VA_errno)) << row.name << with << ": " << VA_errno;
        EXPECT_FALSE(model.changed(doc) || model.changed(other)) << row.name << with;
        ASSERT_EQ(state(), before) << row.name << with;
    }
};
INSTANTIATE_TEST_SUITE_P(Languages, Refusals,
                         testing::Values(V_language_usenglish, V_language_japanese));

TEST_P(Refusals, PlacesAndDocuments)
{
    V_PropValT exported = property_of(V_export_range, {V_kind_text_range, {}});
    const V_PropValsT export_range{1, &exported};
    V_TextRangeT &range = exported.propVal.u.textRangeVal;
    const V_TextLocT &at = range.end;
    UIntT in = 0;
    // clang-format off
    const std::vector<Row> of_ranges = {
        ROW(V_ApiDeleteText(in, &range)), ROW(V_ApiReplaceText(in, &range, "x")),
        ROW(V_ApiScrollToText(in, &range)), ROW(V_ApiCenterOnText(in, &range)),
        ROW(V_ApiGetTextForRange(in, &range, V_select_string)),
        ROW(V_ApiGetTextForRange2(in, &range, V_select_string, V_select_anchor)),
        ROW(V_ApiSetTextVal(in, &range, style_number, &one)),
        ROW(V_ApiSetTextPropVal(in, &range, &property)),
        ROW(V_ApiSetTextProps(in, &range, &properties)),
        ROW(V_ApiExport(in, "out.txt", &export_range, &returned))};
    std::vector<Row> rows = {
        ROW(V_ApiAddText(in, &at, "x")), ROW(V_ApiFind(in, &at, &find_c)),
        ROW(V_ApiGetTextVal(in, &at, style_number)), ROW(V_ApiGetTextPropVal(in, &at, style_number)),
        ROW(V_ApiGetTextProps(in, &at)), ROW(V_ApiNewAnchoredObject(in, 77, &at)),
        ROW(V_ApiNewAnchoredFormattedObject(in, 77, "Box", &at)),
        ROW(V_ApiImport(in, &at, "in.txt", &none, &returned))};
    // clang-format on
    rows.insert(rows.end(), of_ranges.begin(), of_ranges.end());
    const std::pair<UIntT, IntT> places[] = {{first, -1},         {first, 3},   {second, INT32_MAX},
                                             {second, INT32_MIN}, {foreign, 0}, {flow, 0},
                                             {object, 0},         {doc, 0},     {nobody, 0}};
    const std::pair<UIntT, IntT> strangers[] = {{0, no_such_document},
                                                {nobody, no_such_document},
                                                {first, no_such_document},
                                                {book, wrong_kind},
                                                {other, no_such_place}};
    for (const Row &row : rows) {
        in = doc;
        for (const auto &[paragraph, offset] : places)
            for (const V_TextLocT from : {V_TextLocT{paragraph, offset}, good}) {
                range = {from, {paragraph, offset}};
                refused({no_such_place}, row, tell(range));
            }
        range = {good, good};
        for (const auto &[document, status] : strangers) {
            in = document;
            refused({status}, row, " in " + std::to_string(in));
        }
    }
    // The end before the beginning, in another flow, or only one of them.
    in = doc;
    const V_TextLocT elsewhere{V_ApiGetId(doc, flow, V_prop_first_paragraph), 0};
    for (const V_TextRangeT wrong : {V_TextRangeT{{first, 1}, good},
                                     {{second, 0}, {first, 2}},
                                     {good, elsewhere},
                                     {elsewhere, good},
                                     {{0, 0}, good},
                                     {good, {0, 0}}}) {
        range = wrong;
        for (const Row &row : of_ranges)
            refused({no_such_place}, row, tell(range));
    }
}

TEST_P(Refusals, ObjectsAndDocuments)
{
    UIntT in = 0, of = 0;
    // clang-format off
    const std::vector<Row> of_text = {
        ROW(V_ApiGetText(in, of, V_select_string)),
        ROW(V_ApiGetText2(in, of, V_select_string, V_select_anchor))};
    const std::vector<Row> rows = {
        ROW(V_ApiGetInt(in, of, style_number)), ROW(V_ApiGetString(in, of, style_number)),
        ROW(V_ApiGetVal(in, of, style_number)), ROW(V_ApiGetPropVal(in, of, style_number)),
        ROW(V_ApiGetProps(in, of)), ROW(V_ApiSetInt(in, of, style_number, 2)),
        ROW(V_ApiSetTextLoc(in, of, 503, &good)), ROW(V_ApiSetVal(in, of, 503, &one)),
        ROW(V_ApiSetPropVal(in, of, &property)), ROW(V_ApiSetProps(in, of, &properties)),
        ROW(V_ApiDeletePropByName(in, of, "n")), ROW(V_ApiObjectValid(in, of)),
        ROW(V_ApiDelete(in, of)), ROW(V_ApiNewSubObject(in, of, 77)),
        ROW(V_ApiNewGraphicObject(in, 77, of)), ROW(V_ApiNewSeriesObject(in, 77, of)),
        ROW(V_ApiGetUniqueObject(in, 77, static_cast<IntT>(of))),
        ROW(V_ApiCenterOnGraphicObject(in, of)), ROW(V_ApiPromptPoint(in, of, 1)),
        ROW(V_ApiPromptRect(in, of, 1))};
    // clang-format on
    const struct {
        UIntT document, id;
        IntT status, status_of_text;
    } strangers[] = {{doc, foreign, no_such_object, no_such_object},
                     {doc, nobody, no_such_object, no_such_object},
                     {doc, component, no_such_object, no_such_object},
                     {book, object, no_such_object, wrong_kind},
                     {0, object, no_such_object, no_such_document},
                     {nobody, object, no_such_document, no_such_document},
                     {first, object, no_such_document, no_such_document}};
    for (const auto &[document, id, status, status_of_text] : strangers) {
        in = document;
        of = id;
        for (const Row &row : rows)
            refused({status}, row, std::to_string(in) + " " + std::to_string(of));
        for (const Row &row : of_text)
            refused({status_of_text}, row, std::to_string(in) + " " + std::to_string(of));
    }
}

TEST_P(Refusals, DocumentsAlone)
{
    UIntT in = 0;
    // clang-format off
    const std::vector<Row> rows = {
        ROW(V_ApiCut(in, 0)), ROW(V_ApiClear(in, 0)), ROW(V_ApiCopy(in, 0)), ROW(V_ApiPaste(in, 0)),
        ROW(V_ApiSave(in, "out", &none, &returned)), ROW(V_ApiExport(in, "out", &none, &returned)),
        ROW(V_ApiClose(in, V_close_losing)), ROW(V_ApiGetNamedObject(in, V_type_flow, "other")),
        ROW(V_ApiNewNamedObject(in, V_type_flow, "new")),
        ROW(V_ApiNewSeriesObject(in, V_type_flow, 0))};
    // clang-format on
    for (const UIntT wrong : {UIntT{0}, book, object, nobody})
        for (const Row &row : rows) {
            in = wrong;
            refused({no_such_document, wrong_kind, no_such_object}, row, std::to_string(in));
        }
    for (const UIntT wrong : {UIntT{0}, nobody})
        EXPECT_CALL(no_such_document, 0, V_ApiCacheDocument(wrong));
    EXPECT_CALL(not_permitted, 0, V_ApiNewNamedObject(0, V_type_document, "made"));
    EXPECT_FALSE(std::filesystem::exists("out"));
}

TEST_P(Refusals, OptionsAndValues)
{
    V_PropValsT options{};
    const V_TextLocT end{second, 1};
    const V_TextRangeT all{good, end};
    const std::pair<IntT, Row> rows[] = {
        // With an option of integers.
        {V_find_case, ROW(V_ApiFind(doc, &good, &options))},
        {V_open_revert, ROW(V_ApiOpen("in.txt", &options, &returned))},
        {V_save_force, ROW(V_ApiSave(doc, "out", &options, &returned))},
        {36, ROW(V_ApiImport(doc, &end, "in.txt", &options, &returned))},
        {V_export_mode, ROW(V_ApiExport(doc, "out", &options, &returned))},
    };
    const UIntT count = GetParam() == V_language_japanese ? 1 : many;
    for (const auto &[known, row] : rows) {
        std::vector<V_PropValT> list(count, property_of(known, one));
        options = list_of(list);
        list.back() = property_of(known, string("1"));
        refused({wrong_kind}, row);
        list.back() = property_of(4711, one);
        refused({no_such_property}, row);
    }
    for (const IntT no_kind : {0, 20, -1}) {
        const V_TypedValT value{no_kind, {}};
        const V_PropValT of_style = property_of(style_number, value);
        refused({wrong_kind}, ROW(V_ApiSetVal(doc, object, style_number, &value)));
        refused({wrong_kind}, ROW(V_ApiSetPropVal(doc, object, &of_style)));
        refused({wrong_kind}, ROW(V_ApiSetTextVal(doc, &all, style_number, &value)));
    }
    std::vector<V_PropValT> lots;
    for (IntT i = 0; i < many; i++)
        lots.push_back(property_of(1000 + i, one));
    lots.back() = property_of(style_number, string("of another kind"));
    const V_PropValsT list = list_of(lots);
    refused({wrong_kind}, ROW(V_ApiSetTextProps(doc, &all, &list)));
    refused({not_permitted}, ROW(V_ApiSetTextLoc(doc, object, V_prop_anchor, &good)));
    refused({wrong_kind}, ROW(V_ApiNewAnchoredObject(doc, V_type_paragraph, &good)));
    refused({not_permitted}, ROW(V_ApiDelete(0, doc)));
    if (GetParam() == V_language_japanese)
        for (const char *half : {"x\x83", "\x83"}) {
            refused({bad_value}, ROW(V_ApiAddText(doc, &good, half)));
            refused({bad_value}, ROW(V_ApiReplaceText(doc, &all, half)));
        }
}

TEST_F(HostInProcess, LongListsAreNoMistake)
{
    std::vector<StringT> texts(many, str("text"));
    const V_StringsT list{many, texts.data()};
    const UIntT object = V_ApiNewNamedObject(0, 77, "");
    EXPECT_STATUS(ok, V_ApiSetStrings(0, object, 504, &list));
    EXPECT_CALL(ok, list, V_ApiGetStrings(0, object, 504));
    IntT item = -1;
    person.replies = {IntT{many - 1}};
    EXPECT_CALL(ok, 0, V_ApiScrollBox(&item, "", &list, 0));
    EXPECT_EQ(item, many - 1);
}

} // namespace
} // namespace velt::host
