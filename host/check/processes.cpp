#include "host/check/processes.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "apilib/unix/process.h"
#include "common/printable.h"
#include "common/words.h"

namespace velt::host
{

namespace fs = std::filesystem;

std::vector<Relative> descendants(pid_t of, const std::set<pid_t> &spared)
{
    std::multimap<pid_t, Relative> by_parent;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator("/proc", error)) {
        const std::string name = entry.path().filename();
        ProcessFacts facts{};
        if (!is_whole_number(name) || !read_process(number<pid_t>(name), facts))
            continue;
        by_parent.insert(
            {facts.parent, {number<pid_t>(name), facts.state == 'Z' || facts.state == 'X'}});
    }
    std::vector<Relative> found;
    for (std::vector<pid_t> parents{of}; !parents.empty();) {
        const auto [first, last] = by_parent.equal_range(parents.back());
        parents.pop_back();
        for (auto each = first; each != last; ++each)
            if (!spared.contains(each->second.id)) {
                found.push_back(each->second);
                parents.push_back(each->second.id);
            }
    }
    return found;
}

std::string command_line(pid_t id)
{
    std::ifstream file("/proc/" + std::to_string(id) + "/cmdline", std::ios::binary);
    std::string words(std::istreambuf_iterator<char>(file), {});
    std::ranges::replace(words, '\0', ' ');
    return shortened(printable_line(trimmed(words)));
}

std::vector<std::string> descriptors_of(pid_t id)
{
    std::vector<std::string> all;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator("/proc/" + std::to_string(id) + "/fd", error)) {
        std::error_code gone;
        const std::string of = fs::read_symlink(entry.path(), gone);
        if (!gone)
            all.push_back(entry.path().filename().string() + " (" + printable_line(of) + ")");
    }
    return all;
}

} // namespace velt::host
