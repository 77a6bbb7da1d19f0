// Writes the part of the model that a book file holds; loads and saves it.

#include <algorithm>

#include "common/file.h"
#include "host/files/book.h"
#include "host/files/parts.h"
#include "host/files/write_properties.h"
#include "velt/vde.h"

namespace velt::host
{
namespace
{

bool untouched(const Object &object, const PropertyKey &key, const Value &value)
{
    return told_otherwise(object.type, key.number) &&
           (key.number != property::moved || value.get().u.intVal == 0);
}

bool is_file(const Object &object, const PropertyKey &key, const Value &value)
{
    return object.type == object_type::component && key.name == file_property &&
           value.kind() == kind::string;
}

void write_properties(const Object &object, const SessionText &session, JsonWriter &out)
{
    write_properties(object.properties, session, out,
                     [&](const PropertyKey &key, const Value &value) {
                         return !untouched(object, key, value) && !is_file(object, key, value);
                     });
}

} // namespace

std::string write_book(const Model &model, UIntT book, Selection selection)
{
    const SessionText session(model.language());
    const Object &object = model.object(0, book);
    const auto components = model.components(book);
    JsonWriter out;
    out.begin('{');
    out.text("title", session.to_utf8(object.name));
    out.text("language", V_LanguageString(model.language()));
    out.text("dialogEncoding", session.to_utf8(model.dialog_encoding()));
    if (const UIntT selected = selection == Selection::written ? model.selected(book) : 0) {
        out.key("selected");
        if (const std::string &name = model.at(selected).name; !name.empty())
            out.text(session.to_utf8(name));
        else
            out.number(1 + (std::ranges::find(components, selected) - components.begin()));
    }
    write_properties(object, session, out);
    out.key("components");
    out.begin('[');
    for (UIntT id : components) {
        const Object &component = model.at(id);
        out.begin('{');
        out.text("name", session.to_utf8(component.name));
        const auto file = component.properties.find(PropertyKey(file_property));
        if (file != component.properties.end() && is_file(component, file->first, file->second))
            out.text("file", session.to_utf8(file->second.get().u.stringVal));
        write_properties(component, session, out);
        out.end('}');
    }
    out.end(']');
    out.end('}');
    return out.take();
}

UIntT BookFile::load(Model &model, IntT language)
{
    std::string text;
    try {
        text = read_plain_file(path());
    } catch (const std::runtime_error &error) {
        misuse(std::string("cannot read the book ") + error.what());
    }
    const UIntT book = read_book(text, path(), model, language);
    KnownFile::Contents contents = file_.contents(text);
    known_ = write_book(model, book, Selection::left_out);
    file_.remember(std::move(contents));
    return book;
}

void BookFile::save(const std::string &path, const Model &model, UIntT book, bool force,
                    mode_t mode, KeptFiles *kept)
{
    std::string now = write_book(model, book, Selection::left_out);
    SavedCopy copy{path, digest_of(now)};
    if (file_.write(path, write_book(model, book), force, mode, kept))
        known_ = std::move(now);
    else
        copy_ = std::move(copy);
}

bool BookFile::differs_from(const Model &model, UIntT book) const
{
    return write_book(model, book, Selection::left_out) != known_;
}

std::string BookFile::copy_of(const Model &model, UIntT book) const
{
    return copy_.path_of(write_book(model, book, Selection::left_out), file_);
}

} // namespace velt::host
