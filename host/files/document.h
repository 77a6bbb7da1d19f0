// Document files: a document as a small JSON file in UTF-8.
#pragma once

#include <string>
#include <string_view>

#include "host/model/model.h"

namespace velt::host
{

// Thrown for a file that a newer version has written, whatever else is wrong with it.
class NewerFormat : public Error
{
public:
    explicit NewerFormat(const std::string &text) : Error(misused, text) {}
};

// Reads a document file's text into the document, in place of what it holds. Throws NewerFormat, or
// Error with a line for each mistake as read_book does; the document is then as it was.
void read_document(std::string_view text, const std::string &path, Model &model, UIntT document);

std::string write_document(const Model &model, UIntT document);

// Returns a JSON Schema of what a document file may hold.
std::string document_schema();

} // namespace velt::host
