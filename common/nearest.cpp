#include "common/nearest.h"

#include <algorithm>
#include <vector>

#include "common/printable.h"

namespace velt
{

std::size_t edit_distance(std::string_view one, std::string_view other)
{
    // Three rows of the table of distances between the beginnings of both.
    std::vector<std::size_t> before(other.size() + 1), last(before), row(before);
    for (std::size_t j = 0; j <= other.size(); j++)
        row[j] = j;
    for (std::size_t i = 1; i <= one.size(); i++) {
        before.swap(last);
        last.swap(row);
        row[0] = i;
        for (std::size_t j = 1; j <= other.size(); j++) {
            const bool same = one[i - 1] == other[j - 1];
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
    }
    return row[other.size()];
}

void Nearest::consider(std::string_view name)
{
    const std::size_t distance = edit_distance(wanted_, name);
    if (distance < distance_) {
        distance_ = distance;
        found_ = name;
    }
}

std::string Nearest::name() const
{
    // Names that share less than two thirds are not what was meant.
    return distance_ <= wanted_.size() / 3 + 1 ? std::string(found_) : "";
}

std::string Nearest::hint() const
{
    const std::string meant = name();
    return meant.empty() ? "" : "; do you mean " + in_quotes(meant) + "?";
}

} // namespace velt
