// A book file is read into nodes that know their places, and from these into the model. What is
// wrong is noted and passed over, so that all of it is told at once.

#include "host/book.h"

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <memory>
#include <optional>
#include <unordered_set>

#include "host/json_node.h"
#include "host/kinds.h"
#include "host/owned.h"
#include "host/text.h"
#include "velt/vde.h"

namespace velt::host
{
namespace
{

const JsonNode *member(const JsonNode &node, std::string_view name)
{
    for (const auto &[each, value] : node.members)
        if (each == name)
            return &value;
    return nullptr;
}

void need(const JsonNode &node, JsonNode::Type type, const char *what)
{
    if (node.type != type)
        throw JsonError(node, std::string(what) + " is needed here");
}

const std::string &utf8_in(const JsonNode &node)
{
    if (!node.value.is_string())
        throw JsonError(node, "a text in quotes is needed here");
    const auto &text = node.value.get_ref<const std::string &>();
    if (text.find('\0') != std::string::npos)
        throw JsonError(node, "a text cannot hold the character 0");
    return text;
}

// Where the book goes, and what is wrong with it.
class Reader
{
public:
    Reader(Model &model, std::vector<JsonError> problems)
        : model_(model), problems_(std::move(problems))
    {
    }
    UIntT book(const JsonNode &root, IntT language);
    std::vector<JsonError> problems() { return std::move(problems_); }

private:
    // Carries on behind what is wrong; whether nothing was.
    template <class Action>
    bool attempt(Action action)
    {
        const std::size_t before = problems_.size();
        try {
            action();
        } catch (const JsonError &error) {
            problems_.push_back(error);
        }
        return problems_.size() == before;
    }

    // Nothing is ignored: a name that is not known is a mistake.
    void need_object(const JsonNode &node, std::initializer_list<std::string_view> names)
    {
        need(node, JsonNode::object, "an object { ... }");
        for (const auto &[each, value] : node.members)
            if (std::ranges::find(names, each) == names.end())
                problems_.emplace_back(value, "unknown name \"" + each + "\"");
    }

    std::string text(const JsonNode &node) const
    {
        const std::string &utf8 = utf8_in(node);
        try {
            return session_->from_utf8(utf8);
        } catch (const std::runtime_error &error) {
            throw JsonError(node, error.what());
        }
    }

    template <class T>
    void decode(T &value, const JsonNode &node);
    void session(const JsonNode &root, IntT language);
    void properties(const JsonNode &node, UIntT doc, UIntT id);
    void property(const JsonNode &node, UIntT doc, UIntT id);
    void component(const JsonNode &node, UIntT book);
    UIntT selected(const JsonNode &node, UIntT book);

    Model &model_;
    std::vector<JsonError> problems_;
    std::optional<SessionText> session_;
    std::unordered_set<std::string> names_; // of components
};

// A value of any type from its JSON. What is made up to an error belongs to the value, which its
// owner releases.
template <class T>
void Reader::decode(T &value, const JsonNode &node)
{
    if constexpr (std::is_same_v<T, StringT>) {
        value = owned_string(text(node));
    } else if constexpr (std::is_pointer_v<T>) {
        if (node.type == JsonNode::scalar && node.value.is_null())
            return;
        value = owned_record<std::remove_pointer_t<T>>();
        decode(*value, node);
    } else if constexpr (List<T>) {
        need(node, JsonNode::array, "a list [ ... ]");
        value = owned_list<T>(node.members.size());
        for (UIntT i = 0; i < value.len; i++)
            attempt([&] { decode(value.val[i], node.members[i].second); });
    } else if constexpr (Record<T>) {
        need(node, JsonNode::object, "an object { ... }");
        std::size_t taken = 0;
        fields(value, [&](const char *name, auto &field) {
            const JsonNode *part = member(node, name);
            if (!part)
                problems_.emplace_back(node, std::string("\"") + name + "\" is missing");
            else
                attempt([&] { decode(field, *part); });
            taken += part != nullptr;
            return true;
        });
        if (taken != node.members.size())
            throw JsonError(node, "a name that does not belong here");
    } else {
        using Limits = std::numeric_limits<T>;
        // A wider type than any of the fields, so that nothing is cut off unseen.
        const bool fits =
            node.value.is_number_integer() &&
            (!node.value.is_number_unsigned() ||
             node.value.get<std::uint64_t>() <= static_cast<std::uint64_t>(Limits::max())) &&
            node.value.get<std::int64_t>() >= static_cast<std::int64_t>(Limits::min()) &&
            node.value.get<std::int64_t>() <= static_cast<std::int64_t>(Limits::max());
        if (!fits)
            throw JsonError(node, "a whole number from " + std::to_string(Limits::min()) + " to " +
                                      std::to_string(Limits::max()) + " is needed here");
        value = node.value.get<T>();
    }
}

void Reader::property(const JsonNode &node, UIntT doc, UIntT id)
{
    need(node, JsonNode::object, "an object { ... }");
    std::unique_ptr<PropertyKey> key;
    V_TypedValT value{};
    struct Release {
        V_TypedValT &value;
        ~Release() { velt::release(value); }
    } release{value};
    bool keyed = false;
    const auto take = [&](const std::string &name, const JsonNode &part) {
        if (name == "number" || name == "name") {
            if (std::exchange(keyed, true))
                throw JsonError(part, "a property has either a number or a name");
            IntT number = 0;
            if (name == "number")
                decode(number, part);
            key = name == "name" ? std::make_unique<PropertyKey>(text(part))
                                 : std::make_unique<PropertyKey>(number);
            return;
        }
        const IntT kind = kind_of(name);
        if (kind == 0 || value.valType != 0)
            throw JsonError(part, kind == 0 ? "unknown kind of value \"" + name + "\""
                                            : "a property has one value");
        value.valType = kind;
        fields(value.valType, value.u, [&](const char *, auto &field) {
            decode(field, part);
            return true;
        });
    };
    const bool sound = attempt([&] {
        for (const auto &part : node.members)
            attempt([&] { take(part.first, part.second); });
    });
    if (!sound)
        return;
    if (!key || value.valType == 0)
        throw JsonError(node, "a property needs \"number\" or \"name\", and a value");
    if (key->number == property::previous_component || key->number == property::next_component ||
        key->number == property::selected_component || key->number == property::first_component ||
        key->number == property::name)
        throw JsonError(node, "the property is refused: \"components\" and \"selected\" say this");
    try {
        model_.set(doc, id, *key, value);
    } catch (const Refusal &refusal) {
        throw JsonError(node, std::string("the property is refused: ") + refusal.what());
    }
}

void Reader::properties(const JsonNode &node, UIntT doc, UIntT id)
{
    const JsonNode *list = member(node, "properties");
    if (!list)
        return;
    need(*list, JsonNode::array, "a list [ ... ]");
    for (const auto &each : list->members)
        attempt([&] { property(each.second, doc, id); });
}

void Reader::component(const JsonNode &node, UIntT book)
{
    need_object(node, {"name", "file", "properties"});
    const UIntT id = model_.append(book, object_type::component, {});
    if (const JsonNode *name = member(node, "name"))
        attempt([&] {
            std::string its_name = text(*name);
            if (!its_name.empty() && !names_.insert(its_name).second)
                throw JsonError(*name, "two components have this name");
            model_.at(id).name = std::move(its_name);
        });
    else
        problems_.emplace_back(node, "a component needs a \"name\"");
    if (const JsonNode *file = member(node, "file"))
        attempt([&] {
            model_.set(book, id, PropertyKey(file_property), Value::string(text(*file)).get());
        });
    attempt([&] { properties(node, book, id); });
}

// By name, or by position from 1: not every component has a name.
UIntT Reader::selected(const JsonNode &node, UIntT book)
{
    if (node.value.is_string()) {
        if (const Object *found = model_.find(book, object_type::component, text(node)))
            return found->id;
        throw JsonError(node, "no component has this name");
    }
    const auto &members = model_.object(0, book).members;
    IntT position = 0;
    decode(position, node);
    if (position < 1 || static_cast<std::size_t>(position) > members.size())
        throw JsonError(node, "no component has this number");
    return members[static_cast<std::size_t>(position - 1)];
}

// Without the language, no text can be read.
void Reader::session(const JsonNode &root, IntT language)
{
    if (const JsonNode *named = member(root, "language")) {
        const std::string name = utf8_in(*named);
        try {
            language = language != V_language_none ? language : language_number(name);
        } catch (const std::runtime_error &error) {
            throw JsonError(*named, error.what());
        }
    }
    language = language != V_language_none ? language : V_language_usenglish;
    session_.emplace(language);
    model_.set_language(language);

    const JsonNode *encoding = member(root, "dialogEncoding");
    attempt([&] {
        if (!encoding)
            return;
        const std::string &wanted = utf8_in(*encoding);
        const auto is_it = [&](const char *each) { return V_StrIEqual(each, wanted.c_str()) != 0; };
        if (!wanted.empty() && std::ranges::none_of(dialog_encodings, is_it)) {
            std::string all;
            for (const char *each : dialog_encodings)
                all += (all.empty() ? "" : ", ") + std::string(each);
            throw JsonError(*encoding, "unknown encoding \"" + wanted + "\"; there are: " + all);
        }
        model_.set_dialog_encoding(wanted);
    });
}

UIntT Reader::book(const JsonNode &root, IntT language)
{
    need_object(root,
                {"title", "language", "dialogEncoding", "selected", "properties", "components"});
    session(root, language);

    const UIntT book = model_.create(0, object_type::book, {});
    model_.at(book).stays = true;
    model_.activate(book);
    if (const JsonNode *title = member(root, "title"))
        attempt([&] { model_.at(book).name = text(*title); });
    else
        problems_.emplace_back(root, "a book needs a \"title\"");
    attempt([&] { properties(root, 0, book); });

    const bool sound = attempt([&] {
        const JsonNode *components = member(root, "components");
        if (!components)
            throw JsonError(root, "a book needs a list \"components\"");
        need(*components, JsonNode::array, "a list [ ... ]");
        for (const auto &each : components->members)
            attempt([&] { component(each.second, book); });
    });
    // What is wrong with the components may be why it is not found.
    if (const JsonNode *named = member(root, "selected"); named && sound)
        attempt([&] { model_.select(book, selected(*named, book)); });
    return book;
}

} // namespace

UIntT read_book(std::string_view text, const std::string &path, Model &model, IntT language)
{
    std::vector<JsonError> problems;
    UIntT book = 0;
    try {
        JsonNode root;
        Reader reader(model, parse_json(text, root));
        try {
            book = reader.book(root, language);
            problems = reader.problems();
        } catch (const JsonError &last) {
            problems = reader.problems();
            problems.push_back(last);
        }
    } catch (const JsonError &error) {
        problems = {error};
    }
    if (problems.empty())
        return book;
    const auto place = [](const JsonError &error) { return std::pair(error.line, error.column); };
    std::ranges::stable_sort(problems, {}, place);
    std::string all;
    for (const JsonError &error : problems)
        all += (all.empty() ? "" : "\n") + path + ":" + std::to_string(error.line) + ":" +
               std::to_string(error.column) + ": " + printable(error.what());
    throw BookError(all);
}

} // namespace velt::host
