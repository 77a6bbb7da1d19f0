// Documents and their files: through the answers that clients get, and the commands of scripts.

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <sstream>

#include <nlohmann/json.hpp>

#include "host/files/document.h"
#include "host/script/commands.h"
#include "support/answered.h"
#include "support/folder.h"
#include "support/heap.h"

// The part of the library that tests a status is linked with what calls a client.
void V_ApiInitialize(IntT) {}
void V_ApiCommand(IntT) {}

namespace velt::host
{
namespace
{

namespace fs = std::filesystem;

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
       "properties": [{"number": 8, "id": 4711}],
       "formats": [{"from": 0, "to": 4, "properties": [{"name": "Bold", "integer": 1}]},
                   {"from": 6, "to": 10, "properties": [{"number": 30, "id": 7}]}],
       "anchors": [{"offset": 4, "object": 4}, {"offset": 4, "object": 5}]},
      {"text": ""}]},
    {"paragraphs": [{"text": "Zwei"}]}
  ],
  "objects": [
    {"id": 4, "type": 13, "properties": [{"number": 8, "id": 6}]},
    {"id": 5, "type": 13},
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

class DocumentRules : public test::InFolder
{
protected:
    Model model;
    std::ostringstream out;
    PrintingConsole console{out, out};
    Documents documents{model};
    ModelResponder responder{{model, documents}};
    Host host{{}, responder, console};
    Client client;
    Context context{{model, documents}, host, client};
    UIntT book = model.create(0, object_type::book, "Book");
    std::vector<Question> questions;
    std::deque<Reply> replies;

    DocumentRules()
    {
        model.set_language(V_language_deutsch);
        documents.serve(book, folder);
        documents.ask = [this](const Question &question) {
            questions.push_back(question);
            Reply reply = replies.empty() ? Reply() : replies.front();
            if (!replies.empty())
                replies.pop_front();
            return reply;
        };
    }

    UIntT opened(const std::string &text)
    {
        write("a.json", text);
        const FileOutcome outcome = documents.open("a.json", false);
        EXPECT_EQ(outcome.status, ok) << outcome.reason;
        return outcome.document;
    }
    void change(UIntT document)
    {
        model.add_text(document, {model.at(model.at(document).first).first, 0}, "x");
    }
    std::string first_text(UIntT document) const
    {
        return model.at(model.at(model.at(document).first).first).text;
    }
};

TEST_F(DocumentRules, EverythingComesBack)
{
    const UIntT document = opened(everything);
    EXPECT_EQ(model.get(0, document, PropertyKey(property::changed)).get().u.intVal, 0);
    const std::string written = write_document(model, document);
    EXPECT_EQ(nlohmann::json::parse(written), nlohmann::json::parse(everything));
    write("b.json", written);
    EXPECT_EQ(write_document(model, documents.open("b.json", false).document), written);

    // The numbers of a file are none of the ids that refer to something outside the document.
    const UIntT paragraph = model.at(model.at(document).first).first;
    model.set(document, paragraph, PropertyKey(8), Value::id(1).get());
    EXPECT_EQ(nlohmann::json::parse(write_document(model, document))["id"], 2);
}

TEST_F(DocumentRules, MistakesNameTheirPlaceAndLeaveNothing)
{
    const std::pair<const char *, const char *> mistakes[] = {
        {"[]", "d:1:1: an object"},
        {"{}", "d:1:1: a list \"flows\" is needed"},
        {R"({"flows": []})", "flows: the list has at least one"},
        {R"({"flows": [{}]})", "flows[0]: a list \"paragraphs\" is needed"},
        {R"({"format": 0, "flows": [{"paragraphs": [{}]}]})", "format: the number of the format"},
        {R"({"flows": [{"paragraphs": [{"text": "a\nb"}]}]})", ".text: a line end is the end"},
        {R"({"flows": [{"paragraphs": [{"text": "三"}]}]})", "\"三\" does not exist in Quire"},
        {R"({"flows": [{"paragraphs": [{}], "name": "a"}, {"paragraphs": [{}], "name": "a"}]})",
         "flows[1].name: two objects of this type"},
        {R"({"flows": [{"paragraphs": [{"id": 1}, {"id": 1}]}]})", "[1].id: the id stands twice"},
        {R"({"flows": [{"paragraphs": [{"id": 0}]}]})", "id: 0 is the id of nothing"},
        {R"({"flows": [{"paragraphs": [{"formats": [{"from": 0, "to": 1, "properties":
             [{"number": 1, "integer": 1}]}]}]}]})",
         "formats[0]: the text has no such place"},
        {R"({"flows": [{"paragraphs": [{"anchors": [{"offset": 0, "object": 1}]}]}]})",
         "anchors[0].object: no object has this"},
        {R"({"flows": [{"paragraphs": [{"anchors": [{"offset": 1, "object": 1}]}]}],
             "objects": [{"id": 1, "type": 9}]})",
         "anchors[0]: the text has no such place"},
        {R"({"flows": [{"paragraphs": [{}]}], "objects": [{"type": 9, "in": 3}, {"type": 5}]})",
         "objects[1]: flows and paragraphs stand"},
        {R"({"flows": [{"paragraphs": [{}]}], "objects": [{"type": 4}, {"type": 1}, {"type": 2}]})",
         "objects[2]: "},
        {R"({"flows": [{"paragraphs": [{"properties": [{"number": 1000000016, "id": 0}]}]}]})",
         "refused: it is the host's own"},
        {R"({"flows": [{"paragraphs": [{"properties": [{"name": "", "integer": 0}]}]}]})",
         "refused: the object has no property"},
        // Behind what is wrong there is more.
        {R"({"flows": [{"paragraphs": [{"text": 1, "x": 2}]}], "objects": [{"type": "x"}]})",
         "d:1:37: flows[0].paragraphs[0].text: a text in quotes is needed here\n"
         "d:1:45: flows[0].paragraphs[0].x: unknown name \"x\"\n"
         "d:1:73: objects[0].type: a whole number"},
    };
    const UIntT document = opened(everything);
    const std::string before = write_document(model, document);
    for (const auto &[text, message] : mistakes) {
        try {
            read_document(text, "d", model, document);
            ADD_FAILURE() << text;
        } catch (const Error &error) {
            EXPECT_NE(std::string(error.what()).find(message), std::string::npos) << text << "\n"
                                                                                  << error.what();
        }
        ASSERT_EQ(write_document(model, document), before) << text;
        ASSERT_FALSE(model.changed(document)) << text;
    }
    EXPECT_THROW(read_document(R"({"format": 2, "pages": 3})", "d", model, document), NewerFormat);
}

// What a client is told of files, with status, bits, path and reason.
TEST_F(DocumentRules, ClientsAreToldWhatBecameOfFiles)
{
    using Open = Answered<api_vq_open_1>;
    using Save = Answered<api_vq_save_1>;
    const std::string named = short_document("a");
    write("a.json", named);
    write("damaged.json", "{");
    write("newer.json", R"({"format": 2})");
    const struct {
        const char *file;
        IntT status, bit;
    } refused[] = {{"none.json", no_such_file, V_file_no_such_file},
                   {"", no_such_file, V_file_no_such_file},
                   {"damaged.json", damaged_file, V_file_damaged},
                   {"newer.json", newer_file, V_file_newer}};
    for (const auto &[file, status, bit] : refused) {
        V_PropValsT options = V_ApiGetOpenDefaultParams();
        Open open(context, {const_cast<StringT>(file), options});
        V_ApiDeallocatePropVals(&options);
        EXPECT_EQ(open->status, status) << file;
        EXPECT_TRUE(open.tells(bit)) << file;
        EXPECT_NE(open.reason().find(file), std::string::npos) << open.reason();
        EXPECT_EQ(open->docId, 0u);
        EXPECT_TRUE(model.members(0).empty());
    }

    const auto name = const_cast<StringT>("a.json");
    const auto option = [](IntT number, IntT kind, IntT value) {
        V_PropValT made{};
        made.propIdent.num = number;
        made.propVal.valType = kind;
        made.propVal.u.intVal = value;
        return made;
    };
    V_PropValT unknown = option(4711, kind::integer, 0);
    V_PropValT metric = option(V_open_revert, kind::metric, 1);
    V_PropValT revert = option(V_open_revert, kind::integer, 1);
    V_PropValT force = option(V_save_force, kind::integer, 1);
    V_PropValT mode = option(V_save_mode, kind::integer, 0640);
    V_PropValT setuid = option(V_save_mode, kind::integer, 04755);
    EXPECT_EQ(Open(context, {name, {1, &unknown}})->status, no_such_property);
    EXPECT_EQ(Open(context, {name, {1, &metric}})->status, wrong_kind);

    const UIntT document = Open(context, {name, {}})->docId;
    ASSERT_NE(document, 0u);
    Open again(context, {const_cast<StringT>("./a.json"), {}});
    EXPECT_EQ(again->docId, document);
    EXPECT_TRUE(again.tells(V_file_opened_already));
    change(document);
    Open reverted(context, {name, {1, &revert}});
    EXPECT_TRUE(reverted.tells(V_file_reverted));
    EXPECT_EQ(reverted->docId, document);
    EXPECT_EQ(first_text(document), "a");
    EXPECT_FALSE(model.changed(document));

    change(document);
    write("a.json", "{}");
    EXPECT_TRUE(Save(context, {nullptr, document, {}}).tells(V_file_changed_by_others));
    EXPECT_EQ(Save(context, {nullptr, document, {}})->status, changed_file);
    EXPECT_TRUE(model.changed(document));
    Save saved(context, {nullptr, document, {1, &force}});
    EXPECT_EQ(saved->docId, document);
    EXPECT_FALSE(model.changed(document));
    EXPECT_NE(read("a.json").find("xa"), std::string::npos);

    EXPECT_EQ(Save(context, {const_cast<StringT>("none/b.json"), document, {}})->status,
              unwritable_file);
    EXPECT_EQ(Save(context, {const_cast<StringT>("b.json"), document, {1, &setuid}})->status,
              bad_value);
    EXPECT_EQ(Save(context, {const_cast<StringT>("b.json"), document, {1, &mode}})->status, ok);
    struct stat made {
    };
    ASSERT_EQ(stat("b.json", &made), 0);
    EXPECT_EQ(made.st_mode & 0727, 0600u) << "less the mask";
    for (const UIntT other : {UIntT{0}, book, UIntT{4711}})
        EXPECT_LT(Save(context, {nullptr, other, {}})->status, 0) << other;

    Answered<api_vq_custom_1> custom(context, {});
    EXPECT_EQ(Save(context, {nullptr, custom->result, {}})->status, no_such_file);
    EXPECT_EQ(Save(context, {const_cast<StringT>("c.json"), custom->result, {}})->status, ok);
    EXPECT_EQ(documents.path(custom->result), folder / "c.json");
}

TEST_F(DocumentRules, UnsavedChangesAreAskedFor)
{
    const auto close = [this](UIntT document, IntT flags) {
        IntT status = 0;
        Answer<api_vq_close_1>::answer(context, {document, flags}, status);
        return status;
    };
    UIntT document = opened(short_document("a"));
    change(document);
    EXPECT_EQ(close(document, V_close_asking), cancelled);
    ASSERT_EQ(questions.size(), 1u);
    EXPECT_EQ(questions[0].text, "a.json");
    EXPECT_EQ(close(document, 2), bad_value);
    replies = {IntT{0}};
    EXPECT_EQ(close(document, V_close_asking), ok);
    EXPECT_NE(read("a.json").find("xa"), std::string::npos);
    EXPECT_EQ(close(document, V_close_losing), no_such_document);

    document = documents.open("a.json", false).document;
    const UIntT component = model.create(book, object_type::component, "C");
    model.set(book, component, PropertyKey(file_property), Value::string("a.json").get());
    EXPECT_EQ(close(document, V_close_asking), ok) << "nothing was changed";
    document = documents.open("a.json", false).document;
    const auto of_component = [&] {
        return model.get(book, component, PropertyKey(property::document)).get().u.intVal;
    };
    EXPECT_EQ(of_component(), static_cast<IntT>(document));
    change(document);
    EXPECT_EQ(close(document, V_close_losing), ok);
    EXPECT_EQ(of_component(), 0);
    EXPECT_EQ(read("a.json").find("xxa"), std::string::npos);

    // A document without a file needs the name of one.
    document = documents.create();
    change(document);
    replies = {IntT{0}, Reply()};
    EXPECT_EQ(close(document, V_close_asking), cancelled);
    replies = {IntT{0}, std::string("new.json")};
    EXPECT_EQ(close(document, V_close_asking), ok);
    EXPECT_TRUE(fs::exists("new.json"));
}

TEST_F(DocumentRules, PlainTextGoesInAndOut)
{
    const UIntT document = opened(short_document("ab"));
    const UIntT paragraph = model.at(model.at(document).first).first;
    write("in.txt", "\xEF\xBB\xBFÄ\r\n\nü\n");
    const auto imported = [&](const char *file, IntT offset) {
        return documents.import_text(document, {paragraph, offset}, file);
    };
    EXPECT_EQ(imported("in.txt", 1).status, ok);
    EXPECT_EQ(documents.export_text(document, "out.txt", nullptr).status, ok);
    EXPECT_EQ(read("out.txt"), "aÄ\n\nüb\n");

    write("bad.txt", "Ä\nÄÖ\xFFx");
    write("foreign.txt", "a三");
    const std::string before = write_document(model, document);
    EXPECT_EQ(imported("bad.txt", 0).reason.rfind("bad.txt:2:3: ", 0), 0u);
    EXPECT_EQ(imported("foreign.txt", 0).reason.rfind("foreign.txt:1:2: ", 0), 0u);
    EXPECT_EQ(imported("foreign.txt", 0).status, damaged_file);
    EXPECT_EQ(imported("none.txt", 0).status, no_such_file);
    EXPECT_EQ(imported("in.txt", 9).status, no_such_place);
    EXPECT_EQ(write_document(model, document), before);

    model.add_text(document, {paragraph, 1}, "\xA1"); // which encodes nothing
    const UIntT last = model.at(model.at(document).first).last;
    const V_TextRangeT range{{paragraph, 1}, {last, 1}}, wrong{{last, 1}, {paragraph, 1}};
    const FileOutcome part = documents.export_text(document, "out.txt", &range);
    EXPECT_EQ(part.words, file_status::characters_lost);
    EXPECT_EQ(read("out.txt"), "\uFFFDÄ\n\nü\n");
    EXPECT_EQ(documents.export_text(document, "out.txt", &wrong).status, no_such_place);
    EXPECT_EQ(documents.export_text(document, "a.json", nullptr).status, unwritable_file)
        << "it is the document's own file";
}

TEST_F(DocumentRules, AnAllocationThatFailsLosesNothing)
{
    const UIntT document = opened(everything);
    const std::string whole = write_document(model, document);
    for (long n = 0;; n++) {
        heap::fail_at(n);
        FileOutcome outcome{.status = bad_value};
        try {
            outcome = documents.revert(document);
        } catch (const std::bad_alloc &) {
        }
        const bool failed = heap::failed();
        heap::fail_at(-1);
        ASSERT_EQ(write_document(model, document), whole) << n;
        if (!failed) {
            EXPECT_EQ(outcome.status, ok) << outcome.reason;
            break;
        }
    }
}

TEST_F(DocumentRules, PeopleWorkOnDocuments)
{
    BookFile file{"book.json"};
    Commands commands({model, documents, console, nullptr, {}, book, file, out, false});
    const auto error = [&](const std::string &line) {
        try {
            commands.run(line);
            return std::string();
        } catch (const Error &failure) {
            return std::string(failure.what());
        }
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
        {"save --document", "save --document --force replaces it"},
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
        EXPECT_NE(error(line).find(message), std::string::npos) << line << ": " << error(line);
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
