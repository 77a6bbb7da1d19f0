// What replacing a file keeps, and what it refuses; who has a file that several write.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <tuple>

#include "common/output_file.h"
#include "common/replace_file.h"
#include "support/errors.h"
#include "support/folder.h"

namespace
{

namespace fs = std::filesystem;

using velt::test::read;

using ReplaceFile = velt::test::InFolder;

TEST_F(ReplaceFile, KeepsOrRefuses)
{
    const std::string longest(255, 'n');
    const char *const access = geteuid() == 0 ? "write-protected" : "denied";
    const struct {
        const char *what;
        std::function<void()> make;
        std::string path;
        const char *refusal; // null: it is replaced
    } cells[] = {
        {"a file", [] {}, "old", nullptr},
        {"a new file", [] {}, "new", nullptr},
        {"the longest name", [&] { fs::rename("old", longest); }, longest, nullptr},
        {"a name too long", [] {}, longest + "n", "too long"},
        {"a link", [] { fs::create_symlink("old", "link"); }, "link", nullptr},
        {"a dangling link", [] { fs::create_symlink("none", "dangling"); }, "dangling", "symbolic"},
        {"a looping link", [] { fs::create_symlink("loop", "loop"); }, "loop", "symbolic links"},
        {"another name", [] { fs::create_hard_link("old", "second"); }, "old", "hard links"},
        {"write-protected", [] { chmod("old", 0444); }, "old", access},
        {"a folder", [] { fs::create_directory("folder"); }, "folder", "not a plain file"},
        {"a device", [] {}, "/dev/full", "not a plain file"},
        {"no folder", [] {}, "none/new", "No such file"},
    };
    for (const auto &cell : cells) {
        for (const std::string &gone : {longest, std::string("old"), std::string("second")})
            fs::remove(gone);
        std::ofstream("old") << "old";
        cell.make();
        const auto files = [] { return std::distance(fs::directory_iterator("."), {}); };
        const auto before = files();
        const std::string refusal =
            velt::test::error_of([&] { velt::replace_file(cell.path, "new"); });
        EXPECT_EQ(refusal.empty(), !cell.refusal) << cell.what << ": " << refusal;
        EXPECT_PART(refusal, cell.refusal ? cell.refusal : "") << cell.what;
        EXPECT_EQ(read(cell.refusal ? "old" : cell.path), cell.refusal ? "old" : "new")
            << cell.what;
        EXPECT_LE(files(), before + !cell.refusal) << cell.what << ": something is left";
    }
    EXPECT_TRUE(fs::is_symlink("link"));
}

// A process that is killed leaves nothing.
TEST_F(ReplaceFile, HasNoNameBeforeItIsComplete)
{
    const int nameless = open(".", O_WRONLY | O_TMPFILE, 0600);
    if (nameless < 0)
        GTEST_SKIP() << "this file system has no files without a name";
    close(nameless);
    velt::NewFile file("new");
    file.write("new");
    file.finish();
    EXPECT_TRUE(fs::is_empty("."));
    file.commit();
    EXPECT_EQ(read("new"), "new");
}

// Another user's file that one may write keeps its owner, or nobody gets more than before.
TEST_F(ReplaceFile, KeepsOwnersOrDropsAccess)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can have files of several users";
    const struct {
        uid_t as, owner, group;
        mode_t mode;
        uid_t owner_then, group_then;
        mode_t mode_then;
    } cells[] = {
        {0, 1000, 2000, 0660, 1000, 2000, 0660},
        {0, 1000, 2000, 06750, 1000, 2000, 06750},
        {1000, 1000, 1000, 0640, 1000, 1000, 0640},
        {1000, 1000, 2000, 0664, 1000, 1000, 0644}, // is not in the group
        {1001, 1000, 1000, 04666, 1001, 1001, 0666},
        {1001, 1000, 1001, 0660, 1001, 1001, 0660},
    };
    chmod(".", 0777);
    std::ofstream("old") << "old";
    for (const auto &cell : cells) {
        ASSERT_EQ(chown("old", cell.owner, cell.group), 0);
        ASSERT_EQ(chmod("old", cell.mode), 0);
        ASSERT_EQ(setegid(cell.as), 0);
        ASSERT_EQ(seteuid(cell.as), 0);
        velt::replace_file("old", "new");
        ASSERT_EQ(seteuid(0), 0);
        ASSERT_EQ(setegid(0), 0);
        struct stat now {
        };
        ASSERT_EQ(stat("old", &now), 0);
        EXPECT_EQ(std::tuple(now.st_uid, now.st_gid, now.st_mode & 07777),
                  std::tuple(cell.owner_then, cell.group_then, cell.mode_then))
            << &cell - cells;
    }
}

using AnOutputFile = velt::test::InFolder;

TEST_F(AnOutputFile, IsNotRemovedByWhoMadeItWhenAnotherHasIt)
{
    for (const bool is_locked_in_vain : {true, false}) {
        std::optional<velt::OutputFile> made("out"), other("out"), late("out");
        ASSERT_TRUE(other->lock());
        EXPECT_TRUE(!is_locked_in_vain || !made->lock());
        made.reset();
        EXPECT_TRUE(fs::exists("out"));
        fs::remove("out");
        other.reset();
        EXPECT_FALSE(late->lock()) << "it is in no folder";
    }
    velt::OutputFile null("/dev/null");
    EXPECT_TRUE(null.lock() && velt::OutputFile("/dev/null").lock()) << "it is for everybody";
    velt::OutputFile("out");
    EXPECT_FALSE(fs::exists("out"));
    std::optional<velt::OutputFile> made("out");
    velt::OutputFile("out").write("text");
    made.reset();
    EXPECT_TRUE(fs::exists("out"));
}

} // namespace
