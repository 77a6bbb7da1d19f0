#include "bench/resources.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/blocks.h"
#include "velt/vde/instance.h"
#include "velt/vde/resources.h"

namespace velt::bench
{
namespace
{

namespace fs = std::filesystem;

std::string big_endian(std::size_t value, int bytes)
{
    std::string text;
    while (bytes-- > 0)
        text += static_cast<char>(value >> 8 * bytes);
    return text;
}

// A directory with a resource file of the maximal number of strings.
class Resources
{
public:
    static constexpr std::size_t count = 32'767;

    explicit Resources(const std::string &form = " of the %0 menu of %1")
    {
        std::string pattern = fs::temp_directory_path() / "velt-bench-XXXXXX";
        if (!mkdtemp(pattern.data()))
            throw std::runtime_error("there is no temporary directory");
        directory_ = pattern;
        std::string index, text;
        for (std::size_t i = 0; i < count; ++i) {
            index += big_endian(i, 2) + big_endian(24 + 6 * count + text.size(), 4);
            text += "Text " + std::to_string(i) + form + "\n";
        }
        std::ofstream(file(), std::ios::binary)
            << std::string(20, '\0') << big_endian(count, 4) << index << text;
    }
    Resources(const Resources &) = delete;
    Resources &operator=(const Resources &) = delete;
    ~Resources() { fs::remove_all(directory_); }

    std::string name() const { return directory_ / "strings"; }
    std::string file() const { return name() + ".sre"; }

private:
    fs::path directory_;
};

// The least work with the same result: reads the whole file and copies every string.
std::vector<char *> read_and_copy(const std::string &path)
{
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen(path.c_str(), "rb"),
                                                                  std::fclose);
    std::string content(fs::file_size(path), '\0');
    if (!file || std::fread(content.data(), 1, content.size(), file.get()) != content.size())
        throw std::runtime_error("cannot read " + path);
    std::vector<char *> strings(Resources::count);
    for (std::size_t i = 0; i < strings.size(); ++i) {
        std::size_t offset = 0;
        for (std::size_t byte = 0; byte < 4; ++byte)
            offset = offset << 8 | static_cast<unsigned char>(content.at(24 + 6 * i + 2 + byte));
        strings[i] = strndup(&content.at(offset), content.find('\n', offset) - offset);
    }
    return strings;
}

void load(benchmark::State &state)
try {
    const Resources resources;
    const std::string name = resources.name();
    const std::string file = resources.file();
    compare(
        state,
        [&] {
            std::vector<char *> strings;
            const double seconds = timed(1, [&](std::size_t) { strings = read_and_copy(file); });
            std::ranges::for_each(strings, std::free);
            return seconds;
        },
        [&] {
            return timed(1, [&](std::size_t) {
                if (V_SrInit(name.c_str(), "en") != 0)
                    throw std::runtime_error("the strings cannot be loaded");
            });
        });
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

int by_id(const void *id, const void *entry)
{
    return *static_cast<const int *>(id) - static_cast<const VdeSrIndexT *>(entry)->id;
}

// Strings in random order, fetched into a buffer of this size. The baseline is the search of the C
// library in the same index, and %s of what it finds, or nothing else.
void look_up(benchmark::State &state, IntT size, bool search_alone)
try {
    const Resources resources(" without references");
    if (V_SrInit(resources.name().c_str(), "en") != 0)
        throw std::runtime_error("the strings cannot be loaded");
    static char text[65536];
    const auto id = [] {
        static std::minstd_rand random;
        return static_cast<int>(random() % Resources::count);
    };
    const auto search = [id] {
        const int wanted = id();
        const auto *entry = static_cast<const VdeSrIndexT *>(std::bsearch(
            &wanted, VdeInstance->srIndex, Resources::count, sizeof *VdeInstance->srIndex, by_id));
        return reinterpret_cast<const char *>(VdeInstance->srPool) + entry->offset;
    };
    const auto ours = block([=] { return V_SrGetN(id(), text, size); });
    if (search_alone)
        compare(state, block(search), ours);
    else
        compare(state, block([=] {
                    return std::snprintf(text, static_cast<std::size_t>(size), "%s", search());
                }),
                ours);
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

void expand(benchmark::State &state)
try {
    const Resources resources;
    if (V_SrInit(resources.name().c_str(), "en") != 0)
        throw std::runtime_error("the strings cannot be loaded");
    static char text[256];
    compare(state, block([] {
                return std::snprintf(text, sizeof text, "Text 5 of the %d menu of %s", 42, "Book");
            }),
            block([] { return V_SrGetF(5, text, sizeof text, "ds", 42, "Book"); }));
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

} // namespace

void register_resources()
{
    add_line("load 32767 strings / read and strdup", 1, load)->Iterations(41);
    add_line("V_SrGetN of 32767 / bsearch and snprintf", 1, look_up, 256, false);
    for (const IntT size : {256, 8192, 65536})
        add_line("V_SrGetN, " + std::to_string(size) + " bytes / bsearch alone", 1, look_up, size,
                 true);
    add_line("V_SrGetF of two / snprintf", 1.5, expand);
}

} // namespace velt::bench
