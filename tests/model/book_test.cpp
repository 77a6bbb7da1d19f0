// Book files.

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "host/book.h"
#include "host/text.h"

namespace velt::host
{
namespace
{

namespace fs = std::filesystem;

std::string contents(const fs::path &path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class BookTest : public testing::Test
{
protected:
    fs::path folder;
    void SetUp() override
    {
        std::string name = (fs::temp_directory_path() / "book-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder = name;
    }
    void TearDown() override { fs::remove_all(folder); }
    std::size_t files() const
    {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }
};

TEST(Book, RoundTripOfEveryKindAndOfQuireNames)
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
    const UIntT two = first.at(book).members.at(1);
    EXPECT_EQ(first.selected(book), two);
    EXPECT_EQ(first.properties(book, two).size(), 15u + 3);
    const std::string written = write_book(first, book);
    EXPECT_EQ(write_book(second, read_book(written, "again", second)), written);

    // A selection without a name is kept by its position.
    first.at(two).name.clear();
    Model third;
    const UIntT again = read_book(write_book(first, book), "unnamed", third);
    EXPECT_EQ(third.selected(again), third.at(again).members.at(1));
    EXPECT_EQ(nlohmann::json::parse(written), nlohmann::json::parse(text));
}

// Whatever a client writes into a name survives being saved and loaded, character or not; where two
// codes are one character, it may come back as the other.
TEST(Book, EveryPairOfBytesComesBackFromUtf8)
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

TEST(Book, MistakesNameTheirLine)
{
    const std::pair<const char *, const char *> mistakes[] = {
        {"", "book:1: not JSON"},
        {"{\n\"title\": \"a\",\n}", "book:3: not JSON"},
        {"{\n\"title\": 3,\n\"components\": []}", "book:2: a text in quotes"},
        {"{\"title\": \"a\",\n\"titel\": \"b\"}", "book:2: unknown name \"titel\""},
        {"{\"title\": \"a\",\n\"title\": \"b\"}", "book:2: \"title\" stands twice"},
        {"{\"title\": \"a\"}", "needs a list \"components\""},
        {"{\"components\": []}", "needs a \"title\""},
        {"{\"title\": \"a\",\n\n\"language\": \"klingon\"}", "book:3: unknown language"},
        {"{\"title\": \"a\",\n\"components\": [{\"name\": \"x\"},\n{\"name\": \"x\"}]}",
         "book:3: two components"},
        {"{\"title\": \"a\",\"components\": [],\n\"selected\": \"x\"}", "book:2: no component"},
        {"{\"title\": \"a\",\"components\": [],\n\"selected\": 1}", "book:2: no component"},
        {"{\n\"title\": \"\u4E2D\"}", "book:2: \"\u4E2D\" does not exist in Quire"},
        {"{\"title\": \"a\\u0000b\"}", "character 0"},
        {"[]", "book:1: an object"},
        {"{\"title\": \"a\", \"properties\": [\n{\"number\": 1,\n\"integer\": 2147483648\n}]}",
         "book:3: a whole number"},
        {"{\"title\": \"a\", \"properties\": [{\"number\": 1, \"bytes\": [256]}]}",
         "from 0 to 255"},
        {"{\"title\": \"a\", \"properties\": [{\"number\": 1, \"bytes\": [-1]}]}", "from 0 to 255"},
        {"{\"title\": \"a\", \"properties\": [{\"number\": 1, \"weight\": 1}]}", "unknown kind"},
        {"{\"title\": \"a\", \"properties\": [{\"integer\": 1}]}", "needs \"number\""},
        {"{\"title\": \"a\", \"properties\": [{\"number\": 1, \"name\": \"b\"}]}", "either"},
        {"{\"title\": \"a\", \"properties\": [{\"number\": 493, \"integer\": 1}]}", "refused"},
        {"{\"title\": \"a\", \"properties\": [{\"number\": 1, \"points\": [{\"x\": 1}]}]}",
         "\"y\" is missing"},
    };
    for (const auto &[text, message] : mistakes) {
        Model model;
        try {
            read_book(text, "book", model);
            ADD_FAILURE() << text;
        } catch (const BookError &error) {
            EXPECT_NE(std::string(error.what()).find(message), std::string::npos) << text << "\n"
                                                                                  << error.what();
        }
    }
    Model model;
    EXPECT_THROW(read_book(std::string(1000000, '['), "deep", model), BookError);
    EXPECT_THROW(load_book("/nowhere/at/all.json", model), BookError);
    EXPECT_THROW(load_book("/", model), BookError);
}

TEST_F(BookTest, SavingReplacesTheFile)
{
    Model model;
    const UIntT book = read_book(R"({"title": "New", "components": []})", "book", model);
    const fs::path file = folder / "book.json", link = folder / "link.json";
    std::ofstream(file) << "old";
    chmod(file.c_str(), 0640);
    fs::create_symlink("book.json", link);
    save_book(link, model, book);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(contents(file), write_book(model, book));
    EXPECT_EQ(fs::status(file).permissions(), static_cast<fs::perms>(0640));
    save_book(folder / "other.json", model, book);
    EXPECT_EQ(files(), 3u) << "nothing else is left";
}

TEST_F(BookTest, AFailedSaveLeavesTheOldFile)
{
    Model model;
    const UIntT book = read_book(R"({"title": "New", "components": []})", "book", model);
    const fs::path file = folder / "book.json";
    std::ofstream(file) << "old";

    // A disk that takes ten bytes more.
    const auto old_action = signal(SIGXFSZ, SIG_IGN);
    rlimit old_limit{}, limit{};
    getrlimit(RLIMIT_FSIZE, &old_limit);
    limit = old_limit;
    limit.rlim_cur = 10;
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_THROW(save_book(file, model, book), BookError);
    setrlimit(RLIMIT_FSIZE, &old_limit);
    signal(SIGXFSZ, old_action);
    EXPECT_EQ(contents(file), "old");
    EXPECT_EQ(files(), 1u);

    EXPECT_THROW(save_book("/dev/full", model, book), BookError);
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    EXPECT_THROW(save_book(folder / "none" / "book.json", model, book), BookError);
    EXPECT_THROW(save_book(folder, model, book), BookError);
    if (geteuid() != 0) {
        chmod(folder.c_str(), 0500);
        EXPECT_THROW(save_book(file, model, book), BookError);
        chmod(folder.c_str(), 0700);
        EXPECT_EQ(contents(file), "old");
    }
}

} // namespace
} // namespace velt::host
