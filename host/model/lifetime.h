// Making objects, whole or not at all, and taking them away.
#pragma once

#include "host/model/objects.h"

namespace velt::host
{

// A copy of an object, and of all that is in it, each after what it is in.
struct CopiedObject {
    IntT type;
    std::string name;
    Properties properties; // but for an anchor
    std::size_t container; // the index of what it is in
};
using CopiedObjects = std::vector<CopiedObject>;
CopiedObjects copy_of(const Objects &objects, UIntT id);

// Removes objects with their contents, which must all be among them, from whatever lists them.
void discard(Objects &objects, const std::vector<UIntT> &all) noexcept;
// Removes an object with its contents, which takes no memory.
void discard(Objects &objects, UIntT id) noexcept;

// The objects that an operation makes. They go again unless it keeps them in the end.
class NewObjects
{
public:
    explicit NewObjects(Objects &objects) : objects_(objects) {}
    NewObjects(const NewObjects &) = delete;
    NewObjects &operator=(const NewObjects &) = delete;
    ~NewObjects() { discard(objects_, made_); }

    Object &add(UIntT doc, IntT type, const std::string &name, UIntT parent = 0);
    // Adds a copy to the document. It keeps its name if no other has that, and the ids in its
    // properties.
    Object &add(UIntT doc, const CopiedObjects &copy, UIntT parent = 0);
    // Adds what was in the object that was copied to another.
    void add_contents(const CopiedObjects &copy, Object &to);
    void keep() { made_.clear(); }

private:
    Object &add_one(UIntT doc, const CopiedObject &copy, UIntT parent);

    Objects &objects_;
    std::vector<UIntT> made_;
};

} // namespace velt::host
