// A book file is read into nodes that know their lines, and from these into the model.

#include "host/book.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <initializer_list>
#include <limits>
#include <memory>
#include <system_error>

#include "host/descriptor.h"
#include "host/json_node.h"
#include "host/owned.h"
#include "host/text.h"
#include "velt/vde.h"

namespace velt::host
{
namespace
{

using Json = nlohmann::ordered_json;

struct KindName {
    IntT kind;
    const char *name;
};
constexpr KindName kind_names[] = {
#define V_KIND(code, name) {code, #name},
#include "velt/tables/kinds.def"
};

const char *name_of_kind(IntT kind)
{
    return std::ranges::find(kind_names, kind, &KindName::kind)->name;
}

// Reading

const std::string &text_in(const JsonNode &node)
{
    if (!node.value.is_string())
        throw JsonError(node.line, "a text in quotes is needed here");
    const auto &text = node.value.get_ref<const std::string &>();
    if (text.find('\0') != std::string::npos)
        throw JsonError(node.line, "a text cannot hold the character 0");
    return text;
}

std::string text_in(const JsonNode &node, const SessionText &session)
{
    try {
        return session.from_utf8(text_in(node));
    } catch (const JsonError &) {
        throw;
    } catch (const std::runtime_error &error) {
        throw JsonError(node.line, error.what());
    }
}

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
        throw JsonError(node.line, std::string(what) + " is needed here");
}

// Nothing is ignored: a name that is not known is a mistake.
void need_object(const JsonNode &node, std::initializer_list<std::string_view> names)
{
    need(node, JsonNode::object, "an object { ... }");
    for (const auto &[each, value] : node.members)
        if (std::ranges::find(names, each) == names.end())
            throw JsonError(value.line, "unknown name \"" + each + "\"");
}

// A value of any type from its JSON, as encode() gives it. What is made up to an error belongs to
// the value, which its owner releases.
template <class T>
void decode(T &value, const JsonNode &node, const SessionText &session)
{
    if constexpr (std::is_same_v<T, StringT>) {
        value = owned_string(text_in(node, session));
    } else if constexpr (std::is_pointer_v<T>) {
        if (node.type == JsonNode::scalar && node.value.is_null())
            return;
        value = owned_record<std::remove_pointer_t<T>>();
        decode(*value, node, session);
    } else if constexpr (List<T>) {
        need(node, JsonNode::array, "a list [ ... ]");
        value = owned_list<T>(node.members.size());
        for (UIntT i = 0; i < value.len; i++)
            decode(value.val[i], node.members[i].second, session);
    } else if constexpr (Record<T>) {
        need(node, JsonNode::object, "an object { ... }");
        std::size_t taken = 0;
        fields(value, [&](const char *name, auto &field) {
            const JsonNode *part = member(node, name);
            if (!part)
                throw JsonError(node.line, std::string("\"") + name + "\" is missing");
            decode(field, *part, session);
            taken++;
            return true;
        });
        if (taken != node.members.size())
            throw JsonError(node.line, "a name that does not belong here");
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
            throw JsonError(node.line, "a whole number from " + std::to_string(Limits::min()) +
                                           " to " + std::to_string(Limits::max()) +
                                           " is needed here");
        value = node.value.get<T>();
    }
}

void read_property(const JsonNode &node, const SessionText &session, Model &model, UIntT doc,
                   UIntT id)
{
    need(node, JsonNode::object, "an object { ... }");
    std::unique_ptr<PropertyKey> key;
    V_TypedValT value{};
    struct Release {
        V_TypedValT &value;
        ~Release() { velt::release(value); }
    } release{value};
    for (const auto &each : node.members) {
        const std::string &name = each.first;
        const JsonNode &part = each.second;
        if (name == "number" || name == "name") {
            if (key)
                throw JsonError(part.line, "a property has either a number or a name");
            IntT number = 0;
            if (name == "number")
                decode(number, part, session);
            key = name == "name" ? std::make_unique<PropertyKey>(text_in(part, session))
                                 : std::make_unique<PropertyKey>(number);
            continue;
        }
        const auto *kind = std::ranges::find(kind_names, name, &KindName::name);
        if (kind == std::end(kind_names) || value.valType != 0)
            throw JsonError(part.line, kind == std::end(kind_names)
                                           ? "unknown kind of value \"" + name + "\""
                                           : "a property has one value");
        value.valType = kind->kind;
        fields(value.valType, value.u, [&](const char *, auto &field) {
            decode(field, part, session);
            return true;
        });
    }
    if (!key || value.valType == 0)
        throw JsonError(node.line, "a property needs \"number\" or \"name\", and a value");
    try {
        model.set(doc, id, *key, value);
    } catch (const Refusal &refusal) {
        throw JsonError(node.line, std::string("the property is refused: ") + refusal.what());
    }
}

void read_properties(const JsonNode &node, const SessionText &session, Model &model, UIntT doc,
                     UIntT id)
{
    const JsonNode *list = member(node, "properties");
    if (!list)
        return;
    need(*list, JsonNode::array, "a list [ ... ]");
    for (const auto &[name, each] : list->members)
        read_property(each, session, model, doc, id);
}

void read_component(const JsonNode &node, const SessionText &session, Model &model, UIntT book)
{
    need_object(node, {"name", "file", "properties"});
    const JsonNode *name = member(node, "name");
    if (!name)
        throw JsonError(node.line, "a component needs a \"name\"");
    const std::string text = text_in(*name, session);
    if (!text.empty() && model.find(book, object_type::component, text))
        throw JsonError(name->line, "two components have this name");
    const UIntT id = model.create(book, object_type::component, text);
    if (const JsonNode *file = member(node, "file"))
        model.set(book, id, PropertyKey(file_property),
                  Value::string(text_in(*file, session)).get());
    read_properties(node, session, model, book, id);
}

// By name, or by position from 1: not every component has a name.
UIntT selected_id(const JsonNode &node, const SessionText &session, const Model &model, UIntT book)
{
    if (node.value.is_string()) {
        if (const Object *found = model.find(book, object_type::component, text_in(node, session)))
            return found->id;
        throw JsonError(node.line, "no component has this name");
    }
    const auto &members = model.object(0, book).members;
    IntT position = 0;
    decode(position, node, session);
    if (position < 1 || static_cast<std::size_t>(position) > members.size())
        throw JsonError(node.line, "no component has this number");
    return members[static_cast<std::size_t>(position - 1)];
}

UIntT read_nodes(const JsonNode &root, Model &model)
{
    need_object(root,
                {"title", "language", "dialogEncoding", "selected", "properties", "components"});

    const JsonNode *language = member(root, "language");
    const std::string name = language ? text_in(*language) : V_LanguageString(V_language_usenglish);
    const IntT number = V_LanguageNumber(name.c_str());
    if (number == V_language_none)
        throw JsonError(language->line, "unknown language \"" + name + "\"");
    const SessionText session(number);
    model.set_language(number);
    if (const JsonNode *encoding = member(root, "dialogEncoding"))
        model.set_dialog_encoding(text_in(*encoding, session));

    const JsonNode *title = member(root, "title");
    if (!title)
        throw JsonError(root.line, "a book needs a \"title\"");
    const UIntT book = model.create(0, object_type::book, text_in(*title, session));
    model.at(book).stays = true;
    model.activate(book);
    read_properties(root, session, model, 0, book);

    const JsonNode *components = member(root, "components");
    if (!components)
        throw JsonError(root.line, "a book needs a list \"components\"");
    need(*components, JsonNode::array, "a list [ ... ]");
    for (const auto &[nothing, each] : components->members)
        read_component(each, session, model, book);

    if (const JsonNode *selected = member(root, "selected")) {
        model.select(book, selected_id(*selected, session, model, book));
    }
    return book;
}

// Writing

template <class T>
Json encode(T &value, const SessionText &session)
{
    if constexpr (std::is_same_v<T, StringT>) {
        return value ? session.to_utf8(value) : std::string();
    } else if constexpr (std::is_pointer_v<T>) {
        return value ? encode(*value, session) : Json();
    } else if constexpr (List<T>) {
        Json list = Json::array();
        for (UIntT i = 0; i < value.len; i++)
            list.push_back(encode(value.val[i], session));
        return list;
    } else if constexpr (Record<T>) {
        Json record = Json::object();
        fields(value, [&](const char *name, auto &field) {
            record[name] = encode(field, session);
            return true;
        });
        return record;
    } else {
        return value;
    }
}

bool untouched(const PropertyKey &key, const Value &value)
{
    switch (key.number) {
    case property::previous_component:
    case property::next_component:
    case property::selected_component:
        return true;
    case property::moved:
        return value.get().u.intVal == 0;
    }
    return false;
}

void write_properties(const Object &object, const SessionText &session, Json &into)
{
    Json list = Json::array();
    for (const auto &[key, value] : object.properties) {
        const bool is_file = object.type == object_type::component && key.name == file_property &&
                             value.kind() == kind::string;
        if (untouched(key, value) || is_file)
            continue;
        Json property = key.number != 0 ? Json{{"number", key.number}}
                                        : Json{{"name", session.to_utf8(key.name)}};
        V_TypedValT shown = value.get();
        fields(shown.valType, shown.u, [&](const char *, auto &field) {
            property[name_of_kind(shown.valType)] = encode(field, session);
            return true;
        });
        list.push_back(std::move(property));
    }
    if (!list.empty())
        into["properties"] = std::move(list);
}

std::system_error failure()
{
    return std::system_error(errno, std::generic_category());
}

void write_all(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written < 0 && errno != EINTR)
            throw failure();
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

// A file beside the final one, which it replaces or leaves alone.
void replace_file(const std::filesystem::path &path, std::string_view text)
{
    struct stat old {
    };
    const bool exists = stat(path.c_str(), &old) == 0;
    if (exists && !S_ISREG(old.st_mode))
        throw BookError(path.string() + ": cannot save the book: it is not a plain file");

    const auto folder = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
    std::string name = (folder / ("." + path.filename().string() + ".XXXXXX")).string();
    Descriptor file(mkostemp(name.data(), O_CLOEXEC));
    if (!file)
        throw failure();
    try {
        const mode_t mask = umask(0);
        umask(mask);
        if (fchmod(file.get(), exists ? old.st_mode & 07777 : 0666 & ~mask) != 0)
            throw failure();
        write_all(file.get(), text);
        if (fsync(file.get()) != 0 || rename(name.c_str(), path.c_str()) != 0)
            throw failure();
    } catch (...) {
        unlink(name.c_str());
        throw;
    }
    // Without this the new name may be lost with the power, but neither file is damaged.
    if (const Descriptor directory(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        directory)
        fsync(directory.get());
}

} // namespace

UIntT read_book(std::string_view text, const std::string &path, Model &model)
{
    try {
        return read_nodes(parse_json(text), model);
    } catch (const JsonError &error) {
        throw BookError(path + ":" + std::to_string(error.line) + ": " + error.what());
    }
}

UIntT load_book(const std::string &path, Model &model)
{
    const auto cannot = [&] {
        return BookError(path + ": cannot read the book: " + failure().code().message());
    };
    // Nobody is waited for who may write to a pipe.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {
    };
    if (!file || fstat(file.get(), &status) != 0)
        throw cannot();
    if (S_ISFIFO(status.st_mode))
        throw BookError(path + ": cannot read the book: it is a pipe, not a file");
    std::string text;
    char buffer[4096];
    ssize_t got = 0;
    while ((got = read(file.get(), buffer, sizeof buffer)) != 0) {
        if (got < 0 && errno != EINTR)
            throw cannot();
        text.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
    return read_book(text, path, model);
}

std::string write_book(const Model &model, UIntT book)
{
    const SessionText session(model.language());
    const Object &object = model.object(0, book);
    Json root = {{"title", session.to_utf8(object.name)},
                 {"language", V_LanguageString(model.language())},
                 {"dialogEncoding", session.to_utf8(model.dialog_encoding())}};
    if (const UIntT selected = model.selected(book)) {
        const std::string &name = model.at(selected).name;
        if (!name.empty())
            root["selected"] = session.to_utf8(name);
        else
            root["selected"] =
                1 + (std::ranges::find(object.members, selected) - object.members.begin());
    }
    write_properties(object, session, root);
    root["components"] = Json::array();
    for (UIntT id : object.members) {
        const Object &component = model.at(id);
        Json entry = {{"name", session.to_utf8(component.name)}};
        const auto file = component.properties.find(PropertyKey(file_property));
        if (file != component.properties.end() && file->second.kind() == kind::string)
            entry["file"] = session.to_utf8(file->second.get().u.stringVal);
        write_properties(component, session, entry);
        root["components"].push_back(std::move(entry));
    }
    return root.dump(2) + "\n";
}

void save_book(const std::string &path, const Model &model, UIntT book)
{
    try {
        // A link stays one: the file that it names is replaced.
        std::error_code missing;
        const auto target = std::filesystem::canonical(path, missing);
        replace_file(missing ? std::filesystem::path(path) : target, write_book(model, book));
    } catch (const std::system_error &error) {
        throw BookError(
            path + ": cannot save the book, the old file is unchanged: " + error.code().message());
    }
}

} // namespace velt::host
