#include <map>
#include <set>

#include "host/files/document.h"
#include "host/files/model_reader.h"
#include "host/files/parts.h"

namespace velt::host
{
namespace
{

// Reads a document in two passes: the first makes all objects, the second gives them their
// properties, which may refer to any of them by the number that the file gives it as its "id".
class DocumentReader : public ModelReader
{
public:
    DocumentReader(Model &model, std::vector<JsonError> &problems, UIntT document)
        : ModelReader(model, problems, "; --language names another"), document_(document)
    {
        session_.emplace(model.language());
    }
    // References to the document lead to `known_as`.
    void read(const JsonNode &root, UIntT known_as);

private:
    void flow(const JsonNode &node);
    void paragraph(const JsonNode &node, UIntT flow);
    void anchor(const JsonNode &node, UIntT paragraph);
    void object(const JsonNode &node);
    void properties(const JsonNode &node, UIntT id);
    void format(const JsonNode &node, UIntT paragraph);
    texts::Place place(const JsonNode &node, UIntT paragraph, IntT offset);
    // Returns the mistake of a node that tells of a place which the text does not have.
    JsonError no_place(const JsonNode &node, const V_TextLocT &place) const;

    std::string name(const JsonNode &node, IntT type);
    void note(const JsonNode &node, UIntT id) { note(node, id, id); }
    void note(const JsonNode &node, UIntT id, UIntT known_as);
    UIntT referred(const JsonNode &node);
    void replace_ids(V_TypedValT &value) const;
    // Adds each member of the node's list, which must have some.
    template <class Add>
    void fill(const JsonNode &node, const char *list, Add add);

    // Turns the model's refusals into mistakes in the node.
    template <class Action>
    static auto at(const JsonNode &node, Action action)
    {
        try {
            return action();
        } catch (const StatusError &error) {
            throw JsonError(node, error.what());
        }
    }

    UIntT document_;
    std::set<std::pair<IntT, std::string>> names_; // with the types of those that have them
    std::map<UIntT, UIntT> ids_;                   // by the numbers in the file
    std::vector<std::pair<const JsonNode *, UIntT>> made_;
    std::set<UIntT> textless_; // paragraphs whose text has a mistake, so that places lack in it
    struct Anchor {
        const JsonNode *node;
        V_TextLocT place;
    };
    texts::Place last_{};
    std::map<UIntT, Anchor> anchors_; // by the numbers of the objects, until these are made
};

std::string DocumentReader::name(const JsonNode &node, IntT type)
{
    const JsonNode *named = node.member("name");
    std::string name = named ? text(*named) : "";
    if (!name.empty() && !names_.emplace(type, name).second)
        throw JsonError(*named, "two objects of this type have this name");
    return name;
}

void DocumentReader::note(const JsonNode &node, UIntT id, UIntT known_as)
{
    made_.emplace_back(&node, id);
    const JsonNode *numbered = node.member("id");
    if (!numbered)
        return;
    UIntT number = 0;
    decode(number, *numbered);
    if (number == 0 || !ids_.emplace(number, known_as).second)
        throw JsonError(*numbered, number == 0 ? "0 is the id of nothing" : "the id stands twice");
}

UIntT DocumentReader::referred(const JsonNode &node)
{
    UIntT number = 0;
    decode(number, node);
    const auto found = ids_.find(number);
    if (found == ids_.end())
        throw JsonError(node, "the \"id\" of an object that stands before is needed here");
    return found->second;
}

// An id that the file does not define refers to nothing, and must not to what has that id here.
void DocumentReader::replace_ids(V_TypedValT &value) const
{
    each_id(value, [&](UIntT &id) {
        const auto found = ids_.find(id);
        id = found != ids_.end() ? found->second : 0;
    });
}

template <class Add>
void DocumentReader::fill(const JsonNode &node, const char *list, Add add)
{
    const JsonNode *members = node.member(list);
    if (!members)
        throw JsonError(node, std::string("a list \"") + list + "\" is needed");
    members->need(JsonNode::array);
    if (members->members.empty())
        throw JsonError(*members, "the list needs at least one entry");
    for (const auto &each : members->members)
        attempt(problems_, [&] { add(each.second); });
}

void DocumentReader::flow(const JsonNode &node)
{
    need_object(node, {"id", "name", "properties", "paragraphs"});
    const UIntT id = model_.append(document_, object_type::flow, name(node, object_type::flow));
    note(node, id);
    const UIntT initial = model_.at(id).first;
    fill(node, "paragraphs", [&](const JsonNode &each) { paragraph(each, id); });
    model_.remove(document_, initial);
}

void DocumentReader::paragraph(const JsonNode &node, UIntT flow)
{
    need_object(node, {"id", "name", "tag", "text", "properties", "formats", "anchors"});
    constexpr IntT type = object_type::paragraph;
    const UIntT id = model_.append(document_, type, name(node, type), flow);
    note(node, id);
    if (const JsonNode *tag = node.member("tag"))
        attempt(problems_, [&] {
            model_.set(document_, id, PropertyKey(property::tag), Value::string(text(*tag)).get());
        });
    const JsonNode *words = node.member("text");
    const bool sound = attempt(problems_, [&] {
        if (!words)
            return;
        const std::string bytes = text(*words);
        if (bytes.find('\n') != bytes.npos)
            throw JsonError(*words, "a line end is the end of a paragraph; begin another");
        at(*words, [&] { model_.add_text(document_, {id, 0}, bytes); });
    });
    if (!sound)
        textless_.insert(id);
    each_of(node, "anchors", [&](const JsonNode &each) { anchor(each, id); });
}

void DocumentReader::anchor(const JsonNode &node, UIntT paragraph)
{
    need_object(node, {"offset", "object"});
    const JsonNode *offset = node.member("offset"), *object = node.member("object");
    if (!offset || !object)
        throw JsonError(node, "an anchor needs \"offset\" and \"object\"");
    V_TextLocT place{paragraph, 0};
    UIntT number = 0;
    decode(place.offset, *offset);
    decode(number, *object);
    if (textless_.contains(paragraph))
        place.offset = 0;
    if (!anchors_.emplace(number, Anchor{&node, place}).second)
        throw JsonError(*object, "the object has an anchor already");
}

void DocumentReader::object(const JsonNode &node)
{
    need_object(node, {"id", "type", "name", "in", "properties"});
    IntT type = 0;
    if (const JsonNode *typed = node.member("type"))
        decode(type, *typed);
    else
        throw JsonError(node, "an object needs a \"type\"");
    if (type == object_type::flow || type == object_type::paragraph)
        throw JsonError(node, "flows and paragraphs stand in \"flows\"");
    const JsonNode *in = node.member("in"), *numbered = node.member("id");
    const UIntT parent = in ? referred(*in) : 0;
    UIntT number = 0;
    if (numbered)
        decode(number, *numbered);
    const auto anchored = anchors_.extract(number);
    if (anchored && in)
        throw JsonError(*in, "an object that is anchored in the text is part of nothing else");
    const std::string named = name(node, type);
    try {
        note(node, anchored
                       ? model_.create_anchored(document_, type, anchored.mapped().place, "", named)
                       : model_.append(document_, type, named, parent));
    } catch (const StatusError &error) {
        if (error.status() == no_such_place)
            throw no_place(*anchored.mapped().node->member("offset"), anchored.mapped().place);
        throw JsonError(*node.member("type"), "no object in a document has this type: it is a "
                                              "number above 0, and none of what stands elsewhere, "
                                              "such as books and menus");
    }
}

void DocumentReader::properties(const JsonNode &node, UIntT id)
{
    const IntT type = model_.at(id).type;
    ModelReader::properties(node, [&](const PropertyKey &key, V_TypedValT &value) {
        if (told_otherwise(type, key.number))
            misuse("it is the host's own");
        check(key.number != 0 || !key.name.empty(), no_such_property);
        replace_ids(value);
        model_.set(document_, id, key, value);
    });
    if (type == object_type::paragraph && !textless_.contains(id))
        each_of(node, "formats", [&](const JsonNode &each) { format(each, id); });
}

void DocumentReader::format(const JsonNode &node, UIntT paragraph)
{
    need_object(node, {"from", "to", "properties"});
    const JsonNode *from = node.member("from"), *to = node.member("to");
    if (!from || !to)
        throw JsonError(node, "a format needs \"from\" and \"to\"");
    IntT begin = 0, end = 0;
    decode(begin, *from);
    decode(end, *to);
    Properties all;
    ModelReader::properties(node, [&](const PropertyKey &key, V_TypedValT &value) {
        check(key.number != 0 || !key.name.empty(), no_such_property);
        replace_ids(value);
        all.insert_or_assign(key, Value(value));
    });
    if (end < begin)
        throw JsonError(*to, "the format ends before it begins");
    const texts::Place first = place(*from, paragraph, begin), last = place(*to, paragraph, end);
    at(node, [&] { model_.set_text_properties({document_, first, last}, all); });
}

JsonError DocumentReader::no_place(const JsonNode &node, const V_TextLocT &place) const
{
    const auto count = model_.characters().count(model_.at(place.objId).text);
    return {node, "the text has " + std::to_string(count) + " characters, and no place " +
                      std::to_string(place.offset)};
}

// Goes on from the place that it has returned last, as formats stand in the order of the text.
texts::Place DocumentReader::place(const JsonNode &node, UIntT paragraph, IntT offset)
{
    if (paragraph != last_.paragraph || offset < last_.offset)
        last_ = {paragraph, 0, 0};
    const std::string_view rest = std::string_view(model_.at(paragraph).text).substr(last_.byte);
    const auto further = model_.characters().byte_of(rest, offset - last_.offset);
    if (!further)
        throw no_place(node, {paragraph, offset});
    return last_ = {paragraph, offset, last_.byte + *further};
}

void DocumentReader::read(const JsonNode &root, UIntT known_as)
{
    if (root.member("components") && !root.member("flows"))
        throw JsonError(root, "it is a book, which \"vqhost run\" opens, and no document");
    need_object(root, {"format", "id", "properties", "flows", "objects"});
    attempt(problems_, [&] { note(root, document_, known_as); });
    attempt(problems_, [&] { fill(root, "flows", [&](const JsonNode &each) { flow(each); }); });
    attempt(problems_,
            [&] { each_of(root, "objects", [&](const JsonNode &each) { object(each); }); });
    for (const auto &[number, anchor] : anchors_)
        problems_.emplace_back(*anchor.node->member("object"), "no object has this \"id\"");
    for (const auto &[node, id] : made_)
        attempt(problems_, [&, node = node, id = id] { properties(*node, id); });
}

void check_format(const JsonNode &root, const std::string &path)
{
    const JsonNode *format = root.member("format");
    if (!format)
        return;
    const auto number = format->integer(1, std::numeric_limits<std::int64_t>::max());
    if (!number)
        throw JsonError(*format, "the number of the format is needed here, " +
                                     std::to_string(document_format) + " or less");
    if (*number > document_format)
        throw NewerFormat(path + ": a newer version of vqhost has written it, in format " +
                          std::to_string(*number) + "; this version reads up to format " +
                          std::to_string(document_format));
}

} // namespace

// The new contents are read into a document of their own, and exchanged for the old ones when
// nothing can fail any more.
void read_document(std::string_view text, const std::string &path, Model &model, UIntT document)
{
    struct Fresh {
        Model &model;
        const UIntT id = model.create_document("");
        ~Fresh() { model.close_document(id); }
    } const fresh{model};
    JsonNode root;
    read_nodes(text, path, root, [&](std::vector<JsonError> &problems) {
        root.need(JsonNode::object);
        attempt(problems, [&] { check_format(root, path); });
        DocumentReader(model, problems, fresh.id).read(root, document);
    });
    model.remove(fresh.id, model.at(fresh.id).first);
    model.replace_contents(document, fresh.id);
}

} // namespace velt::host
