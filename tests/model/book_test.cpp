#include <sys/resource.h>
#include <unistd.h>

#include "common/replace_file.h"
#include "host/files/book.h"
#include "host/values/text.h"
#include "support/errors.h"
#include "support/folder.h"
#include "support/heap.h"
#include "support/json.h"

namespace velt::host
{
namespace
{

namespace fs = std::filesystem;

using test::read;

class BookFiles : public test::InFolder
{
protected:
    auto files() const { return std::distance(fs::directory_iterator(folder), {}); }
};

TEST(BookText, RoundTripOfEveryKindAndOfQuireNames)
{
    const std::string text = R"({
  "title": "Über Äpfel",
  "language": "deutsch",
  "dialogEncoding": "VeltRoman",
  "selected": "Zwei",
  "properties": [{"name": "Autor", "string": "Ä"}],
  "components": [
    {"name": "Eins", "file": "eins.doc"},
    {"name": "Zwei", "properties": [
      {"number": 101, "integer": -2147483648}, {"number": 102, "metric": 2},
      {"number": 104, "id": 4}, {"number": 105, "metrics": [1, -2]},
      {"number": 106, "strings": ["a", "ü"]}, {"number": 107, "points": [{"x": 1, "y": 2}]},
      {"number": 108, "tabs": [{"position": 1, "alignment": 2, "leader": ".", "decimalChar": 44}]},
      {"number": 109, "text_location": {"objId": 4294967295, "offset": 1}},
      {"number": 110, "text_range": {"beg": {"objId": 1, "offset": 2},
                                     "end": {"objId": 3, "offset": 4}}},
      {"number": 112, "element_catalog": [{"defId": 1, "flags": 2}]},
      {"number": 113, "integers": []}, {"number": 114, "bytes": [0, 255]},
      {"number": 115, "unsigned_integers": [4294967295]},
      {"number": 118, "attributes": [{"name": "n", "values": ["v"], "byte1": 1, "byte2": 2}]},
      {"number": 119, "element_range": null}
    ]}
  ]
})";
    Model first, second;
    const UIntT book = read_book(text, "book", first);
    EXPECT_EQ(first.at(book).name, "\x86"
                                   "ber \x80pfel");
    const UIntT two = first.components(book).at(1);
    EXPECT_EQ(first.selected(book), two);
    EXPECT_EQ(first.properties(book, two).size(), 15u + 5);
    const std::string written = write_book(first, book);
    EXPECT_EQ(write_book(second, read_book(written, "again", second)), written);

    // A selection without a name is kept by its position.
    first.set(book, two, PropertyKey(property::name), Value::string("").get());
    Model third;
    const UIntT again = read_book(write_book(first, book), "unnamed", third);
    EXPECT_EQ(third.selected(again), third.components(again).at(1));
    EXPECT_EQ(test::json_at(written), test::json_at(text));
}

// Whatever a client writes into a name survives being saved and loaded, character or not; where two
// codes are one character, it may come back as the other.
TEST(BookTextSweep, EveryPairOfBytesComesBackFromUtf8)
{
    for (IntT language : {1, 18, 19, 20, 21}) {
        const SessionText text(language);
        for (int first = 1; first < 256; first++) {
            for (int second = 1; second < 256; second++) {
                const std::string bytes{static_cast<char>(first), static_cast<char>(second), 'x'};
                const std::string back = text.from_utf8(text.to_utf8(bytes));
                ASSERT_EQ(text.to_utf8(back), text.to_utf8(bytes))
                    << language << " " << first << " " << second;
                if (language == 1) {
                    ASSERT_EQ(back, bytes);
                }
            }
        }
    }
}

TEST(BookText, MistakesNameTheirPlace)
{
    std::string zeros = "0";
    while (zeros.size() < 2 * 102 - 1)
        zeros += ",0";
    const std::pair<std::string, const char *> mistakes[] = {
        {"", "book:1:1: not JSON"},
        {"{\n\"title\": \"a\",\n}", "book:3:1: not JSON"},
        {"{\n \"title\": \"\xE4\"}", "book:2:12: the file is not UTF-8: the byte 0xE4"},
        {"\xFF\xFE{", "UTF-16"},
        {"\xEF\xBB\xBF{\"ti\\u0074le\": \"Ü\",\n\"titel\": \"b\"}",
         "book:2:10: titel: unknown name \"titel\""},
        {"{\"title\": \"a\",\n\"title\": \"b\"}", "book:2:10: title: \"title\" stands twice"},
        {"{\"title\": \"a\"}", "book:1:1: a book needs a list \"components\""},
        {"{\"title\": \"a\",\n\n\"language\": \"klingon\"}", "book:3:13: language: unknown"},
        {"{\"title\": \"a\",\n\"dialogEncoding\": \"Roman\"}", "dialogEncoding: unknown encoding"},
        {"{\"title\": \"a\",\n\"components\": [{\"name\": \"x\"},\n{\"name\": \"x\"}]}",
         "book:3:10: components[1].name: two components"},
        {"{\"title\": \"a\",\"components\": [],\n\"selected\": \"x\"}", "book:2:13: selected: no"},
        {"{\"title\": \"a\",\"components\": [],\n\"selected\": 1}", "book:2:13: selected: no"},
        {"{\n\"title\": \"\u4E2D\"}", "book:2:10: title: \"\u4E2D\" does not exist in Quire"},
        {"{\"title\": \"a\\u0000b\"}", "character 0"},
        {"[]", "book:1:1: an object"},
        {"{\"title\": \"a\", \"properties\": [\n{\"number\": 1,\n\"integer\": 2147483648\n}]}",
         "book:3:12: properties[0].integer: a whole number"},
        {"{\"properties\": [{\"number\": 1, \"bytes\": [0,256]}]}",
         "properties[0].bytes[1]: a whole number from 0 to 255"},
        {"{\"properties\": [{\"number\": 1, \"w\\u001b\": 1}]}", "unknown kind of value \"w?\""},
        {"{\"properties\": [{\"integer\": 1}]}", "needs \"number\""},
        {"{\"properties\": [{\"number\": 1, \"name\": \"b\"}]}", "either"},
        {"{\"properties\": [{\"number\": 493, \"id\": 0}]}", "refused"},
        {"{\"properties\": [{\"number\": 1, \"points\": [{\"x\": 1}]}]}", "\"y\" is missing"},
        {"{\"" + std::string(999, 'n') + "\": 0}", "nnn...\""},
        {"{\"components\": [" + zeros + "]}", "\nbook: and 3 more mistakes"},
        // Behind what is wrong there is more.
        {"{\"title\": 1,\n \"components\": [{\"name\": 2, \"x\": 3}, {\"name\": 4}]}",
         "book:1:11: title: a text in quotes is needed here\n"
         "book:2:26: components[0].name: a text in quotes is needed here\n"
         "book:2:34: components[0].x: unknown name \"x\"; there are: name, file, properties\n"
         "book:2:47: components[1].name: a text in quotes is needed here"},
        {"{\"language\": \"x\", \"title\": \"\u4E2D\",\n\"components\": [{}],\n\"selected\": 2}",
         "newdutch\n"
         "book:2:16: components[0]: a component needs a \"name\"\n"
         "book:3:13: selected: no component has this number"},
    };
    for (const auto &[text, message] : mistakes) {
        Model model;
        EXPECT_PART(test::error_of([&, of = text] { read_book(of, "book", model); }), message);
    }
    Model model;
    EXPECT_THROW(read_book(std::string(1000000, '['), "deep", model), Error);
    for (const char *file : {"/nowhere/at/all.json", "/", "/dev/zero", "/proc/self/status"})
        EXPECT_THROW(BookFile(file).load(model), Error) << file;
    read_book(R"({"title": "\u4E2D", "components": []})", "book", model, V_language_japanese);
    EXPECT_EQ(model.language(), V_language_japanese);
}

// Of a text that memory ran out for, nothing is made that looks like it.
TEST_F(BookFiles, AnAllocationThatFailsLosesNothing)
{
    const fs::path file = folder / "book.json";
    const std::string text = R"({"title": "Title", "components": [{"name": "a", "file": "a.doc",
        "properties": [{"number": 6, "strings": ["x", "y"]}, {"name": "n", "string": "z"},
        {"number": 18, "attributes": [{"name": "n", "values": ["v"], "byte1": 1, "byte2": 2}]},
        {"number": 9, "text_location": {"objId": 1, "offset": 2}}]}]})";
    std::ofstream(file) << text;
    Model whole;
    const std::string complete = write_book(whole, read_book(text, "book", whole));
    for (long n = 0, failed = 1; failed; n++) {
        bool saved = false;
        failed = heap::fails(n, [&] {
            Model model;
            BookFile book(file);
            book.save(book.path(), model, book.load(model));
            saved = true;
        });
        ASSERT_EQ(read(file), saved ? complete : text) << n;
        ASSERT_EQ(files(), 1);
    }
}

// Two hosts, or a host and an editor, on one book.
TEST_F(BookFiles, WhatSomebodyElseHasChangedIsNotReplaced)
{
    const fs::path file = folder / "book.json", link = folder / "link.json";
    std::ofstream(file) << R"({"title": "First", "components": []})";
    fs::create_symlink("book.json", link);
    Model model;
    BookFile ours(file), theirs(link);
    const UIntT book = ours.load(model);
    Model other;
    const UIntT their_book = theirs.load(other);
    other.create(their_book, object_type::component, "Theirs");
    ours.save(ours.path(), model, book);
    EXPECT_FALSE(ours.differs_from(model, book));
    EXPECT_THROW(theirs.save(theirs.path(), other, their_book), Error);
    EXPECT_THROW(theirs.save(file, other, their_book), Error);
    theirs.save(folder / "other.json", other, their_book);
    EXPECT_TRUE(theirs.differs_from(other, their_book)) << "it was another file";
    fs::remove(link);
    fs::create_symlink("foreign.json", link);
    std::ofstream(folder / "foreign.json") << "{}";
    EXPECT_THROW(theirs.save(theirs.path(), other, their_book), Error)
        << "the link leads elsewhere";
    fs::remove(folder / "foreign.json");
    fs::remove(link);
    fs::create_symlink("book.json", link);
    theirs.save(theirs.path(), other, their_book, true);
    theirs.save(file, other, their_book);
    theirs.save(theirs.path(), other, their_book);
    EXPECT_THROW(ours.save(ours.path(), model, book), Error);
    fs::remove(file);
    ours.save(ours.path(), model, book);
    EXPECT_EQ(files(), 3) << "nothing else is left";
    fs::resize_file(file, std::uintmax_t{8} << 30);
    EXPECT_THROW(BookFile(file).load(model), Error) << "so large";
    EXPECT_THROW(ours.save(ours.path(), model, book), ChangedError);
}

TEST_F(BookFiles, AFailedSaveLeavesTheOldFile)
{
    Model model;
    const UIntT book = read_book(R"({"title": "New", "components": []})", "book", model);
    const fs::path file = folder / "book.json";
    std::ofstream(file) << "old";
    // A disk that takes ten bytes more.
    survive_file_size_limit();
    rlimit old_limit{}, limit{};
    getrlimit(RLIMIT_FSIZE, &old_limit);
    limit = old_limit;
    limit.rlim_cur = 10;
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_THROW(BookFile(file).save(file, model, book, true), std::runtime_error);
    setrlimit(RLIMIT_FSIZE, &old_limit);
    EXPECT_EQ(read(file), "old");
    EXPECT_EQ(files(), 1);
}

} // namespace
} // namespace velt::host
