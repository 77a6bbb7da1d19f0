// Documents and their files: through the calls of clients, and the commands of scripts.

#include <sys/stat.h>

#include "host/files/document.h"
#include "host/script/commands.h"
#include "support/heap.h"
#include "support/heap_new.h"
#include "support/host_in_process.h"
#include "support/json.h"

namespace velt::host
{
namespace
{

namespace fs = std::filesystem;

using test::error_of;
using test::read;
using test::write;

constexpr const char *everything = R"({
  "format": 1,
  "id": 1,
  "properties": [{"name": "Autor", "string": "Ä"}, {"number": 7, "id": 2}],
  "flows": [
    {"id": 2, "name": "Main", "properties": [{"number": 7, "id": 1},
                    {"number": 9, "text_location": {"objId": 3, "offset": 2}}],
     "paragraphs": [
      {"id": 3, "name": "First", "tag": "Title", "text": "Über Äpfel",
       "properties": [{"number": 8, "id": 0}],
       "formats": [{"from": 0, "to": 4, "properties": [{"name": "Bold", "integer": 1}]},
                   {"from": 6, "to": 10, "properties": [{"number": 30, "id": 7},
                        {"number": 1000000020, "integer": 1}]}],
       "anchors": [{"offset": 4, "object": 4}, {"offset": 4, "object": 5}]},
      {"text": ""}]},
    {"paragraphs": [{"text": "Zwei"}]}
  ],
  "objects": [
    {"id": 4, "type": 13, "properties": [{"number": 8, "id": 6}]},
    {"id": 5, "type": 13, "name": "Box", "properties": [
      {"number": 9, "element_catalog": [{"defId": 6, "flags": 0}]},
      {"number": 10, "element_range": {"beg": {"parentId": 4, "childId": 6, "offset": 1},
                                       "end": {"parentId": 4, "childId": 0, "offset": 2}}}]},
    {"type": 40, "name": "Named"},
    {"type": 41, "in": 3},
    {"id": 6, "type": 42, "in": 4},
    {"id": 7, "type": 42, "in": 6,
     "properties": [{"number": 10, "text_range": {"beg": {"objId": 3, "offset": 1},
                                                  "end": {"objId": 3, "offset": 5}}}]}
  ]
})";

std::string short_document(const std::string &text)
{
    return R"({"flows": [{"paragraphs": [{"text": ")" + text + "\"}]}]}";
}

class DocumentRules : public HostInProcess
{
protected:
    const UIntT book = V_ApiNewNamedObject(0, V_type_book, "Book");
    BookFile book_file{folder / "book.json"};
    V_PropValsT *returned = nullptr;

    DocumentRules()
    {
        model.set_language(V_language_deutsch);
        documents.set_book(book, book_file);
    }
    ~DocumentRules() override { V_ApiDeallocatePropVals(returned); }

    // These read the list that an operation on a file returns.
    bool tells(IntT bit) const { return V_ApiCheckStatus(returned, bit) != 0; }
    std::string reason() const { return returned->val[2].propVal.u.stringVal; }

    UIntT open(const char *file, const V_PropValsT &options = {})
    {
        return V_ApiOpen(file, &options, &returned);
    }
    UIntT save(UIntT document, const char *file, const V_PropValsT &options = {})
    {
        return V_ApiSave(document, file, &options, &returned);
    }
    UIntT opened(const std::string &text)
    {
        write("a.json", text);
        VA_errno = ok;
        const UIntT document = open("a.json");
        EXPECT_EQ(VA_errno, ok) << reason();
        return document;
    }
    void change(UIntT document)
    {
        const V_TextLocT begin{model.at(model.at(document).first).first, 0};
        V_ApiAddText(document, &begin, "x");
    }
    std::string first_text(UIntT document) const
    {
        return model.at(model.at(model.at(document).first).first).text;
    }
};

TEST_F(DocumentRules, EverythingComesBack)
{
    const UIntT document = opened(everything);
    EXPECT_CALL(ok, 0, V_ApiGetInt(0, document, V_prop_changed));
    const std::string written = write_document(model, document);
    EXPECT_EQ(test::json_at(written), test::json_at(everything));
    write("b.json", written);
    EXPECT_EQ(write_document(model, open("b.json")), written);

    // What is outside the document, or gone, is nothing to the file, and what the file does not
    // define is nothing to the document, whatever has the id here.
    const PropertyKey key(8), place_key(9);
    const UIntT flow = model.at(document).first, paragraph = model.at(flow).first;
    model.set(document, paragraph, key, Value::id(book).get());
    V_TypedValT place{kind::text_location, {}};
    place.u.textLocVal = {4711, 2};
    model.set(document, flow, place_key, place);
    const std::string saved = write_document(model, document);
    EXPECT_EQ(test::json_at(saved, "/flows/0/paragraphs/0/properties/0/id"), "0");
    EXPECT_EQ(test::json_at(saved, "/flows/0/properties/1/text_location/objId"), "0");
    const std::string dangling = R"({"flows": [{"paragraphs": [
        {"properties": [{"number": 8, "id": )" +
                                 std::to_string(paragraph) + "}]}]}]}";
    read_document(dangling, "d", model, document);
    const UIntT read = model.at(model.at(document).first).first;
    EXPECT_EQ(model.get(document, read, key).get().u.intVal, 0);
}

// Of many formats in one paragraph, each is set where it belongs, whatever stands there.
TEST_F(DocumentRules, FormatsStandWhereTheyBelong)
{
    const auto formats = [&](const std::string &list) {
        const UIntT document = model.create_document("");
        read_document(R"({"flows": [{"paragraphs": [{"text": "Äbcdefgh", "formats": [)" + list +
                          "]}]}]}",
                      "d", model, document);
        std::string told;
        const UIntT paragraph = model.at(model.at(document).first).first;
        for (IntT offset = 0; offset < 8; offset++) {
            const Properties all = model.text_properties(document, {paragraph, offset});
            told += all.empty() ? "-" : std::to_string(all.begin()->second.get().u.intVal);
        }
        return told + " " + std::to_string(model.at(paragraph).runs.size());
    };
    const auto format = [](int from, int to, int value) {
        return "{\"from\": " + std::to_string(from) + ", \"to\": " + std::to_string(to) +
               ", \"properties\": [{\"number\": 1, \"integer\": " + std::to_string(value) + "}]}";
    };
    const auto list = [](const auto &...each) {
        std::string all;
        ((all += (all.empty() ? "" : ",") + each), ...);
        return all;
    };
    EXPECT_EQ(formats(list(format(0, 2, 1), format(2, 4, 2), format(6, 8, 3))), "1122--33 4");
    EXPECT_EQ(formats(list(format(6, 8, 3), format(0, 2, 1), format(2, 4, 2))), "1122--33 4");
    EXPECT_EQ(formats(list(format(0, 8, 1), format(2, 4, 2), format(3, 5, 3))), "11233111 5");
    EXPECT_EQ(formats(list(format(1, 2, 1), format(3, 4, 2), format(5, 6, 3), format(0, 8, 4))),
              "44444444 7");
    EXPECT_EQ(formats(list(format(2, 2, 1), format(7, 8, 2))), "-------2 1");
}

TEST_F(DocumentRules, MistakesNameTheirPlaceAndLeaveNothing)
{
    const std::pair<const char *, const char *> mistakes[] = {
        {"{}", "d:1:1: a list \"flows\" is needed"},
        {R"({"flows": []})", "flows: the list needs at least one"},
        {R"({"format": 0, "flows": [{"paragraphs": [{}]}]})", "format: the number of the format"},
        {R"({"flows": [{"paragraphs": [{"text": "a\nb"}]}]})", ".text: a line end is the end"},
        {R"({"flows": [{"paragraphs": [{"text": "三", "anchors": [{"offset": 1, "object": 1}],
             "formats": [{"from": 0, "to": 1, "properties": []}]}]}],
             "objects": [{"id": 1, "type": 9, "x": 0}]})",
         "\"三\" does not exist in Quire, the encoding of deutsch; --language names another\n"
         "d:3:52: objects[0].x: unknown"},
        {R"({"flows": [{"paragraphs": [{}], "name": "a"}, {"paragraphs": [{}], "name": "a"}]})",
         "flows[1].name: two objects of this type"},
        {R"({"flows": [{"paragraphs": [{"id": 1}, {"id": 1}]}]})", "[1].id: the id stands twice"},
        {R"({"flows": [{"paragraphs": [{"id": 0}]}]})", "id: 0 is the id of nothing"},
        {R"({"flows": [{"paragraphs": [{"formats": [{"from": 0, "to": 1, "properties":
             [{"number": 1, "integer": 1}]}]}]}]})",
         "formats[0].to: the text has 0 characters, and no place 1"},
        {R"({"flows": [{"paragraphs": [{"anchors": [{"offset": 0, "object": 1}]}]}]})",
         "anchors[0].object: no object has this"},
        {R"({"flows": [{"paragraphs": [{"anchors": [{"offset": 1, "object": 1}]}]}],
             "objects": [{"id": 1, "type": 9}]})",
         "anchors[0].offset: the text has 0 characters, and no place 1"},
        {R"({"flows": [{"paragraphs": [{}]}], "objects": [{"type": 9, "in": 3}, {"type": 5}]})",
         "objects[1]: flows and paragraphs stand"},
        {R"({"flows": [{"paragraphs": [{}]}], "objects": [{"type": 4}, {"type": 1}, {"type": 2}]})",
         "objects[2].type: no object in a document has this type"},
        {R"({"flows": [{"paragraphs": [{"properties": [{"number": 1000000016, "id": 0}]}]}]})",
         "refused: it is the host's own"},
        {R"({"flows": [{"paragraphs": [{"properties": [{"name": "", "integer": 0}]}]}]})",
         "refused: the object has no property"},
        {R"({"flows": [{"paragraphs": [{"anchors": [{"offset": 0, "object": 1}], "id": 2}]}],
             "objects": [{"id": 1, "type": 9, "in": 2}]})",
         "objects[0].in: an object that is anchored"},
        {R"({"flows": [{"paragraphs": [{"properties": [{"number": 1e400, "id": 0}]}]}]})",
         "d:1:55: the number is too large"},
        {R"({"title": "a", "components": []})", "d:1:1: it is a book"},
    };
    const UIntT document = opened(everything);
    const std::string before = write_document(model, document);
    for (const auto &[text, message] : mistakes) {
        EXPECT_PART(error_of([&, of = text] { read_document(of, "d", model, document); }), message);
        ASSERT_EQ(write_document(model, document), before) << text;
        ASSERT_FALSE(model.changed(document)) << text;
    }
    EXPECT_THROW(read_document(R"({"format": 2, "pages": 3})", "d", model, document), NewerFormat);
}

TEST_F(DocumentRules, ClientsAreToldWhatBecameOfFiles)
{
    write("a.json", short_document("a"));
    write("damaged.json", "{");
    write("twice.json", R"({"a": 1, "b": 2, "flows": [{"paragraphs": [{}]}]})");
    write("newer.json", R"({"format": 2})");
    const struct {
        const char *file;
        IntT status, bit;
    } refused[] = {{"none.json", no_such_file, V_file_no_such_file},
                   {"", no_such_file, V_file_no_such_file},
                   {"damaged.json", damaged_file, V_file_damaged},
                   {"twice.json", damaged_file, V_file_damaged},
                   {"newer.json", newer_file, V_file_newer}};
    V_PropValsT usual = V_ApiGetOpenDefaultParams();
    for (const auto &row : refused) {
        EXPECT_CALL(row.status, 0, open(row.file, usual));
        EXPECT_TRUE(tells(row.bit)) << row.file;
        EXPECT_NE(reason().find(row.file), std::string::npos) << reason();
        EXPECT_EQ(reason().find('?'), std::string::npos) << reason();
        EXPECT_TRUE(model.members(0).empty());
    }
    V_ApiDeallocatePropVals(&usual);

    V_PropValT revert = property_of(V_open_revert, integer(1));
    V_PropValT force = property_of(V_save_force, integer(1));
    V_PropValT mode = property_of(V_save_mode, integer(0640));
    V_PropValT setuid = property_of(V_save_mode, integer(04755));
    const UIntT document = open("a.json");
    EXPECT_CALL(ok, document, open("./a.json"));
    EXPECT_TRUE(tells(V_file_opened_already));
    EXPECT_CALL(ok, document, V_ApiCacheDocument(document));
    ApiVqGeneralDocArgT again{document};
    for (const bool by_option : {true, false}) {
        change(document);
        if (by_option) {
            EXPECT_CALL(ok, document, open("a.json", {1, &revert}));
            EXPECT_TRUE(tells(V_file_reverted));
        } else {
            EXPECT_EQ(*api_vq_revert_1(&again, velt_client), ok);
        }
        EXPECT_EQ(first_text(document), "a");
        EXPECT_FALSE(model.changed(document));
    }

    change(document);
    write("a.json", "{}");
    EXPECT_CALL(changed_file, 0, save(document, ""));
    EXPECT_TRUE(tells(V_file_changed_by_others));
    EXPECT_CALL(changed_file, 0, save(document, ""));
    EXPECT_TRUE(model.changed(document));
    EXPECT_CALL(ok, document, save(document, "", {1, &force}));
    EXPECT_FALSE(model.changed(document));
    EXPECT_NE(read("a.json").find("xa"), std::string::npos);

    EXPECT_CALL(unwritable_file, 0, save(document, "none/b.json"));
    EXPECT_CALL(bad_value, 0, save(document, "b.json", {1, &setuid}));
    EXPECT_CALL(ok, document, save(document, "b.json", {1, &mode}));
    struct stat made {
    };
    ASSERT_EQ(stat("b.json", &made), 0);
    EXPECT_EQ(made.st_mode & 0727, 0600u) << "less the mask";

    const UIntT custom = V_ApiCustomDoc(0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    EXPECT_CALL(no_such_file, 0, save(custom, ""));
    EXPECT_CALL(ok, custom, save(custom, "c.json"));
    EXPECT_EQ(documents.path(custom), folder / "c.json");
}

TEST_F(DocumentRules, NoFileIsReplacedThatIsSomebodyElses)
{
    const UIntT document = opened(short_document("a"));
    write("other.json", short_document("other"));
    ASSERT_EQ(documents.open("other.json", false).status, ok);
    ASSERT_EQ(documents.save(book, "", false).status, ok);
    for (const char *path : {"mine.json", "mine.txt", "my book.json"})
        write(path, "precious");
    fs::create_symlink("other.json", "link.json");
    fs::create_hard_link("other.json", "name.json");
    using Write = std::function<FileOutcome(const char *path, bool force)>;
    const Write save_it = [&](const char *path, bool force) {
        return documents.save(document, path, force);
    };
    const Write save_book = [&](const char *path, bool force) {
        return documents.save(book, path, force);
    };
    const Write export_text = [&](const char *path, bool force) {
        return documents.export_text(document, path, nullptr, force);
    };
    const struct {
        const Write &write;
        const char *path;
        Status status, forced;
    } cases[] = {{save_it, "other.json", unwritable_file, unwritable_file},
                 {save_it, "link.json", unwritable_file, unwritable_file},
                 {save_it, "name.json", unwritable_file, unwritable_file},
                 {save_it, "book.json", unwritable_file, unwritable_file},
                 {save_it, "mine.json", changed_file, ok},
                 {save_it, "new.json", ok, ok},
                 {save_it, "a.json", ok, ok},
                 {save_book, "./a.json", unwritable_file, unwritable_file},
                 {save_book, "my book.json", changed_file, ok},
                 {save_book, "new book.json", ok, ok},
                 {export_text, "a.json", unwritable_file, unwritable_file},
                 {export_text, "book.json", unwritable_file, unwritable_file},
                 {export_text, "mine.txt", changed_file, ok},
                 {export_text, "new.json", changed_file, ok},
                 {export_text, "new.txt", ok, ok}};
    for (const auto &[write, path, status, forced] : cases) {
        const std::string before = read(path);
        const FileOutcome outcome = write(path, false);
        EXPECT_EQ(outcome.status, status) << path << ": " << outcome.reason;
        EXPECT_EQ(read(path) == before, status != ok) << path;
        EXPECT_EQ(write(path, true).status, forced) << path;
        EXPECT_EQ(read(path) == before, forced != ok) << path;
        EXPECT_EQ(write(path, false).status, forced) << path << ", which is known now";
    }

    // Of the book, clients may do two things with the file.
    EXPECT_CALL(ok, book, save(book, ""));
    EXPECT_CALL(ok, book, open("book.json"));
    EXPECT_TRUE(tells(V_file_opened_already));
    EXPECT_CALL(not_supported, not_supported, V_ApiClose(book, V_close_losing));
    EXPECT_CALL(damaged_file, 0, open("my book.json"));
    EXPECT_NE(reason().find("it is a book"), std::string::npos) << reason();
}

// A component has the document of the file that it names, whichever came first.
TEST_F(DocumentRules, ComponentsHaveTheirDocuments)
{
    const UIntT a = opened(short_document("a")), component = model.create(book, 4, "C");
    const PropertyKey key(property::document), file_key(file_property);
    const auto expect_document = [&](UIntT wanted) {
        const Value value = model.get(book, component, key);
        EXPECT_EQ(static_cast<UIntT>(value.get().u.intVal), wanted);
        for (const auto &[each, listed] : model.properties(book, component)) {
            if (each == key) {
                EXPECT_EQ(listed.get().u.intVal, value.get().u.intVal);
            }
        }
    };
    const auto name = [&](const char *path) {
        model.set(book, component, file_key, Value::string(path).get());
    };
    expect_document(0);
    name("./a.json");
    expect_document(a);
    name("b.json");
    expect_document(0);
    const UIntT b = documents.create();
    expect_document(0);
    EXPECT_EQ(documents.save(b, "b.json", false).status, ok);
    expect_document(b);
    EXPECT_EQ(documents.open("a.json", false).document, a);
    EXPECT_EQ(model.active_document(), a) << "although it is open already";
    EXPECT_EQ(documents.close(b, false).status, ok);
    expect_document(0);
    name("a.json");
    model.remove_property(book, component, file_key);
    expect_document(0);
}

TEST_F(DocumentRules, UnsavedChangesAreAskedFor)
{
    UIntT document = opened(short_document("a"));
    change(document);
    EXPECT_CALL(cancelled, cancelled, V_ApiClose(document, V_close_asking));
    ASSERT_EQ(person.questions.size(), 1u);
    EXPECT_EQ(person.questions[0].text, "a.json");
    EXPECT_CALL(bad_value, bad_value, V_ApiClose(document, 2));
    person.replies = {IntT{0}};
    EXPECT_CALL(ok, 0, V_ApiClose(document, V_close_asking));
    EXPECT_NE(read("a.json").find("xa"), std::string::npos);

    document = open("a.json");
    EXPECT_CALL(ok, 0, V_ApiClose(document, V_close_asking)); // nothing was changed
    document = open("a.json");
    EXPECT_CALL(ok, document, V_ApiGetId(0, 0, V_prop_active_document));
    change(document);
    EXPECT_TRUE(person.reports.empty());
    EXPECT_CALL(ok, 0, V_ApiClose(document, V_close_losing));
    EXPECT_EQ(person.reports, std::vector<std::string>{"client 1 (tester): lost the changes of "
                                                       "a.json, which were not saved"});
    EXPECT_CALL(ok, 0, V_ApiGetId(0, 0, V_prop_active_document));
    EXPECT_EQ(read("a.json").find("xxa"), std::string::npos);

    // A document without a file needs the name of one.
    document = documents.create();
    change(document);
    person.replies = {IntT{0}, Reply()};
    EXPECT_CALL(cancelled, cancelled, V_ApiClose(document, V_close_asking));
    person.replies = {IntT{0}, std::string("new.json")};
    EXPECT_CALL(ok, 0, V_ApiClose(document, V_close_asking));
    EXPECT_TRUE(fs::exists("new.json"));
}

TEST_F(DocumentRules, PlainTextGoesInAndOut)
{
    const UIntT document = opened(short_document("ab"));
    const UIntT paragraph = model.at(model.at(document).first).first;
    write("in.txt", "\xEF\xBB\xBFÄ\r\n\nü\t\u2028\n");
    const V_PropValsT none{};
    const auto import = [&](const char *file, IntT offset) {
        const V_TextLocT place{paragraph, offset};
        return V_ApiImport(document, &place, file, &none, &returned);
    };
    const auto export_to = [&](const char *file, const V_PropValsT &options) {
        return V_ApiExport(document, file, &options, &returned);
    };
    EXPECT_CALL(ok, document, import("in.txt", 1));
    EXPECT_CALL(ok, 0, export_to("out.txt", none));
    EXPECT_EQ(read("out.txt"), "aÄ\n\nü\t\u2028b\n");
    EXPECT_EQ(model.at(model.at(model.at(document).first).last).text, "\x9F\b\tb");

    write("bad.txt", "Ä\nÄÖ\xFFx");
    write("foreign.txt", "a三");
    const std::string before = write_document(model, document);
    const std::pair<const char *, IntT> refused[] = {{"bad.txt:2:3: ", damaged_file},
                                                     {"foreign.txt:1:2: ", damaged_file},
                                                     {"none.txt:", no_such_file}};
    for (const auto &[place, status] : refused) {
        const std::string file(place, std::string_view(place).find(':'));
        EXPECT_CALL(status, 0, import(file.c_str(), 0));
        EXPECT_NE(reason().find(place), std::string::npos) << reason();
    }
    EXPECT_CALL(no_such_place, 0, import("in.txt", 9));
    EXPECT_EQ(write_document(model, document), before);

    model.add_text(document, {paragraph, 1}, "\xA1"); // which encodes nothing
    const UIntT last = model.at(model.at(document).first).last;
    V_PropValT range = property_of(V_export_range, {V_kind_text_range, {}});
    range.propVal.u.textRangeVal = {{paragraph, 1}, {last, 1}};
    V_PropValT wrong = range, type = property_of(V_export_type, integer(7));
    std::swap(wrong.propVal.u.textRangeVal.beg, wrong.propVal.u.textRangeVal.end);
    EXPECT_CALL(ok, 0, export_to("out.txt", {1, &range}));
    EXPECT_TRUE(tells(V_file_characters_lost));
    EXPECT_EQ(read("out.txt"), "\uFFFDÄ\n\nü\n");
    EXPECT_CALL(no_such_place, no_such_place, export_to("out.txt", {1, &wrong}));
    EXPECT_CALL(not_supported, not_supported, export_to("out.txt", {1, &type}));
    EXPECT_EQ(reason(), "option 5: there is no type 7, only plain text, 8");
    type.propIdent.num = 99;
    EXPECT_CALL(no_such_property, no_such_property, export_to("out.txt", {1, &type}));
    EXPECT_EQ(reason(), "the operation has no option 99");
    // It is the document's own file.
    EXPECT_CALL(unwritable_file, unwritable_file, export_to("a.json", none));
}

// An operation is done or has changed nothing, also when memory stays short, and can be repeated.
TEST_F(DocumentRules, AnAllocationThatFailsLosesNothing)
{
    const UIntT document = opened(everything);
    write("b.json", short_document("b"));
    FileOutcome other;
    const auto open_other = [&] { return other = documents.open("b.json", false); };
    const auto close_other = [&] { return documents.close(other.document, true); };
    const auto edit = [&] { return change(document), FileOutcome(); };
    const std::function<FileOutcome()> operations[][2] = {
        {edit, [&] { return documents.revert(document); }},
        {edit, [&] { return documents.save(document, "", false); }},
        {close_other, open_other},
        {open_other, close_other},
    };
    const auto state = [&] {
        return std::tuple(write_document(model, document), read("a.json"), model.members(0));
    };
    for (const auto &each : operations)
        for (long n = 0, failed = true; failed; n++) {
            each[0]();
            const auto before = state();
            Status status = bad_value;
            failed = heap::fails(n, [&] {
                if (n % 2 == 1)
                    heap::fail_from(n);
                status = each[1]().status;
            });
            ASSERT_TRUE(status == ok || (failed && state() == before)) << n;
        }
}

TEST_F(DocumentRules, PeopleWorkOnDocuments)
{
    std::ostringstream out;
    PrintingConsole console{out, out};
    Commands commands({model, documents, console, nullptr, {}, book, book_file, out, false});
    const auto error = [&](const std::string &line) {
        return error_of([&] { commands.run(line); });
    };
    write("a.json", R"({"flows": [{"paragraphs": [{"tag": "T", "text": "Äpfel"}, {"text": "b"}]},
                                  {"name": "Notes", "paragraphs": [{}]}]})");
    for (const char *line :
         {"expect documents none", "open a.json", "expect document a.json", "expect not changed",
          "expect paragraph 1 Äpfel", "expect paragraph 3", "select --text 1:1-2:1",
          "expect selection \"pfel\\nb\"", "type \"x\\n\\\"\\\\n\"",
          "expect paragraph 2 \"\\\"\\\\n\"", "expect selection", "expect text \\n",
          "expect not text Äpfel", "expect changed a.json", "select --text 1",
          "expect selection Äx", "select --text 1:1"})
        EXPECT_EQ(error(line), "") << line;
    EXPECT_EQ(commands.unsaved().back().name, "a.json");
    out.str("");
    EXPECT_EQ(error("show document"), "");
    EXPECT_EQ(error("document"), "");
    EXPECT_EQ(out.str(), "a.json (changed)\nFlow:\n   1  (T) Ä[]x\n   2  (T) \"\\n\nFlow Notes:\n"
                         "   3  \n>  1  a.json (changed)\n");
    write("a.json", "{}");
    const std::pair<const char *, const char *> mistakes[] = {
        {"close", "save --document saves them"},
        {"save --document", "save --document --force a.json replaces it, save --document FILE"},
        {"select --text 4", "there are 3"},
        {"select --text 1:9", "paragraph 1 has 2 characters, no place 9"},
        {"select --text 1:2-1", "the range ends (1) before it begins (2)"},
        {"expect not text x", "in paragraph 1: Äx"},
        {"expect not changed", "it is: changed"},
        {"show window", "usage: show [document]"},
        {"open b.json", "no component or file \"b.json\""},
        {"document b.json", "there are: a.json"},
    };
    for (const auto &[line, message] : mistakes)
        EXPECT_PART(error(line), message) << line;
    for (const char *place : {"", " x", " 1 2", " 1-2", " 1:-1", " 1:x", " 1:1-", " 1:1-2:"})
        EXPECT_EQ(error(std::string("select --text") + place),
                  "usage: select --text PARAGRAPH[:FROM[-[PARAGRAPH:]TO]]")
            << place;
    for (const char *line :
         {"save --document --force", "open --revert a.json", "close", "expect document none",
          "open a.json", "type y", "close --lose a.json"})
        EXPECT_EQ(error(line), "") << line;
}

} // namespace
} // namespace velt::host
