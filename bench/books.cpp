#include "bench/books.h"

#include <string>

#include "bench/compare.h"
#include "host/files/book.h"

namespace velt::bench
{

std::string book_text(int count)
{
    std::string text = R"({"title": "A book", "components": [)";
    for (int i = 0; i < count; i++) {
        const std::string name = std::to_string(i);
        text += (i > 0 ? "," : "") + (R"({"name": "Chapter )" + name) + R"(", "file": "chapter-)" +
                name + R"(.doc", "properties": [{"name": "Author", "string": "A. N. Other"}]})";
    }
    return text + "]}";
}

namespace
{

constexpr int parts = 4;
constexpr int components = 20'000;

// Compares one large book with several that have as many components together: linear algorithms
// take the same time for both.
void read(benchmark::State &state)
{
    const std::string small = book_text(components / parts), large = book_text(components);
    const auto read_one = [](const std::string &text) {
        return timed(1, [&](std::size_t) {
            host::Model model;
            host::read_book(text, "book", model);
        });
    };
    compare(
        state, [&] { return timed(parts, [&](std::size_t) { read_one(small); }) * parts; },
        [&] { return read_one(large); });
}

void write(benchmark::State &state)
{
    host::Model small, large;
    const UIntT small_book = host::read_book(book_text(components / parts), "book", small);
    const UIntT large_book = host::read_book(book_text(components), "book", large);
    compare(
        state,
        [&] {
            return timed(parts, [&](std::size_t) { host::write_book(small, small_book); }) * parts;
        },
        [&] { return timed(1, [&](std::size_t) { host::write_book(large, large_book); }); });
}

void run(benchmark::State &state, void (*measure)(benchmark::State &))
{
    measure(state);
    state.counters[counter::goal] = 1.5;
}

} // namespace

void register_books()
{
    const auto add = [](const char *name, void (*measure)(benchmark::State &)) {
        benchmark::RegisterBenchmark(name, run, measure)->Iterations(11);
    };
    add("read 20000 components / 4 times 5000", read);
    add("write 20000 components / 4 times 5000", write);
}

} // namespace velt::bench
