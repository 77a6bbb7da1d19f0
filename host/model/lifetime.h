// Making objects, whole or not at all, and taking them away.
#pragma once

#include "host/model/objects.h"

namespace velt::host
{

// Removes objects with their contents, which must all be among them, from whatever lists them.
void discard(Objects &objects, const std::vector<UIntT> &all) noexcept;

// The objects that an operation makes. They go again unless it keeps them in the end.
class NewObjects
{
public:
    explicit NewObjects(Objects &objects) : objects_(objects) {}
    NewObjects(const NewObjects &) = delete;
    NewObjects &operator=(const NewObjects &) = delete;
    ~NewObjects() { discard(objects_, made_); }

    Object &add(UIntT doc, IntT type, const std::string &name, UIntT parent = 0);
    void keep() { made_.clear(); }

private:
    Objects &objects_;
    std::vector<UIntT> made_;
};

} // namespace velt::host
