// Helpers of the fuzz targets: parsing an input, blocks of exactly the size of their content, and a
// directory for files.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

// Reads values from the front of an input; values beyond its end are 0.
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size)
        : rest_(reinterpret_cast<const char *>(data), size)
    {
    }

    bool empty() const { return rest_.empty(); }
    std::uint8_t byte() { return empty() ? 0 : static_cast<std::uint8_t>(take(1)[0]); }
    int number()
    {
        const int high = byte();
        return static_cast<std::int16_t>(high << 8 | byte());
    }
    std::string_view take(std::size_t count)
    {
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(taken.size());
        return taken;
    }
    std::string_view rest() { return take(rest_.size()); }

private:
    std::string_view rest_;
};

// The pieces in which a stream of bytes arrives. The input gives their number, at most 15, and the
// size of each; the sizes repeat. Without a piece, or at an empty one, all the rest arrives at
// once.
class Cuts
{
public:
    explicit Cuts(Input &input) : sizes_(input.take(input.byte() & 15)) {}

    std::string_view next(std::string_view &stream)
    {
        std::size_t size = 0;
        if (!sizes_.empty())
            size = static_cast<unsigned char>(sizes_[at_++ % sizes_.size()]);
        const std::string_view piece = stream.substr(0, size != 0 ? size : stream.size());
        stream.remove_prefix(piece.size());
        return piece;
    }

private:
    std::string_view sizes_;
    std::size_t at_ = 0;
};

// A block of exactly the text's size, without a terminator.
inline std::unique_ptr<char[]> exact(std::string_view text)
{
    std::unique_ptr<char[]> block(new char[text.size()]);
    std::copy(text.begin(), text.end(), block.get());
    return block;
}

// The same with a terminator; the text is cut at its first zero byte.
inline std::unique_ptr<char[]> exact_string(std::string_view text)
{
    std::string string(text.substr(0, text.find('\0')));
    return exact({string.c_str(), string.size() + 1});
}

// Checks a condition that must hold for every input.
inline void require(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

// The temporary directory of the process, removed when it ends.
class Place
{
public:
    Place()
    {
        std::string name = std::filesystem::temp_directory_path() / "velt-fuzz-XXXXXX";
        require(mkdtemp(name.data()) != nullptr, "a temporary directory can be made");
        path_ = name;
    }
    ~Place() { std::filesystem::remove_all(path_); }

    const char *path() const { return path_.c_str(); }
    std::string write(const std::string &name, std::string_view content) const
    {
        const std::filesystem::path file = path_ / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
        return file;
    }

private:
    std::filesystem::path path_;
};
