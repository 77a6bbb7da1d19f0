// Finds what a mistyped name may have been meant to be.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace velt
{

// Returns the number of characters that have to be added, removed, replaced or exchanged with their
// neighbour to make the one text the other, in bytes.
std::size_t edit_distance(std::string_view one, std::string_view other);

// Finds the nearest of several names to one that is none of them.
class Nearest
{
public:
    explicit Nearest(std::string_view wanted) : wanted_(wanted) {}
    void consider(std::string_view name);
    // Returns that name; an empty one when none is near.
    std::string name() const;
    // Returns "; do you mean "NAME"?", or nothing when no name is near.
    std::string hint() const;

private:
    std::string_view wanted_, found_;
    std::size_t distance_ = SIZE_MAX;
};

} // namespace velt
