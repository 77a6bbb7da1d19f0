// Fuzzes device-independent names, in each encoding of the dialogs.

#include "fuzz/input.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/memory.h"
#include "velt/vde/paths.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    [[maybe_unused]] static const IntT once = V_FdeInitFontEncs(nullptr);
    Input input(data, size);
    vdeDialogEncodingId = input.byte() % (vdeLastEncodingId + 1);
    const auto max = input.byte();
    const auto name = exact_string(input.rest());
    V_PathNameType(name.get());

    const std::unique_ptr<char[]> out(new char[V_FileNameSize]);
    VdeParseDiName(name.get(), out.get());
    require(std::memchr(out.get(), 0, V_FileNameSize) != nullptr, "a parsed name is terminated");

    const std::unique_ptr<char[]> text(new char[max]);
    for (const char *p = name.get(); *p != '\0';) {
        VdeGetDiTokenID(&p);
        const char *q = p;
        VdeAdvPastToken(&q);
        require(VdeCopyTokenIntoString(&p, text.get(), max) < std::max<IntT>(max, 1) && p == q,
                "a token is copied as far as it fits, and passed whole");
    }

    const V_FilePathT *root = VdeFilePathSimpleCreate("/a/b");
    for (const V_FilePathT *anchor : {root, static_cast<const V_FilePathT *>(nullptr)}) {
        V_FilePathT *path = V_DIToFilePath(name.get(), anchor);
        if (path && path->name[0] == '/' && (path->flags & V_FilePathRelative) == 0) {
            StringT again = nullptr;
            IntT length = 0;
            V_FilePathToDI(path, anchor, &again, &length);
            V_Free(again);
        }
        V_FilePathFree(path);
    }
    V_FilePathFree(const_cast<V_FilePathT *>(root));
    return 0;
}
