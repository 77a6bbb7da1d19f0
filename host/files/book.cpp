// A book file is read into nodes that know their places, and from these into the model. The reader
// collects mistakes and goes on, so that all of them are reported at once.

#include "host/files/book.h"

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <optional>
#include <unordered_set>

#include "host/json/values.h"
#include "host/values/kinds.h"
#include "host/values/text.h"
#include "velt/vde.h"

namespace velt::host
{
namespace
{

const std::string &utf8_in(const JsonNode &node)
{
    if (!node.value.is_string())
        throw JsonError(node, "a text in quotes is needed here");
    const auto &text = node.value.get_ref<const std::string &>();
    if (text.find('\0') != std::string::npos)
        throw JsonError(node, "a text cannot hold the character 0");
    return text;
}

// Reads a book from nodes into a model and collects the mistakes in it.
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
    // Nothing in a file is ignored: an unknown name is a mistake.
    void need_object(const JsonNode &node, std::initializer_list<std::string_view> names)
    {
        node.need(JsonNode::object);
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
    void decode(T &value, const JsonNode &node)
    {
        ValueReader([this](const JsonNode &each) { return text(each); }, problems_)
            .read(value, node);
    }
    void session(const JsonNode &root, IntT language);
    void properties(const JsonNode &node, UIntT doc, UIntT id);
    void property(const JsonNode &node, UIntT doc, UIntT id);
    void component(const JsonNode &node, UIntT book);
    UIntT selected(const JsonNode &node, UIntT book);

    Model &model_;
    std::vector<JsonError> problems_;
    std::optional<SessionText> session_;
    std::unordered_set<std::string> names_; // the names of the components read so far
};

void Reader::property(const JsonNode &node, UIntT doc, UIntT id)
{
    node.need(JsonNode::object);
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
    const bool sound = attempt(problems_, [&] {
        for (const auto &part : node.members)
            attempt(problems_, [&] { take(part.first, part.second); });
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
    } catch (const StatusError &error) {
        throw JsonError(node, std::string("the property is refused: ") + error.what());
    }
}

void Reader::properties(const JsonNode &node, UIntT doc, UIntT id)
{
    const JsonNode *list = node.member("properties");
    if (!list)
        return;
    list->need(JsonNode::array);
    for (const auto &each : list->members)
        attempt(problems_, [&] { property(each.second, doc, id); });
}

void Reader::component(const JsonNode &node, UIntT book)
{
    need_object(node, {"name", "file", "properties"});
    std::string name;
    if (const JsonNode *named = node.member("name"))
        attempt(problems_, [&] {
            name = text(*named);
            if (!name.empty() && !names_.insert(name).second)
                throw JsonError(*named, "two components have this name");
        });
    else
        problems_.emplace_back(node, "a component needs a \"name\"");
    const UIntT id = model_.append(book, object_type::component, name);
    if (const JsonNode *file = node.member("file"))
        attempt(problems_, [&] {
            model_.set(book, id, PropertyKey(file_property), Value::string(text(*file)).get());
        });
    attempt(problems_, [&] { properties(node, book, id); });
}

// Returns the component that the node gives by name, or by position from 1, since not every
// component has a name.
UIntT Reader::selected(const JsonNode &node, UIntT book)
{
    if (node.value.is_string()) {
        if (const Object *found = model_.find(book, object_type::component, text(node)))
            return found->id;
        throw JsonError(node, "no component has this name");
    }
    const auto components = model_.components(book);
    IntT position = 0;
    decode(position, node);
    if (position < 1 || static_cast<std::size_t>(position) > components.size())
        throw JsonError(node, "no component has this number");
    return components[static_cast<std::size_t>(position - 1)];
}

// Sets the session's language, without which no text can be read.
void Reader::session(const JsonNode &root, IntT language)
{
    if (const JsonNode *named = root.member("language")) {
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

    const JsonNode *encoding = root.member("dialogEncoding");
    attempt(problems_, [&] {
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

    std::string title;
    if (const JsonNode *named = root.member("title"))
        attempt(problems_, [&] { title = text(*named); });
    else
        problems_.emplace_back(root, "a book needs a \"title\"");
    const UIntT book = model_.append(0, object_type::book, title);
    model_.keep(book);
    model_.activate(book);
    attempt(problems_, [&] { properties(root, 0, book); });

    const bool sound = attempt(problems_, [&] {
        const JsonNode *components = root.member("components");
        if (!components)
            throw JsonError(root, "a book needs a list \"components\"");
        components->need(JsonNode::array);
        for (const auto &each : components->members)
            attempt(problems_, [&] { component(each.second, book); });
    });
    // A selected component may be missing because of a mistake in a component, so it is looked for
    // only when there was none.
    if (const JsonNode *named = root.member("selected"); named && sound)
        attempt(problems_, [&] { model_.select(book, selected(*named, book)); });
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
    misuse(all);
}

} // namespace velt::host
