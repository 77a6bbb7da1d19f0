// Documents as a person sees them: by the names of their files, with numbered paragraphs, in UTF-8
// and fit to print.
#pragma once

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
    // Returns an open document by its name or its number in the list.
    UIntT document(const std::string &name) const;
    std::string name(UIntT document) const { return printable(documents_.title(document)); }
    // Returns the names of the open documents in their order.
    std::vector<std::string> names() const;

    // Returns the paragraphs of all flows in their order; people count them from 1.
    std::vector<UIntT> paragraphs(UIntT document) const;
    // Returns the range that the person names as PARAGRAPH[:FROM[-[PARAGRAPH:]TO]].
    V_TextRangeT range(UIntT document, std::string_view place) const;

    std::string shown(std::string_view bytes) const { return printable(text_.to_utf8(bytes)); }

private:
    std::string marked(const Object &paragraph, std::size_t from, std::size_t to) const;
    void show_paragraph(std::ostream &out, UIntT paragraph, std::size_t number,
                        const V_TextRangeT &selection) const;
    UIntT paragraph(UIntT document, std::string_view number) const;

    const Model &model_;
    const Documents &documents_;
    const SessionText &text_;
};

} // namespace velt::host
