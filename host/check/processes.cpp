#include "host/check/processes.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "apilib/unix/process.h"
#include "common/file.h"
#include "common/printable.h"
#include "common/words.h"

namespace velt::host
{

std::vector<Relative> descendants(pid_t of, const std::set<pid_t> &spared)
{
    std::multimap<pid_t, Relative> by_parent;
    for (const std::string &name : names_in("/proc")) {
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
    const std::string folder = "/proc/" + std::to_string(id) + "/fd";
    for (const std::string &name : names_in(folder)) {
        std::error_code gone;
        const std::string of = std::filesystem::read_symlink(folder + "/" + name, gone);
        if (!gone)
            all.push_back(name + " (" + printable_line(of) + ")");
    }
    return all;
}

} // namespace velt::host
