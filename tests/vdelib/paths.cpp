#include <pwd.h>

#include <cstdlib>
#include <cstring>
#include <random>

#include "support/vde.h"

namespace
{

// What becomes of a name in a buffer of just the bytes that it may take, on the heap, where a
// sanitizer guards both ends.
std::string changed(const std::string &name, auto change)
{
    const std::unique_ptr<char[]> buffer(new char[1024]);
    V_StrCpyN(buffer.get(), name.c_str(), 1024);
    change(buffer.get());
    return buffer.get();
}

std::string expanded(const std::string &name, const char *dir = "")
{
    return changed(name, [dir](char *buffer) { VdeUiExpandFileName(buffer, dir); });
}

std::string relative(const std::string &name, const std::string &anchor)
{
    return changed(name, [&](char *buffer) { VdeRelativizeFileName(buffer, anchor.c_str()); });
}

// Name and flags of a record, "null" if there is none.
std::string shown(V_FilePathT *made)
{
    const Path path(made);
    return path == nullptr ? "null" : path->name + (" " + std::to_string(path->flags));
}

std::string di(const std::string &name, const char *anchor = nullptr)
{
    const Path path(VdeFilePathSimpleCreate(name.c_str()));
    const Path anchor_path(VdeFilePathSimpleCreate(anchor));
    StringT text = nullptr;
    IntT size = -1;
    EXPECT_EQ(V_FilePathToDI(path.get(), anchor_path.get(), &text, &size), 0);
    const Owned<> owned(text);
    EXPECT_EQ(size, V_StrLen(text));
    return text;
}

TEST(Paths, UnixNames)
{
    const Path anchor(V_UnixToFilePath("/x/y.doc", nullptr));
    const Path no_anchor(V_UnixToFilePath("y.doc", nullptr));
    EXPECT_EQ(shown(V_UnixToFilePath("a/./b/../c", nullptr)), "a/c 1");
    EXPECT_EQ(shown(V_UnixToFilePath("a/./b/../c", anchor.get())), "/x/a/c 16");
    EXPECT_EQ(shown(V_UnixToFilePath("../../a", anchor.get())), "/a 16");
    EXPECT_EQ(shown(V_UnixToFilePath("a", no_anchor.get())), "null");
    const Path bare(VdeFilePathCreate()); // without name there is no directory
    EXPECT_EQ(shown(V_UnixToFilePath("a", bare.get())), "a 1");
    EXPECT_EQ(shown(V_UnixToFilePath("a/..", nullptr)), "null");
    EXPECT_EQ(shown(V_UnixToFilePath(nullptr, nullptr)), "null");
    EXPECT_EQ(shown(V_MacToFilePath("Disk:~a/../b")), "Disk:~a/../b 0");
    EXPECT_EQ(shown(V_DosToFilePath("")), "null");
    EXPECT_ABORT(VdeFilePathFree(nullptr), "");
}

TEST(Paths, ExpansionOfUsersAndVariables)
{
    V_FdeInitFontEncs(nullptr);
    setenv("HOME", "/home/me", 1);
    setenv("VELT_A", "x/y", 1);
    unsetenv("VELT_UNSET");
    EXPECT_EQ(expanded("~/x"), "/home/me/x");
    setenv("HOME", "/elsewhere", 1);
    EXPECT_EQ(expanded("~"), "/home/me"); // remembered
    EXPECT_EQ(expanded("~root/x"), getpwnam("root")->pw_dir + std::string("/x"));
    EXPECT_EQ(expanded("$VELT_A/../z$VELT_A"), "x/zx/y");
    EXPECT_EQ(expanded("a~/$VELT_A$VELT_A"), "a~/$VELT_A$VELT_A"); // one variable, unknown
    EXPECT_EQ(expanded("$VELT_UNSET/x"), "$VELT_UNSET/x");
    EXPECT_EQ(expanded("\\$VELT_A"), "\\$VELT_A");
    const Changed dialog(vdeDialogEncodingId, 1); // 0x83 0x5C is one character there, no backslash
    EXPECT_EQ(expanded("\x83\x5C$VELT_A"), "\x83\x5Cx/y");
}

TEST(Paths, UpNeverLeavesTheRoot)
{
    EXPECT_EQ(expanded("../../..", "/a"), "/");
    EXPECT_EQ(expanded("../x", "/a/b/"), "/a/x");
    EXPECT_EQ(expanded("./x/y", "/a/"), "/a//x/y"); // only the root needs no other "/"
    EXPECT_EQ(expanded("x/y", "/"), "/x/y");
    EXPECT_EQ(expanded("../x"), "x");

    std::mt19937 random(1);
    const char *const segments[] = {"/..", "/.", "/", "/a", "/b.", "/..c"};
    for (int i = 0; i < 5000; ++i) {
        std::string name = "/";
        for (auto count = random() % 12; count > 0; --count)
            name += segments[random() % std::size(segments)];
        std::string normal = std::filesystem::path(name).lexically_normal();
        while (normal.size() > 1 && normal.ends_with('/'))
            normal.pop_back();
        ASSERT_EQ(expanded(name), normal) << name;
    }
}

TEST(Paths, LongNamesAreCutAtTheEndOfTheBuffer)
{
    for (size_t length = 1020; length < 1027; ++length) {
        std::string name(length, 'a');
        for (size_t at = 0; at < length; at += 200)
            name[at] = '/';
        EXPECT_EQ(expanded(name), name.substr(0, 1023));
        setenv("VELT_LONG", name.c_str(), 1);
        EXPECT_EQ(expanded("$VELT_LONG"), name.substr(0, 1023));
        EXPECT_EQ(expanded("b/c", name.c_str()), (name + "/b/c").substr(0, 1023));
        EXPECT_EQ(expanded("bcdef/../g", name.substr(0, 1020).c_str()),
                  name.substr(0, 1020) + "/bc"); // the rest, as it is

        std::string token_name = "<c>";
        for (size_t left = length; left > 0; left -= std::min<size_t>(left, 250))
            token_name += std::string(std::min<size_t>(left, 250), 'c') + "<c>";
        changed("", [&](char *out) { // whose text has four separators more
            EXPECT_EQ(VdeParseDiName(token_name.c_str(), out), -1);
            EXPECT_LT(std::strlen(out), 1024u);
        });
        EXPECT_LE(di("/" + std::string(200, 'x') + name).size(), 1023u);
    }
    for (size_t length = 254; length < 258; ++length) {
        const std::string segment(length, 's'), cut = segment.substr(0, 255);
        EXPECT_EQ(expanded(segment + "/t"), cut + "/t");
        EXPECT_EQ(shown(V_DIToFilePath(("<r><c>" + segment).c_str(), nullptr)), "/" + cut + " 16");
        const std::unique_ptr<char[]> last(new char[256]);
        const std::string full = "/a/" + segment;
        const auto split = [&](char *dir) { VdeSplitFullFileName(full.c_str(), dir, last.get()); };
        EXPECT_EQ(changed("", split), "/a");
        EXPECT_EQ(last.get(), cut);
    }
}

TEST(Paths, RelativeNames)
{
    EXPECT_EQ(relative("/a/b/c.txt", "/a/d/e.doc"), "../b/c.txt");
    EXPECT_EQ(relative("/a/d/f", "/a/d/e.doc"), "f");
    EXPECT_EQ(relative("/ab/c", "/a/e.doc"), "/ab/c");
    EXPECT_EQ(relative("/a/x", "/a//e.doc"), "x");
    EXPECT_EQ(relative("/x", "/e.doc"), "/x");
    EXPECT_ABORT(relative("a", "/e"), "");

    std::string deep = "/a";
    for (int i = 0; i < 400; ++i)
        deep += "/d";
    EXPECT_EQ(relative("/a/b", deep), "/a/b"); // 1200 bytes of "../"

    std::mt19937 random(2);
    const auto some_name = [&] {
        std::string name;
        for (auto count = random() % 5 + 1; count > 0; --count)
            name += std::string("/") + "ab"[random() % 2] + (random() % 3 == 0 ? "b" : "");
        return name;
    };
    for (int i = 0; i < 5000; ++i) {
        const std::string name = some_name(), anchor = some_name();
        const auto dir = std::filesystem::path(anchor).parent_path();
        std::string back = (dir / relative(name, anchor)).lexically_normal();
        if (back.ends_with('/'))
            back.pop_back();
        ASSERT_EQ(back, name) << anchor;
        // And there and back through a device-independent name.
        if (name != dir) {
            const Path base(VdeFilePathSimpleCreate(anchor.c_str()));
            const std::string text = di(name, anchor.c_str());
            ASSERT_EQ(shown(V_DIToFilePath(text.c_str(), base.get())), name + " 16");
        }
    }
}

TEST(Paths, DiNames)
{
    const Path anchor(V_UnixToFilePath("/x/y.doc", nullptr));
    const auto record = [&](const char *name, const V_FilePathT *base = nullptr) {
        return shown(V_DIToFilePath(name, base));
    };
    EXPECT_EQ(record("<r><c>usr<c>lib"), "/usr/lib 16");
    EXPECT_EQ(record("<v>Disk<c>a", anchor.get()), "/Disk/a 16");
    EXPECT_EQ(record("<h>Disk<c>a<z>zzz<1>q<c>b"), "/Disk/a/b 16");
    EXPECT_EQ(record("<u><c>fonts", anchor.get()), "/fonts 16");
    EXPECT_EQ(record("<r><c>usr<u><c>lib"), "/usr/ 0"); // no up after a root
    EXPECT_EQ(record("<c>a<r>"), "a/ 0");
    EXPECT_EQ(record("<c>a\\<c\\\\>"), "a<c\\> 1");
    EXPECT_EQ(record("<c>a\\"), "a\\ 1");
    for (const char *bad : {"plain", "", "<", "<c", "<1>a", "<x>a", "a<c>b"})
        EXPECT_EQ(record(bad), "null") << bad;
    EXPECT_EQ(di("/usr/lib/x"), "<r><c>usr<c>lib<c>x");
    EXPECT_EQ(di("/a/./b/../c"), "<r><c>a<c>b<u><c>c");

    StringT name;
    IntT size;
    EXPECT_EQ(V_FilePathToDI(nullptr, nullptr, &name, &size), -1);
    EXPECT_ABORT(V_FilePathToDI(anchor.get(), nullptr, nullptr, &size), "");
    const Path relative_path(V_UnixToFilePath("a", nullptr));
    EXPECT_ABORT(V_FilePathToDI(relative_path.get(), nullptr, &name, &size), "");
}

TEST(Paths, PlatformAndInternalForm)
{
    const auto same = [](IntT &locale, const char *internal, const char *platform) {
        const Changed in(locale, 1);
        EXPECT_STREQ(Owned<>(VdeInternalToPlatformFilename(internal)).get(), platform);
        EXPECT_STREQ(Owned<>(VdePlatformToInternalFilename(platform)).get(), internal);
    };
    EXPECT_STREQ(Owned<>(VdeInternalToPlatformFilename("a/\x83\x5C")).get(), "a/\x83\x5C");
    EXPECT_STREQ(Owned<>(VdeInternalToPlatformFilename(nullptr)).get(), "");
    same(vdeLocaleIsEUC, "a/\x83\x5C\xB1", "a/\xA5\xBD\x8E\xB1");
    same(vdeLocaleIsCNS, "a/\xA4\x40", "a/\xC4\xA1");
    same(vdeLocaleIsCNS, "", "");
    same(vdeLocaleIsJIS, "a/\x83\x5C.x", "a/\x1B$B%=\x1B(J.x");
}

TEST(Paths, NameTypes)
{
    const std::pair<const char *, int> names[] = {
        {"<r>x", 1},  {"<r>", 0},  {"<x>x", 0},        {"/tmp", 2},  {"/", 2},
        {"./a", 2},   {"a/b", 2},  {"a b", 0},         {"a b/c", 3}, {"a:b", 4},
        {"C:\\x", 4}, {"1:x", 3},  {"C:", 3},          {"a:b:c", 3}, {"C:\\a b", 3},
        {"a\\b", 4},  {"name", 0}, {"Disk:Folder", 3}, {"", 0},      {"../a b:", 2}};
    for (const auto &[name, type] : names)
        EXPECT_EQ(V_PathNameType(name), type) << name;
    V_FdeInitFontEncs(nullptr);
    EXPECT_EQ(V_PathNameType("\x83\x5C"), V_PathDos);
    const Changed dialog(vdeDialogEncodingId, 1); // Shift-JIS
    EXPECT_EQ(V_PathNameType("\x83\x5C"), V_PathNone);
    EXPECT_EQ(shown(V_DIToFilePath("<c>\x83\x5C<c>b", nullptr)), "\x83\x5C/b 1");
}

} // namespace
