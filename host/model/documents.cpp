// What the model does with documents and their text.

#include "host/model/marks.h"
#include "host/model/model.h"

namespace velt::host
{
UIntT Model::create_document(const std::string &name)
{
    return create_one(0, object_type::document, name);
}

void Model::close_document(UIntT document)
{
    check_is_document(document);
    if (active_document() == document)
        activate_document(0);
    discard(objects_, document);
    forget_change(document);
}

UIntT Model::active_document() const
{
    return id_held(0, 0, property::active_document);
}

void Model::activate_document(UIntT document)
{
    put(0, property::active_document, Value::id(document));
}

template <class Edit>
auto Model::edit(UIntT document, UIntT paragraph, Edit edit)
{
    const auto [change, is_new] =
        changes_.try_emplace({V_notification_text_changed, document}, paragraph);
    try {
        return edit();
    } catch (...) {
        if (is_new)
            changes_.erase(change);
        throw;
    }
}

void Model::replace_contents(UIntT document, UIntT by)
{
    put(by, property::document_file, get(0, document, PropertyKey(property::document_file)));
    set_changed(by, false);
    edit(document, at(at(by).first).first,
         [&] { objects_.exchange_contents(objects_.at(document), objects_.at(by)); });
    for (UIntT each : {document, by})
        marks::set_owner(objects_, objects_.at(each));
}

void Model::set_file(UIntT document, Value path)
{
    put(document, property::document_file, std::move(path));
}

bool Model::changed(UIntT document) const
{
    return get(0, document, PropertyKey(property::changed)).get().u.intVal != 0;
}

void Model::set_changed(UIntT document, bool changed)
{
    put(document, property::changed, Value::integer(changed));
}

V_TextRangeT Model::selection(UIntT document) const
{
    check_is_document(document);
    return get(0, document, PropertyKey(property::selection)).get().u.textRangeVal;
}

void Model::select_text(UIntT document, const V_TextRangeT &range)
{
    check_is_document(document);
    V_TypedValT value{kind::text_range, {}};
    value.u.textRangeVal = range;
    set(0, document, PropertyKey(property::selection), value);
}

std::string Model::text(UIntT document, const V_TextRangeT &range) const
{
    const texts::Span span = texts::span_at(objects_, document, range);
    std::string all;
    for (const auto &[id, begin, end] : texts::stretches(objects_, span)) {
        if (id != span.beg.paragraph)
            all += '\n';
        all.append(at(id).text, begin, end - begin);
    }
    return all;
}

V_TextLocT Model::replace_text(UIntT document, const V_TextRangeT &range, const std::string &text)
{
    const texts::Span span = texts::span_at(objects_, document, range);
    if (span.empty() && text.empty())
        return range.beg;
    const texts::Place after =
        edit(document, range.beg.objId, [&] { return texts::replace(objects_, span, text); });
    touch(document);
    return after.location();
}

Properties Model::text_properties(UIntT document, const V_TextLocT &place) const
{
    const auto found = texts::properties_at(objects_, texts::place_at(objects_, document, place));
    return found ? *found : Properties();
}

void Model::set_text_properties(const texts::Span &span, const Properties &values)
{
    for (const auto &[key, value] : values)
        properties::check_valid(key, value.get());
    if (span.empty() || values.empty())
        return;
    texts::set_properties(objects_, span, values);
    touch(span.document);
}

void Model::copy(UIntT document)
{
    clipboard_.text = texts::copy(objects_, selected_span(document));
}

void Model::clear(UIntT document)
{
    const texts::Span span = selected_span(document);
    check(!span.empty(), nothing_selected);
    remove_text(document, span.range());
}

void Model::cut(UIntT document)
{
    auto copied = texts::copy(objects_, selected_span(document));
    clear(document);
    clipboard_.text = std::move(copied);
}

void Model::paste(UIntT document)
{
    const texts::Span span = selected_span(document);
    check(clipboard_.text != nullptr, nothing_selected);
    const V_TextLocT after =
        edit(document, span.beg.paragraph, [&] {
            return texts::replace(objects_, span, texts::pieces(*clipboard_.text));
        }).location();
    touch(document);
    select_text(document, {after, after});
}

} // namespace velt::host
