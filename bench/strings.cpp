#include "bench/strings.h"

#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/compare.h"
#include "velt/vde/formatted.h"
#include "velt/vde/resources.h"
#include "velt/vde/strings.h"

namespace velt::bench
{
namespace
{

namespace fs = std::filesystem;

constexpr int pairs = 41;
constexpr std::size_t repetitions = 20'000;

// Keeps the compiler from computing the result itself and from merging calls.
template <class Call>
auto block(Call call)
{
    return [call] {
        return timed(repetitions, [&](std::size_t) {
            benchmark::DoNotOptimize(call());
            benchmark::ClobberMemory();
        });
    };
}

void length(benchmark::State &state, std::size_t size)
{
    const std::string text(size, 'x');
    const char *const s = text.c_str();
    compare(state, block([s] { return std::strlen(s); }), block([s] { return V_StrLen(s); }));
}

// Two texts that are equal apart from the case of every second letter.
void compare_case(benchmark::State &state, std::size_t size)
{
    std::string one, other;
    for (std::size_t i = 0; i < size; ++i) {
        one += static_cast<char>('a' + i % 26);
        other += static_cast<char>((i % 2 == 0 ? 'A' : 'a') + i % 26);
    }
    const char *const a = one.c_str();
    const char *const b = other.c_str();
    compare(state, block([=] { return strcasecmp(a, b); }), block([=] { return V_StrICmp(a, b); }));
}

template <class... Arguments>
void format(benchmark::State &state, const char *pattern, Arguments... arguments)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    char buffer[256];
    char *const buf = buffer;
    compare(state, block([=] { return std::snprintf(buf, sizeof buffer, pattern, arguments...); }),
            block([=] { return V_Sprintf(buf, pattern, arguments...); }));
#pragma GCC diagnostic pop
}

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

    Resources()
    {
        std::string pattern = fs::temp_directory_path() / "velt-bench-XXXXXX";
        if (!mkdtemp(pattern.data()))
            throw std::runtime_error("there is no temporary directory");
        directory_ = pattern;
        std::string index, text;
        for (std::size_t i = 0; i < count; ++i) {
            index += big_endian(i, 2) + big_endian(24 + 6 * count + text.size(), 4);
            text += "Text " + std::to_string(i) + " of the %0 menu of %1\n";
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

} // namespace

void register_strings()
{
    const auto add = [](const std::string &name, auto function, auto... arguments) {
        benchmark::RegisterBenchmark(name.c_str(), function, arguments...)->Iterations(pairs);
    };
    for (const std::size_t size : {16U, 1000U}) {
        const std::string bytes = " of " + std::to_string(size) + " / ";
        add("V_StrLen" + bytes + "strlen", length, size);
        add("V_StrICmp" + bytes + "strcasecmp", compare_case, size);
    }
    add("V_Sprintf without arguments / snprintf", format<>, "The document is closed.");
    add("V_Sprintf %d %s %x / snprintf", format<int, const char *, int>, "page %d of %s, id %x", 12,
        "Chapter 3", 0x1234);
    add("load 32767 strings / read and strdup", load);
}

} // namespace velt::bench
