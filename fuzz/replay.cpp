// Runs a fuzz target over the files given and those in the directories given: each as it is, and in
// some hundred variants, which are the same every time.

#include <iterator>
#include <random>
#include <vector>

#include "fuzz/input.h"

namespace
{

namespace fs = std::filesystem;

constexpr int variants = 300;

std::string read(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    require(file.good() || file.eof(), path.c_str());
    return text;
}

void run(const std::string &text, const fs::path &path, int variant = 0)
{
    const std::unique_ptr<char[]> block = exact(text);
    std::printf("%s, variant %d\n", path.c_str(), variant);
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(block.get()), text.size());
}

// Makes a variant: the text truncated, with bytes changed or removed, or with a piece of another.
std::string varied(std::string text, const std::string &other, std::mt19937 &random)
{
    for (auto edits = 1 + random() % 4; edits > 0; edits--) {
        const std::size_t at = random() % (text.size() + 1), size = random() % 9;
        switch (random() % 4) {
        case 0:
            text.resize(at);
            break;
        case 1:
            text.erase(at, size);
            break;
        case 2:
            text.insert(at, other.substr(random() % (other.size() + 1), size));
            break;
        default:
            text.replace(at, 1, 1, static_cast<char>(random()));
        }
    }
    return text;
}

} // namespace

int main(int argc, char **argv)
{
    std::vector<fs::path> files, corpus;
    for (int i = 1; i < argc; i++) {
        if (fs::is_directory(argv[i]))
            std::copy(fs::directory_iterator(argv[i]), {}, std::back_inserter(corpus));
        else
            files.emplace_back(argv[i]);
    }
    for (const fs::path &path : files)
        run(read(path), path);
    std::sort(corpus.begin(), corpus.end());
    std::mt19937 random(1); // NOLINT: the same variants every time
    for (const fs::path &path : corpus) {
        const std::string text = read(path);
        run(text, path);
        for (int variant = 1; variant <= variants; variant++)
            run(varied(text, read(corpus[random() % corpus.size()]), random), path, variant);
    }
    const bool none = files.empty() && corpus.empty();
    if (none)
        std::fprintf(stderr, "%s: no inputs; give files, or directories of them\n", argv[0]);
    return none ? 2 : 0;
}
