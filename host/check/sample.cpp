#include "host/check/sample.h"

#include <cstdlib>
#include <system_error>

#include "common/file.h"
#include "host/documents/documents.h"

namespace velt::host
{
namespace
{

constexpr const char *book_name = "book.json";

std::string document_name(std::size_t number)
{
    return "document" + std::to_string(number) + ".json";
}

} // namespace

Sample small_book()
{
    return {{book_name, R"({"title": "Sample", "selected": "Two", "components": [
  {"name": "One", "file": "document1.json"}, {"name": "Two", "file": "document2.json"},
  {"name": "Three", "file": "document3.json"}]})"},
            {document_name(1), R"({"flows": [{"paragraphs": [{"tag": "Title", "text": "The first"},
  {"text": "The quick brown fox."}]}]})"},
            {document_name(2), R"({"flows": [{"paragraphs": [{"text": "Jumps over the dog."}]}]})"},
            {document_name(3), R"({"flows": [{"paragraphs": [{"text": ""}]}]})"}};
}

// The documents get names of their own, because the book may name files in any folder.
Sample read_sample(const std::string &path)
{
    Model model;
    BookFile file(path);
    const UIntT book = file.load(model);
    Documents documents(model);
    documents.set_book(book, file);
    Sample sample{{book_name, {}}};
    const std::vector<UIntT> components = model.components(book);
    for (std::size_t i = 0; i < components.size(); i++) {
        const std::string of = documents.component_file(components[i]);
        if (of.empty())
            continue;
        const std::string name = document_name(i + 1);
        std::error_code unknown; // to be told by whoever reads it
        if (std::filesystem::exists(of, unknown) || unknown)
            sample.emplace_back(name, read_plain_file(of));
        model.set(book, components[i], PropertyKey(file_property), Value::string(name).get());
    }
    // Commands of a component's context menu are chosen on one.
    if (model.selected(book) == 0 && !components.empty())
        model.select(book, components[components.size() / 2]);
    sample.front().second = write_book(model, book);
    return sample;
}

std::string lay_out(const Sample &sample, const std::filesystem::path &within)
{
    std::string folder = within / "XXXXXX";
    if (!mkdtemp(folder.data()))
        throw std::system_error(errno, std::generic_category(), folder);
    for (const auto &[name, text] : sample) {
        const File file = open_file(folder + "/" + name, "we");
        if (std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() ||
            std::fflush(file.get()) != 0)
            throw std::system_error(errno, std::generic_category(), folder + "/" + name);
    }
    return folder + "/" + book_name;
}

} // namespace velt::host
