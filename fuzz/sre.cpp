// Fuzzes string resource files: whatever a file contains, every string that it yields can be
// fetched if the index is sorted.

#include "fuzz/input.h"
#include "velt/vde/instance.h"
#include "velt/vde/memory.h"
#include "velt/vde/resources.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const Place place;
    Input input(data, size);
    const std::string file = place.write("text.sre", input.rest());
    const std::string name = file.substr(0, file.size() - 4);
    if (V_SrInit(name.c_str(), "usenglish") != 0)
        return 0;
    const VdeInstanceT &loaded = *VdeInstance;
    const bool sorted =
        std::is_sorted(loaded.srIndex, loaded.srIndex + loaded.srCount,
                       [](const VdeSrIndexT &a, const VdeSrIndexT &b) { return a.id < b.id; });
    for (IntT i = 0; i < std::min(loaded.srCount, 100); i++) {
        const std::unique_ptr<char[]> text(new char[16]);
        require(V_SrGetN(loaded.srIndex[i].id, text.get(), 16) == 0 || !sorted,
                "a string of the index is there");
    }
    VdeFree(reinterpret_cast<void **>(&VdeInstance->srIndex));
    VdeFree(reinterpret_cast<void **>(&VdeInstance->srPool));
    VdeInstance->srCount = 0;
    return 0;
}
