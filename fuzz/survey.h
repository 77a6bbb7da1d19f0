// Everything that a model holds, and the checks that it fits together.
#pragma once

#include "fuzz/input.h"
#include "host/json/values.h"
#include "host/model/model.h"

namespace velt::host
{

class Survey
{
public:
    explicit Survey(const Model &model) : model_(model) { object(model.at(0)); }

    std::string text;
    std::vector<UIntT> ids; // of all objects

private:
    // Takes the parts of values; the text is only compared.
    struct Out : JsonOut {
        std::string &text_;
        explicit Out(std::string &text) : text_(text) {}
        void begin(char bracket) override { text_ += bracket; }
        void end(char bracket) override { text_ += bracket; }
        void key(std::string_view) override {}
        void text(std::string_view text) override { (text_ += text) += '"'; }
        void number(std::int64_t number) override { text_ += std::to_string(number) + ','; }
        void null() override { text_ += '0'; }
    };

    void object(const Object &object);
    void order(const Object &container);
    void references(const Object &object);
    void paragraph(const Object &paragraph);
    void properties(const Properties &all)
    {
        for (const auto &[key, value] : all) {
            write(key.number);
            out_.text(key.name);
            V_TypedValT shown = value.get();
            write_value(shape_of<V_TypedValT>, &shown, out_,
                        [](const char *bytes) { return bytes; });
        }
    }
    template <class... Numbers>
    void write(Numbers... numbers)
    {
        (out_.number(static_cast<std::int64_t>(numbers)), ...);
    }

    const Model &model_;
    Out out_{text};
};

inline void Survey::object(const Object &object)
{
    ids.push_back(object.id);
    write(object.document, object.id, object.parent, object.type, object.stays, object.previous,
          object.next, object.client, object.command);
    for (const std::string &each : {object.name, object.label, object.shortcut, object.text})
        out_.text(each);
    for (const UIntT each : object.items)
        write(each);
    properties(object.properties);
    references(object);
    order(object);
    if (object.type == object_type::paragraph)
        paragraph(object);
    out_.begin('{');
    for (const UIntT each : object.contents) {
        require(model_.at(each).container() == object.id, "contents know their container");
        this->object(model_.at(each));
    }
    out_.end('}');
}

inline void Survey::order(const Object &container)
{
    std::set<UIntT> linked;
    UIntT last = 0;
    for (UIntT each = container.first; each != 0;
         last = std::exchange(each, model_.at(each).next)) {
        require(model_.at(each).previous == last, "neighbours know each other");
        require(linked.insert(each).second, "an order has an end");
    }
    require(container.last == last, "an order ends with its last");
    for (const UIntT each : container.contents)
        if (chains::container_type(model_.at(each).type) == container.type)
            require(linked.erase(each) == 1, "what has a place in an order stands there");
    require(linked.empty(), "what stands in an order is contained");
    const bool never_empty =
        container.type == object_type::document || container.type == object_type::flow;
    require(!never_empty || last != 0,
            "no document is without a flow, no flow without a paragraph");
}

inline void Survey::references(const Object &object)
{
    const auto is_in = [](const auto &all, const auto &one) {
        return std::ranges::count(all, one) == 1;
    };
    for (const UIntT each : object.items)
        require(is_in(model_.at(each).menus, object.id), "what a menu has knows it");
    for (const UIntT each : object.menus)
        require(is_in(model_.at(each).items, object.id), "a menu has what knows it");
    require(object.name.empty() || model_.find(object.document, object.type, object.name),
            "objects are found by their names");
    using namespace object_type;
    using std::tuple;
    for (const auto &[type, number, wanted] :
         {tuple(session, property::active_book, book),
          tuple(session, property::active_document, document),
          tuple(component, property::document, document),
          tuple(book, property::selected_component, component)}) {
        if (object.type != type)
            continue;
        const V_TypedValT &value = object.properties.at(PropertyKey(number)).get();
        const auto id = static_cast<UIntT>(value.u.intVal);
        require(id == 0 || model_.at(id).type == wanted, "references are to what exists");
    }
    const auto anchor = object.properties.find(PropertyKey(property::anchor));
    if (anchor != object.properties.end()) {
        const V_TextLocT &place = anchor->second.get().u.textLocVal;
        const auto all = texts::anchors(model_.at(place.objId));
        require(is_in(all, texts::Anchor{place.offset, object.id}), "anchors are in the text");
    }
    if (object.type == object_type::document)
        model_.text(object.id, model_.selection(object.id)); // throws unless it is a range
}

inline void Survey::paragraph(const Object &paragraph)
{
    const Characters &characters = model_.characters();
    require(characters.whole(paragraph.text), "no character is cut");
    require(paragraph.text.find('\n') == std::string::npos, "a line end ends a paragraph");

    const TextRun *before = nullptr;
    for (const TextRun &run : paragraph.runs) {
        const auto head = std::string_view(paragraph.text).substr(0, run.begin);
        require(run.begin < paragraph.text.size() && characters.whole(head),
                "runs begin with a character");
        require(before ? before->begin < run.begin && before->properties != run.properties
                       : run.properties != nullptr,
                "runs ascend, and neighbours differ");
        before = &run;
        write(run.begin);
        if (run.properties)
            properties(*run.properties);
    }

    for (const TextMark &mark : paragraph.marks) {
        const Properties &owned = model_.at(mark.owner).properties;
        const auto held = owned.find(mark.property->first);
        require(held != owned.end() && &*held == mark.property, "marks are of properties");
        const V_TypedValT &value = held->second.get();
        const V_TextLocT place = value.valType == kind::text_location ? value.u.textLocVal
                                 : mark.end == 0                      ? value.u.textRangeVal.beg
                                                                      : value.u.textRangeVal.end;
        require(place.objId == paragraph.id, "a paragraph has the marks in it");
        require(characters.byte_of(paragraph.text, place.offset).has_value(),
                "marks are at places that exist");
        write(mark.owner, mark.end, place.offset);
    }
}

} // namespace velt::host
