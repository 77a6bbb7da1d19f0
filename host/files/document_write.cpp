#include <map>
#include <set>

#include "host/files/document.h"
#include "host/files/parts.h"
#include "host/files/write_properties.h"

namespace velt::host
{
namespace
{

// Writes a document. Objects to which the file refers get numbers in their order, so that a
// document that is read and written again is the same text.
class Writer
{
public:
    Writer(const Model &model, UIntT document)
        : model_(model), document_(document), session_(model.language())
    {
    }
    std::string document();

private:
    void collect();
    void mention(const Properties &properties, IntT type);
    void number();

    void id(UIntT id);
    void name(const Object &object);
    void properties(const Properties &properties, IntT type);
    void flow(UIntT id);
    void paragraph(UIntT id);
    void formats(const Object &paragraph);
    void object(UIntT id);

    const Model &model_;
    UIntT document_;
    SessionText session_;
    JsonWriter out_;
    std::vector<UIntT> order_;      // everything in the document, beginning with itself
    std::size_t first_object_ = 0;  // in the order, behind all flows and paragraphs
    std::set<UIntT> mentioned_;     // the ids to which something refers
    std::map<UIntT, UIntT> number_; // in the file, by id
};

bool in_text(IntT type)
{
    return type == object_type::flow || type == object_type::paragraph;
}

void Writer::mention(const Properties &properties, IntT type)
{
    for (const auto &[key, value] : properties) {
        if (told_otherwise(type, key.number))
            continue;
        V_TypedValT shared = value.get();
        each_id(shared, [&](UIntT id) { mentioned_.insert(id); });
    }
}

// Sets the order of everything in the document and what of it is referred to.
void Writer::collect()
{
    order_ = {document_};
    const auto flows = model_.members(document_);
    order_.insert(order_.end(), flows.begin(), flows.end());
    for (UIntT each : flows) {
        const auto paragraphs = model_.members(each);
        order_.insert(order_.end(), paragraphs.begin(), paragraphs.end());
    }
    first_object_ = order_.size();
    for (std::size_t i = 0; i < order_.size(); i++) {
        const Object &object = model_.at(order_[i]);
        for (UIntT each : object.contents)
            if (!in_text(model_.at(each).type)) {
                order_.push_back(each);
                if (object.id != document_)
                    mentioned_.insert(object.id);
            }
        mention(object.properties, object.type);
        if (object.type == object_type::paragraph) {
            for (const TextRun &run : object.runs)
                if (run.properties)
                    mention(*run.properties, 0);
            for (const texts::Anchor &anchor : texts::anchors(object))
                mentioned_.insert(anchor.object);
        }
    }
}

// Numbers the objects that are referred to.
void Writer::number()
{
    UIntT next = 1;
    for (UIntT each : order_)
        if (mentioned_.contains(each))
            number_[each] = next++;
}

void Writer::id(UIntT id)
{
    if (const auto found = number_.find(id); found != number_.end()) {
        out_.key("id");
        out_.number(found->second);
    }
}

void Writer::name(const Object &object)
{
    if (!object.name.empty())
        out_.text("name", session_.to_utf8(object.name));
}

void Writer::properties(const Properties &properties, IntT type)
{
    write_properties(
        properties, session_, out_,
        [&](const PropertyKey &key, const Value &) { return !told_otherwise(type, key.number); },
        [&](V_TypedValT &value) {
            each_id(value, [&](UIntT &id) {
                // What is gone, or outside the document, is nothing to the file.
                const auto found = number_.find(id);
                id = found != number_.end() ? found->second : 0;
            });
        });
}

void Writer::flow(UIntT flow)
{
    const Object &object = model_.at(flow);
    out_.begin('{');
    id(flow);
    name(object);
    properties(object.properties, object.type);
    out_.key("paragraphs");
    out_.begin('[');
    for (UIntT each = object.first; each != 0; each = model_.at(each).next)
        paragraph(each);
    out_.end(']');
    out_.end('}');
}

void Writer::paragraph(UIntT paragraph)
{
    const Object &object = model_.at(paragraph);
    out_.begin('{');
    id(paragraph);
    name(object);
    const Value tag = model_.get(document_, paragraph, PropertyKey(property::tag));
    if (const char *name = tag.get().u.stringVal; name && *name != '\0')
        out_.text("tag", session_.to_utf8(name));
    out_.text("text", session_.to_utf8(object.text));
    properties(object.properties, object.type);
    formats(object);
    if (const auto all = texts::anchors(object); !all.empty()) {
        out_.key("anchors");
        out_.begin('[');
        for (const auto &[offset, anchored] : all) {
            out_.begin('{');
            out_.key("offset");
            out_.number(offset);
            out_.key("object");
            out_.number(number_.at(anchored));
            out_.end('}');
        }
        out_.end(']');
    }
    out_.end('}');
}

void Writer::formats(const Object &paragraph)
{
    if (paragraph.runs.empty())
        return;
    out_.key("formats");
    out_.begin('[');
    const std::string_view text = paragraph.text;
    IntT offset = 0;
    std::size_t byte = 0;
    const auto advance = [&](std::size_t to) {
        offset += model_.characters().count(text.substr(byte, to - byte));
        byte = to;
        return offset;
    };
    for (auto run = paragraph.runs.begin(); run != paragraph.runs.end(); ++run) {
        if (!run->properties)
            continue;
        const auto next = std::next(run);
        out_.begin('{');
        out_.key("from");
        out_.number(advance(run->begin));
        out_.key("to");
        out_.number(advance(next == paragraph.runs.end() ? text.size() : next->begin));
        properties(*run->properties, 0);
        out_.end('}');
    }
    out_.end(']');
}

void Writer::object(UIntT made)
{
    const Object &object = model_.at(made);
    out_.begin('{');
    id(made);
    out_.key("type");
    out_.number(object.type);
    name(object);
    if (object.container() != document_) {
        out_.key("in");
        out_.number(number_.at(object.container()));
    }
    properties(object.properties, object.type);
    out_.end('}');
}

std::string Writer::document()
{
    collect();
    number();
    const Object &document = model_.object(0, document_);
    out_.begin('{');
    out_.key("format");
    out_.number(document_format);
    id(document_);
    properties(document.properties, document.type);
    out_.key("flows");
    out_.begin('[');
    for (UIntT each = document.first; each != 0; each = model_.at(each).next)
        flow(each);
    out_.end(']');
    if (first_object_ < order_.size()) {
        out_.key("objects");
        out_.begin('[');
        for (std::size_t i = first_object_; i < order_.size(); i++)
            object(order_[i]);
        out_.end(']');
    }
    out_.end('}');
    return out_.take();
}

} // namespace

std::string write_document(const Model &model, UIntT document)
{
    return Writer(model, document).document();
}

} // namespace velt::host
