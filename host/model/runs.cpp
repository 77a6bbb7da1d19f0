#include "host/model/runs.h"

#include <algorithm>

namespace velt::host::runs
{
namespace
{

auto after(const TextRuns &runs, std::size_t byte)
{
    return std::ranges::upper_bound(runs, byte, {}, &TextRun::begin);
}

void add(TextRuns &to, std::size_t begin, const SharedProperties &properties)
{
    if (properties != (to.empty() ? nullptr : to.back().properties))
        to.push_back({begin, properties});
}

} // namespace

SharedProperties at(const TextRuns &runs, std::size_t byte)
{
    const auto next = after(runs, byte);
    return next == runs.begin() ? nullptr : std::prev(next)->properties;
}

void append(TextRuns &to, std::size_t place, const TextRuns &from, std::size_t begin,
            std::size_t end)
{
    if (begin == end)
        return;
    add(to, place, at(from, begin));
    for (auto each = after(from, begin); each != from.end() && each->begin < end; ++each)
        add(to, place + each->begin - begin, each->properties);
}

} // namespace velt::host::runs
