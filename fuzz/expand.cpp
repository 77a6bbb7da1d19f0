// Fuzzes the expansion and the other rewriting of file names.

#include "fuzz/input.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/memory.h"
#include "velt/vde/paths.h"

namespace
{

// Runs with a copy of the text in a block of V_FileNameSize bytes.
template <class Change>
void change(const char *text, Change rewrite)
{
    const std::unique_ptr<char[]> name(new char[V_FileNameSize]);
    std::snprintf(name.get(), V_FileNameSize, "%s", text);
    rewrite(name.get());
    require(std::memchr(name.get(), 0, V_FileNameSize) != nullptr, "a name is terminated");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    [[maybe_unused]] static const IntT once =
        (setenv("HOME", "/home/user", 1), setenv("A", "va/../lue", 1), V_FdeInitFontEncs(nullptr));
    Input input(data, size);
    vdeDialogEncodingId = input.byte() % (vdeLastEncodingId + 1);
    const std::size_t split = static_cast<std::uint16_t>(input.number());
    const auto dir = exact_string(input.take(split));
    const auto text = exact_string(input.rest());

    change(text.get(), [](StringT name) { VdeFixTildaName(name); });
    change(text.get(), [&](StringT name) { VdeUiExpandFileName(name, dir.get()); });
    if (text[0] == '/' && dir[0] == '/')
        change(text.get(), [&](StringT name) { VdeRelativizeFileName(name, dir.get()); });
    change("", [&](StringT out) {
        const std::unique_ptr<char[]> last(new char[V_FileSegmentSize]);
        VdeSplitFullFileName(text.get(), out, last.get());
        VdeDirCatN(out, last.get(), V_FileNameSize);
    });
    V_FilePathT *anchor = V_UnixToFilePath(dir.get(), nullptr);
    V_FilePathFree(V_UnixToFilePath(text.get(), anchor));
    V_FilePathFree(anchor);
    V_Free(VdeInternalToPlatformFilename(text.get()));
    V_Free(VdePlatformToInternalFilename(text.get()));
    return 0;
}
