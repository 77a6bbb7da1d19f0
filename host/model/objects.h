// Finds all objects by their ids, by their names, and by what contains them.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/model/characters.h"
#include "host/model/runs.h"
#include "host/values/status.h"

namespace velt::host
{

namespace object_type
{
#define V_OBJECT_TYPE(number, name, meaning) inline constexpr IntT name = number;
#include "velt/tables/object_types.def"
} // namespace object_type

using Property = Properties::value_type;

// A place that a property holds, and that edits keep right; the end is 1 for the end of a range.
struct TextMark {
    Property *property;
    int end;
    UIntT owner = 0;
    bool operator<(const TextMark &other) const
    {
        return std::pair(property, end) < std::pair(other.property, other.end);
    }
};

struct Object {
    UIntT document; // the book or document that holds it, or 0
    UIntT id;
    IntT type;
    std::string name;   // only Objects::rename changes it
    UIntT parent;       // the object in which it was created, or 0
    bool stays = false; // no client may delete it
    // The objects that are removed with it: those created in it and, for a book or document, those
    // that it holds.
    std::set<UIntT> contents = {};
    Properties properties = {};

    // The neighbours in the order of the container, and the ends of the order of what this object
    // contains; 0 where there is none.
    UIntT previous = 0, next = 0;
    UIntT first = 0, last = 0;

    // Only paragraphs use these: the text in the session's encoding, its properties, and the places
    // in it that properties hold.
    std::string text = {};
    TextRuns runs = {};
    std::set<TextMark> marks = {};

    // Only commands and menus use the fields below.
    std::vector<UIntT> items = {}; // of a menu, in its order
    std::set<UIntT> menus = {};    // the menus that it is in
    int client = 0;                // the client that defined it
    IntT command = 0;
    std::string label = {};
    std::string shortcut = {};

    UIntT container() const { return parent != 0 ? parent : document; }
};

class Objects
{
public:
    Objects() = default; // the first to be added gets the id 0: it is the session
    Objects(const Objects &) = delete;
    Objects &operator=(const Objects &) = delete;

    bool contains(UIntT id) const { return objects_.contains(id); }
    // Returns the object of the id, which must exist.
    Object &at(UIntT id) { return objects_.at(id); }
    const Object &at(UIntT id) const { return objects_.at(id); }
    // Refuses a doc that is neither 0 nor a document or book.
    void check_document(UIntT doc) const;
    // Refuses an id that is no open document's.
    void check_is_document(UIntT id) const;
    // Returns the object that a client addresses by doc and id; (doc, doc) is the document itself.
    const Object &addressed(UIntT doc, UIntT id) const;
    Object &addressed(UIntT doc, UIntT id)
    {
        return at(std::as_const(*this).addressed(doc, id).id);
    }

    // Returns the first object of the type and name, or null. Nothing is found by an empty name.
    const Object *find(UIntT doc, IntT type, std::string_view name) const;
    // Returns the ids of all of them in ascending order.
    std::vector<UIntT> named(UIntT doc, IntT type, std::string_view name) const;

    Object &add(UIntT doc, IntT type, const std::string &name, UIntT parent = 0);
    void rename(Object &object, const std::string &name);
    // Returns the object and all objects that are removed with it, each after its container.
    std::vector<UIntT> with_contents(UIntT id) const;
    // Removes the object alone; its contents must go with it.
    void drop(UIntT id) noexcept;
    // Exchanges what two documents hold, and their properties, or nothing when memory runs out.
    void exchange_contents(Object &document, Object &other);

    // How the objects' texts split into characters.
    Characters characters{};

private:
    static std::size_t key(UIntT doc, IntT type, std::string_view name);
    static std::size_t key(const Object &object)
    {
        return key(object.document, object.type, object.name);
    }
    // Brings the index up to date. It is made when it is asked for, since most of those that read a
    // book or document ask for nothing by its name.
    void index_all() const;
    void index(const Object &object, const std::string &name) const;
    using Index = std::unordered_multimap<std::size_t, UIntT>;
    // Returns the object's entry, or the end.
    Index::const_iterator indexed(const Object &object) const noexcept;
    void drop_from_index(const Object &object) noexcept;

    std::unordered_map<UIntT, Object> objects_;
    // The objects with names, by hashes of document, type and name: a look at each object's own
    // name would be a cache miss.
    mutable Index by_name_;
    mutable UIntT indexed_ = 0; // the first id that is not in the index
    UIntT next_id_ = 0;
};

} // namespace velt::host
