// Documents as a person sees them: by the names of their files, with numbered paragraphs, in UTF-8
// and fit to print.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/documents/documents.h"
#include "host/values/text.h"

namespace velt::host
{

class DocumentWindow
{
public:
    DocumentWindow(const Model &model, const Documents &documents, const SessionText &text)
        : model_(model), documents_(documents), text_(text)
    {
    }

    // Prints the document: its flows, its paragraphs with their numbers and tags, the selection in
    // brackets; of a long one what stands around the selection.
    void show(std::ostream &out, UIntT document) const;
    // Prints the open documents.
    void list(std::ostream &out) const;

    // Returns the active document. Throws Error when there is none.
    UIntT active() const;
    // Returns an open document by its name, its path as it was opened, or its number in the list;
    // 0 without one. Throws Error for a name that several have.
    UIntT find(const std::string &name) const;
    // Returns the name of the document's file, or its path if the file of another document has the
    // name too.
    std::string name(UIntT document) const;
    // Returns what a command takes for the document: the name, or its number if others have that.
    std::string call(UIntT document) const;
    // Returns the names of the open documents in their order.
    std::vector<std::string> names() const;

    // Returns the paragraphs of all flows in their order; people count them from 1.
    std::vector<UIntT> paragraphs(UIntT document) const;
    UIntT paragraph(UIntT document, std::size_t number) const;
    // Returns the range that the person names as PARAGRAPH[:FROM[-[PARAGRAPH:]TO]], or nothing when
    // it is not written so. Throws Error when there is no such place.
    std::optional<V_TextRangeT> range(UIntT document, std::string_view place) const;

private:
    std::string shown(std::string_view bytes) const { return text_.shown(bytes); }
    std::string file_name(UIntT document) const;
    std::string marked(const Object &paragraph, std::size_t from, std::size_t to) const;
    void show_paragraph(std::ostream &out, UIntT paragraph, std::size_t number,
                        const V_TextRangeT &selection) const;

    const Model &model_;
    const Documents &documents_;
    const SessionText &text_;
};

} // namespace velt::host
