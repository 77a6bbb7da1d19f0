// What happens when memory runs out in the middle of something.

#include "support/resource_files.h"
#include "support/vde.h"

namespace
{

// In a directory with a table of code points and two files of strings, one of them loaded.
class Exhaustion : public Resources
{
protected:
    Exhaustion()
    {
        write("unicode/JISX0208.ShiftJIS.UCOD", {"\x81\x81\0\0\x40\x41\x30\0\x30\1", 10});
        std::vector<std::pair<int, std::string>> lines;
        for (int id = 0; id < 20; ++id) // a pool that grows twice
            lines.emplace_back(id, std::string(1000, 'x'));
        write("long.sre", sre(lines));
        load(sre({{1, "before %0 %1"}, {2, "other"}}));
    }

    // Runs something with ever more allocations before they fail, until it succeeds.
    static void sweep(const char *what, const std::function<bool()> &succeeds)
    {
        int successes = -1;
        for (bool done = false; !done;) {
            ASSERT_LT(++successes, 100) << what;
            const FailingHeap heap(successes);
            done = succeeds();
        }
        EXPECT_GT(successes, 0) << what;
    }
};

template <class T>
bool made(T *block)
{
    return Owned<T>(block) != nullptr;
}

} // namespace

// A result says that it is none, and what was there before is there still; that nothing is left
// behind, the sanitizers and valgrind see.
TEST_F(Exhaustion, EveryAllocationMayFail)
{
    const std::string here = fs::current_path();
    const std::string text(2000, 't');
    const Path path(VdeFilePathSimpleCreate("/a/b"));
    const Path file(VdeFilePathSimpleCreate("file"));
    write("file", "content");

    sweep("escapes", [] { return made(VdeQuireToDbText("a b")); });
    sweep("handle", [] {
        V_HandleT *handle = V_AllocHandle(10, 0);
        return handle != nullptr && V_FreeHandle(handle) == 0;
    });
    sweep("long text", [&text] {
        char buf[2001];
        return V_Sprintf(buf, "%s", text.c_str()) == 2000;
    });
    sweep("Unix name", [] { return Path(V_UnixToFilePath("a/../b", nullptr)) != nullptr; });
    sweep("DI name", [] { return Path(V_DIToFilePath("<r><c>usr", nullptr)) != nullptr; });
    sweep("broken DI name",
          [] { return Path(V_DIToFilePath("<r><c>usr<u>", nullptr)) != nullptr; });
    sweep("to DI name", [&path] {
        StringT name = nullptr;
        IntT size = 1;
        const bool done = V_FilePathToDI(path.get(), nullptr, &name, &size) == 0;
        EXPECT_EQ(size, done ? 11 : 0);
        return made(name) == done && done;
    });
    sweep("working directory", [] {
        const V_ChannelT nameless{};
        return Path(V_GetFilePath(&nameless)) != nullptr;
    });
    sweep("channel", [&file] {
        V_ChannelT *ch = V_ChannelOpen(file.get(), "r");
        return ch != nullptr && V_ChannelClose(ch) == 0;
    });
    sweep("query", [&file] { return V_FileIsReadable(file.get()) != 0; });
    sweep("deletion", [&file] { return V_DeleteFile(file.get()) == 0; });
    EXPECT_FALSE(fs::exists("file"));
    sweep("Quire", [] { return made(VdeTextEncStringToLString("a", VdeEncQuire)); });
    sweep("code points", [&here] {
        V_FdeInitUnicode(here.c_str());
        return made(VdeTextEncStringToLString("\x81\x40", VdeEncShiftJis));
    });
    sweep("fetching", [] {
        char buf[32] = "kept";
        const bool done = V_SrGetF(1, buf, sizeof buf, "rs", 2, "text") == 0;
        EXPECT_STREQ(buf, done ? "before  text" : "kept"); // without the string referred to
        return done;
    });
    sweep("copying", [] { return made(V_SrCopy(1)); });
    sweep("loading", [] {
        const bool done = init("long") == 0;
        EXPECT_EQ(VdeInstance->srCount, done ? 20 : 2);
        return done;
    });
}
