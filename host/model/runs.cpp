#include "host/model/runs.h"

#include <algorithm>
#include <iterator>

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

Change change(const TextRuns &of, std::size_t begin, std::size_t end, std::size_t size,
              const TextRuns &inside)
{
    const auto first = std::ranges::lower_bound(of, begin, {}, &TextRun::begin);
    const auto last = end < size ? after(of, end) : of.end();
    Change made{static_cast<std::size_t>(first - of.begin()),
                static_cast<std::size_t>(last - of.begin()),
                {}};
    SharedProperties before = first == of.begin() ? nullptr : std::prev(first)->properties;
    const auto have = [&](std::size_t place, const SharedProperties &properties) {
        if (properties != before)
            made.runs.push_back({place, properties});
        before = properties;
    };
    for (const TextRun &each : inside)
        have(begin + each.begin, each.properties);
    if (end < size)
        have(end, at(of, end));
    return made;
}

void reserve(TextRuns &to, const Change &made)
{
    const std::size_t needed = to.size() + made.runs.size();
    if (needed > to.capacity())
        to.reserve(std::max(needed, 2 * to.capacity()));
}

void carry_out(TextRuns &to, Change &made) noexcept
{
    const auto nth = [&](std::size_t index) {
        return to.begin() + static_cast<std::ptrdiff_t>(index);
    };
    const std::size_t replaced = std::min(made.last - made.first, made.runs.size());
    const auto rest = made.runs.begin() + static_cast<std::ptrdiff_t>(replaced);
    std::move(made.runs.begin(), rest, nth(made.first));
    to.erase(nth(made.first + replaced), nth(made.last));
    to.insert(nth(made.first + replaced), std::make_move_iterator(rest),
              std::make_move_iterator(made.runs.end()));
}

} // namespace velt::host::runs
