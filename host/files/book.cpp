#include "host/files/book.h"

#include <algorithm>
#include <unordered_set>

#include "host/files/model_reader.h"
#include "host/files/parts.h"
#include "host/values/kinds.h"
#include "velt/vde.h"

namespace velt::host
{
namespace
{

// Reads a book from nodes into a model and collects the mistakes in it.
class BookReader : public ModelReader
{
public:
    BookReader(Model &model, std::vector<JsonError> &problems)
        : ModelReader(model, problems, "; \"language\" or run --language names another")
    {
    }
    UIntT book(const JsonNode &root, IntT language);

private:
    void session(const JsonNode &root, IntT language);
    void dialog_encoding(const JsonNode &root);
    void properties(const JsonNode &node, UIntT doc, UIntT id);
    void component(const JsonNode &node, UIntT book);
    void select(const JsonNode &node, UIntT book, bool is_sound, std::size_t count);

    std::unordered_set<std::string> names_; // the names of the components read so far
};

void BookReader::properties(const JsonNode &node, UIntT doc, UIntT id)
{
    const IntT type = model_.at(id).type;
    ModelReader::properties(node, [&](const PropertyKey &key, const V_TypedValT &value) {
        if (key.number != property::moved && told_otherwise(type, key.number))
            misuse("\"components\" and \"selected\" say this, or it is the host's own");
        model_.set(doc, id, key, value);
    });
}

void BookReader::component(const JsonNode &node, UIntT book)
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

// Selects the component that the node gives by name, or by position from 1, since not every
// component has a name. Where there was a mistake in a component, it may be that one.
void BookReader::select(const JsonNode &node, UIntT book, bool is_sound, std::size_t count)
{
    if (node.is_text()) {
        const Object *found = model_.find(book, object_type::component, text(node));
        if (!found && is_sound)
            throw JsonError(node, "no component has this name");
        if (found)
            model_.select(book, found->id);
        return;
    }
    IntT position = 0;
    decode(position, node);
    if (position < 1 || static_cast<std::size_t>(position) > count)
        throw JsonError(node, "no component has this number");
    if (is_sound)
        model_.select(book, model_.components(book)[static_cast<std::size_t>(position - 1)]);
}

// Sets the session's language. Without one, texts are read as they stand, to find the other
// mistakes.
void BookReader::session(const JsonNode &root, IntT language)
{
    if (const JsonNode *named = root.member("language")) {
        const std::string name = named->text();
        try {
            language = language != V_language_none ? language : language_number(name);
        } catch (const std::runtime_error &error) {
            problems_.emplace_back(*named, error.what());
            return;
        }
    }
    language = language != V_language_none ? language : V_language_usenglish;
    model_.set_language(language);
    session_.emplace(language);
}

void BookReader::dialog_encoding(const JsonNode &root)
{

    const JsonNode *encoding = root.member("dialogEncoding");
    attempt(problems_, [&] {
        if (!encoding)
            return;
        const std::string &wanted = encoding->text();
        const auto is_it = [&](const char *each) { return V_StrIEqual(each, wanted.c_str()) != 0; };
        if (!wanted.empty() && std::ranges::none_of(dialog_encodings, is_it)) {
            std::string all;
            for (const char *each : dialog_encodings)
                all += (all.empty() ? "" : ", ") + std::string(each);
            throw JsonError(*encoding,
                            "unknown encoding " + in_quotes(wanted) + "; there are: " + all);
        }
        model_.set_dialog_encoding(wanted);
    });
}

UIntT BookReader::book(const JsonNode &root, IntT language)
{
    if (root.member("flows") && !root.member("components"))
        throw JsonError(root, "it is a document, which the command \"open\" opens, and no book");
    need_object(root,
                {"title", "language", "dialogEncoding", "selected", "properties", "components"});
    attempt(problems_, [&] { session(root, language); });
    dialog_encoding(root);

    std::string title;
    if (const JsonNode *named = root.member("title"))
        attempt(problems_, [&] { title = text(*named); });
    else
        problems_.emplace_back(root, "a book needs a \"title\"");
    const UIntT book = model_.append(0, object_type::book, title);
    model_.keep(book);
    model_.activate(book);
    attempt(problems_, [&] { properties(root, 0, book); });

    const JsonNode *components = root.member("components");
    const bool is_sound = attempt(problems_, [&] {
        if (!components)
            throw JsonError(root, "a book needs a list \"components\"");
        components->need(JsonNode::array);
        for (const auto &each : components->members)
            attempt(problems_, [&] { component(each.second, book); });
    });
    if (const JsonNode *named = root.member("selected");
        named && components && components->type == JsonNode::array)
        attempt(problems_, [&] { select(*named, book, is_sound, components->members.size()); });
    return book;
}

} // namespace

UIntT read_book(std::string_view text, const std::string &path, Model &model, IntT language)
{
    UIntT book = 0;
    JsonNode root;
    read_nodes(text, path, root, [&](std::vector<JsonError> &problems) {
        book = BookReader(model, problems).book(root, language);
    });
    return book;
}

} // namespace velt::host
