#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "support/folder.h"
#include "support/vde.h"

namespace
{

namespace fs = std::filesystem;
using velt::test::read;
using velt::test::write;

// What somebody else does after each look at whether a name is taken.
std::function<void(const char *)> meanwhile;

extern "C" int __real_lstat(const char *name, struct stat *status);
extern "C" int __wrap_lstat(const char *name, struct stat *status)
{
    const int result = __real_lstat(name, status);
    const int error = errno;
    if (meanwhile)
        meanwhile(name);
    errno = error;
    return result;
}

// The folder is also the place for temporary files.
class Channels : public velt::test::InFolder
{
protected:
    Path path(const std::string &name)
    {
        return Path(V_UnixToFilePath((folder / name).c_str(), nullptr));
    }
    V_ChannelT *open(const std::string &name, const char *mode)
    {
        return V_ChannelOpen(path(name).get(), mode);
    }
};

TEST_F(Channels, Move)
{
    V_ChannelT *ch = open("f", "w+");
    ASSERT_NE(ch, nullptr);
    EXPECT_EQ(ch->name, folder / "f");
    EXPECT_EQ(V_ChannelWrite("abcdef", 2, 3, ch), 3);
    EXPECT_EQ(V_ChannelSeek(ch, -4, 2), 0);
    EXPECT_EQ(V_ChannelSize(ch), 6);
    EXPECT_EQ(V_ChannelTell(ch), 2);
    EXPECT_EQ(V_ChannelSeek(ch, -4, 1), -1);
    char two[2];
    EXPECT_EQ(V_ChannelRead(two, 2, -1, ch), 0);
    EXPECT_EQ(V_ChannelRead(two, 2, 1, ch), 1);
    EXPECT_EQ(std::string(two, 2), "cd");
    EXPECT_EQ(V_ChannelEof(ch), 0);
    EXPECT_EQ(V_ReadBytes(two, 1, ch), 1);
    EXPECT_EQ(V_ReadBytes(two, 2, ch), 1);
    EXPECT_EQ(V_ChannelEof(ch), 1);
    EXPECT_EQ(V_ChannelClose(ch), 0);

    EXPECT_EQ(open("missing/f", "w"), nullptr);
    EXPECT_EQ(open("f", "nonsense"), nullptr);
    EXPECT_EQ(V_ChannelOpen(nullptr, "r"), nullptr);
    EXPECT_EQ(V_ChannelOpen(Path(VdeFilePathCreate()).get(), "r"), nullptr);
}

TEST_F(Channels, NullIsStandardOutputOrNothing)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(V_WriteBytes("abc", 3, nullptr), 3);
    EXPECT_EQ(V_ChannelFlush(nullptr), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "abc");
    char byte;
    EXPECT_EQ(V_ReadBytes(&byte, 1, nullptr), 0);
    EXPECT_EQ(V_ChannelSize(nullptr), -1);
    EXPECT_EQ(V_ChannelEof(nullptr), 0);
    EXPECT_EQ(V_ChannelClose(nullptr), -1);
    EXPECT_EQ(V_ChannelCloseTmp(nullptr), -1);
    EXPECT_EQ(V_GetFilePath(nullptr), nullptr);
    const V_ChannelT nameless{};
    EXPECT_EQ(Path(V_GetFilePath(&nameless))->name, fs::current_path());
    EXPECT_ABORT(VdeChannelClose(nullptr), "");
    EXPECT_ABORT(V_ChannelAppend(nullptr, nullptr), "");
    EXPECT_ABORT(V_ReadShorts(&byte, 0, nullptr), "");
}

TEST_F(Channels, ItemsInEitherOrder)
{
    V_ChannelT *ch = open("f", "w+");
    EXPECT_EQ(ch->swapBytes, 0);
    const uint16_t value = 0x0102;
    V_ResetByteOrder(ch);
    EXPECT_EQ(V_WriteShorts(&value, 1, ch), 1);
    V_SetByteOrder(ch);
    EXPECT_EQ(V_WriteShorts(&value, 1, ch), 1);
    V_ChannelFlush(ch);
    EXPECT_EQ(read("f"), "\1\2\2\1");

    std::vector<uint32_t> longs(1300), back(longs.size() + 1, 0xAABBCCDD);
    for (uint32_t i = 0; i < longs.size(); ++i)
        longs[i] = i * 0x01234567;
    const auto sent = longs;
    const IntT count = static_cast<IntT>(longs.size());
    for (const auto order : {V_SetByteOrder, V_ResetByteOrder}) {
        order(ch);
        V_ChannelSeek(ch, 0, 0);
        EXPECT_EQ(V_WriteLongs(longs.data(), count, ch), count);
        EXPECT_EQ(longs, sent);
        V_ChannelSeek(ch, 0, 0);
        EXPECT_EQ(V_ReadLongs(back.data(), count + 1, ch), count);
        EXPECT_EQ(back.back(), 0xAABBCCDD); // not read, not reversed
        EXPECT_TRUE(std::equal(longs.begin(), longs.end(), back.begin()));
        EXPECT_EQ(read("f").substr(4, 4),
                  order == V_SetByteOrder ? "\x67\x45\x23\1" : "\1\x23\x45\x67");
    }
    EXPECT_EQ(V_ChannelClose(ch), 0);

    // Onto a full disk nothing more is written than fits, and it is said.
    ch = open("/dev/full", "w");
    setvbuf(ch->fp, nullptr, _IONBF, 0);
    V_ResetByteOrder(ch);
    EXPECT_EQ(V_WriteLongs(longs.data(), count, ch), 0);
    EXPECT_EQ(V_ChannelClose(ch), 0);
}

TEST_F(Channels, Append)
{
    const std::string text(20000, 'x');
    V_ChannelT *src = open("src", "w+");
    V_ChannelT *dst = open("dst", "w");
    V_WriteBytes(text.data(), 20000, src);
    V_ChannelSeek(src, 1, 0);
    EXPECT_EQ(V_ChannelAppend(src, dst), 0);
    EXPECT_EQ(V_ChannelSize(dst), 19999);
    EXPECT_EQ(V_ChannelAppend(src, src), -1);
    EXPECT_EQ(V_ChannelAppend(dst, src), -1); // dst cannot be read
    V_ChannelClose(dst);
    dst = open("dst", "r");
    V_ChannelSeek(src, 0, 0);
    EXPECT_EQ(V_ChannelAppend(src, dst), -1); // nor written now
    V_ChannelClose(dst);
    V_ChannelClose(src);
}

TEST_F(Channels, TemporaryFiles)
{
    write("file", "");
    fs::path deep = folder;
    while (deep.native().size() < 1020)
        fs::create_directory(deep /= std::string(200, 'd'));
    for (const char *place :
         {static_cast<const char *>(nullptr), "", "file", folder.c_str(), deep.c_str()}) {
        // The generator keeps its directory, so each choice is made in a process of its own.
        const auto names = [&place] {
            place == nullptr ? unsetenv("TMPDIR") : setenv("TMPDIR", place, 1);
            for (int i = 0; i < 2; ++i)
                std::fprintf(stderr, "%s\n", Owned<>(VdeMakeTmpFileName()).get());
            std::_Exit(0);
        };
        const bool fit = place != nullptr && fs::is_directory(place);
        const std::string begin = std::string(fit ? place : "/tmp") + "/V";
        EXPECT_EXIT(names(), testing::ExitedWithCode(0),
                    "^" + begin + "1\\.......\n" + begin + "2\\.......\n$");
    }

    const mode_t mask = umask(0);
    V_ChannelT *ch = V_ChannelMakeTmp();
    umask(mask);
    ASSERT_NE(ch, nullptr);
    struct stat status;
    ASSERT_EQ(stat(ch->name, &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0600u);
    const std::string name = ch->name;
    EXPECT_EQ(VdeChannelCloseTmp(&ch), 0);
    EXPECT_EQ(ch, nullptr);
    EXPECT_FALSE(fs::exists(name));
}

TEST_F(Channels, NobodySlipsAFileUnderATemporaryName)
{
    write("victim", "precious");
    std::vector<fs::path> planted;
    const auto make = [&](size_t times) {
        meanwhile = [&planted, times, this](const char *name) {
            if (planted.size() < times)
                fs::create_symlink(folder / "victim", planted.emplace_back(name));
        };
        V_ChannelT *ch = V_ChannelMakeTmp();
        meanwhile = nullptr;
        return ch;
    };
    V_ChannelT *ch = make(3);
    ASSERT_NE(ch, nullptr);
    V_WriteBytes("x", 1, ch);
    EXPECT_EQ(V_ChannelCloseTmp(ch), 0);
    EXPECT_EQ(planted.size(), 3u);
    EXPECT_EQ(make(1000), nullptr); // of those who foresee every name we tire
    EXPECT_EQ(read("victim"), "precious");
    for (const fs::path &link : planted)
        EXPECT_TRUE(fs::remove(link));
}

TEST_F(Channels, QueriesAndDeletion)
{
    write("f", "x");
    fs::permissions("f", fs::perms::owner_read);
    const Path paths[] = {path("."), path("f"), path("none")};
    V_FilePathT *here = paths[0].get(), *file = paths[1].get(), *none = paths[2].get();
    EXPECT_EQ(V_FileExists(here), 0);
    EXPECT_EQ(V_DirectoryExists(here), 1);
    EXPECT_EQ(V_DirectoryIsWriteable(here), 1);
    EXPECT_EQ(V_FileExists(file), 1);
    EXPECT_EQ(V_FileIsReadable(file), 1);
    EXPECT_EQ(V_FileIsWriteable(file), access(file->name, W_OK) == 0); // root may
    EXPECT_EQ(V_FileExists(nullptr), 0);
    EXPECT_EQ(VdeStatProperty(here->name, 0x700), 0x500u);
    EXPECT_EQ(VdeStatProperty(file->name, 0x700), 0x600u);
    EXPECT_EQ(VdeStatProperty("/dev/null", 0x700), 0x400u);
    EXPECT_EQ(VdeStatProperty(none->name, 0x400), 0u);
    EXPECT_EQ(VdeAccessProperty(file->name, 1), 1u);
    EXPECT_EQ(VdeAccessProperty(none->name, 3), 0u);

    for (V_FilePathT *no_file : {here, none, static_cast<V_FilePathT *>(nullptr)})
        EXPECT_EQ(V_DeleteFile(no_file), -1);
    EXPECT_TRUE(fs::exists("f"));
    EXPECT_EQ(V_DeleteFile(file), 0);
    EXPECT_EQ(V_DeleteFile(here), 0);
    EXPECT_FALSE(fs::exists(folder));
}

TEST_F(Channels, NamesInAnotherEncodingOnThePlatform)
{
    const Changed euc(vdeLocaleIsEUC, 1);
    V_ChannelT *ch = open("\x83\x5C", "w");
    ASSERT_NE(ch, nullptr);
    EXPECT_TRUE(fs::exists(folder / "\xA5\xBD"));
    const Path path(V_GetFilePath(ch));
    EXPECT_EQ(V_FileExists(path.get()), 1);
    EXPECT_EQ(V_ChannelCloseTmp(ch), 0);
    EXPECT_FALSE(fs::exists("\xA5\xBD"));
    write("\xA5\xBD", "");
    EXPECT_EQ(V_DeleteFile(path.get()), 0);
    EXPECT_TRUE(fs::is_empty(folder));
    EXPECT_EQ(open("\x83", "w"), nullptr); // cut off inside a character
    const Path odd(VdeFilePathSimpleCreate("\x83"));
    EXPECT_EQ(V_DeleteFile(odd.get()), -1);
}

} // namespace
