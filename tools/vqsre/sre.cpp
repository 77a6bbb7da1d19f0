// Compiled files: writing and reading.

#include "tools/vqsre/sre.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <stdexcept>

#include "common/file.h"

using namespace velt;

namespace
{

template <class T>
void put(std::string &to, T value)
{
    for (int shift = 8 * (int{sizeof value} - 1); shift >= 0; shift -= 8)
        to += static_cast<char>(value >> shift & 0xFF);
}

// Makes the line that the library reads as these bytes. Every byte that equals a backslash is
// escaped, even as the second of a character: the library does not distinguish.
std::string line_of(const std::string &bytes)
{
    std::string line;
    for (const char byte : bytes) {
        const auto c = static_cast<unsigned char>(byte);
        const bool skipped = c == ' ' && line.empty();
        if (c >= 0x20 && c != 0x7F && c != '\\' && !skipped) {
            line += byte;
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02X", c);
            line += escape;
        }
    }
    return line + '\n';
}

} // namespace

std::string compile(const Source &source)
{
    std::string header;
    for (int word = 1; word <= 5; ++word)
        put(header, std::uint32_t{0});
    put(header, static_cast<std::uint32_t>(source.strings.size()));

    constexpr std::size_t entry_size = sizeof(std::int16_t) + sizeof(std::uint32_t);
    const std::size_t start = header.size() + entry_size * source.strings.size();
    std::string index;
    std::string lines;
    for (const auto &[id, string] : source.strings) {
        put(index, static_cast<std::int16_t>(id));
        put(index, static_cast<std::uint32_t>(start + lines.size()));
        lines += line_of(string.bytes);
    }
    return header + index + lines;
}

std::vector<std::pair<int, std::string>> read_sre(const std::string &path)
{
    std::string content = read_file(path);
    const auto end = content.size();
    const File file(fmemopen(content.data(), end, "rb"));
    if (!file)
        throw std::system_error(errno, std::generic_category(), path);
    velt::SrReader reader(file.get());
    velt::SrIndex index;
    if (const char *reason = reader.read_index(index))
        throw std::runtime_error(path + ": " + reason);
    // The library loads a file with an unsorted index, but may not find its strings.
    if (!std::ranges::is_sorted(index, {}, &VdeSrIndexT::id))
        throw std::runtime_error(path + ": the index is not sorted");
    // An empty string may begin where the file ends.
    if (std::ranges::any_of(index, [=](const VdeSrIndexT &entry) { return entry.offset > end; }))
        throw std::runtime_error(path + ": the index points behind the end of the file");
    std::vector<std::pair<int, std::string>> strings;
    std::map<UIntT, std::string> known; // strings read already, by offset
    std::uint64_t most = velt::sr_most(end);
    for (const VdeSrIndexT &entry : index) {
        const auto [place, is_new] = known.try_emplace(entry.offset);
        char text[velt::sr_text_size + velt::SrReader::spare];
        IntT length = 0;
        if (is_new && reader.read_text(entry.offset, text, length, most) != 0)
            throw std::runtime_error(
                path + ": string " + std::to_string(entry.id) +
                (most == 0 ? " and others overlap" : " does not end properly"));
        if (is_new)
            place->second = text;
        strings.emplace_back(entry.id, place->second);
    }
    return strings;
}
