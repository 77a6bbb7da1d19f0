// Runs a target over the files given, and over those in the directories given.

#include "fuzz/input.h"

#include <iterator>

namespace
{

namespace fs = std::filesystem;

int replay(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    require(file.good() || file.eof(), path.c_str());
    const std::unique_ptr<char[]> block = exact(text);
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(block.get()), text.size());
    return 1;
}

} // namespace

int main(int argc, char **argv)
{
    int count = 0;
    for (int i = 1; i < argc; i++) {
        if (!fs::is_directory(argv[i])) {
            count += replay(argv[i]);
            continue;
        }
        for (const auto &entry : fs::directory_iterator(argv[i]))
            count += replay(entry.path());
    }
    if (count == 0)
        std::fprintf(stderr, "%s: no inputs; give files, or directories of them\n", argv[0]);
    return count == 0 ? 2 : 0;
}
