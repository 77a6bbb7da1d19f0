#include "bench/texts.h"

#include <cstring>
#include <string>
#include <string_view>

#include "bench/compare.h"
#include "host/model/model.h"

namespace velt::bench
{
namespace
{

constexpr std::size_t large = 10'000'000;
constexpr int lines = 100'000;
constexpr int parts = 4;

std::string prose(std::size_t size)
{
    static constexpr std::string_view words = "the quick brown fox jumps over the lazy dog and ";
    std::string text;
    while (text.size() < size)
        text += words;
    text.resize(size);
    return text;
}

std::string lines_of_prose(int count)
{
    std::string text;
    for (int i = 0; i < count; i++)
        text += prose(70) + '\n';
    return text;
}

struct Document : host::Model {
    UIntT id = create_document("");
    UIntT paragraph = at(at(id).first).first;
    V_TextLocT start() const { return {paragraph, 0}; }
};

// Adds a character in the middle of a paragraph and removes it again.
double edit(Document &document, UIntT paragraph, IntT offset, std::size_t count)
{
    return timed(count, [&](std::size_t) {
        document.add_text(document.id, {paragraph, offset}, "x");
        document.remove_text(document.id, {{paragraph, offset}, {paragraph, offset + 1}});
    });
}

void edit_in_many(benchmark::State &state)
{
    Document few, many;
    few.add_text(few.id, few.start(), lines_of_prose(lines / 100));
    many.add_text(many.id, many.start(), lines_of_prose(lines));
    const auto middle = [](const Document &document, int steps) {
        UIntT paragraph = document.paragraph;
        for (; steps > 0; steps--)
            paragraph = document.at(paragraph).next;
        return paragraph;
    };
    const UIntT among_few = middle(few, lines / 200), among_many = middle(many, lines / 2);
    compare(
        state, [&] { return edit(few, among_few, 35, 2000); },
        [&] { return edit(many, among_many, 35, 2000); });
    state.counters[counter::goal] = 1.5;
}

void edit_large(benchmark::State &state)
{
    Document document;
    const std::string text = prose(large);
    document.add_text(document.id, document.start(), text);
    std::string copy = text + '.';
    compare(
        state,
        [&] {
            return timed(4, [&](std::size_t) {
                std::memmove(copy.data() + 1, copy.data(), large);
                benchmark::ClobberMemory();
                std::memmove(copy.data(), copy.data() + 1, large);
                benchmark::ClobberMemory();
            });
        },
        [&] { return edit(document, document.paragraph, 1, 4); });
    state.counters[counter::goal] = 1.5;
}

void find(benchmark::State &state)
{
    Document document;
    const std::string text = prose(large), wanted = "lazy cat";
    document.add_text(document.id, document.start(), text + wanted);
    const std::string all = text + wanted;
    compare(
        state,
        [&] {
            return timed(1, [&](std::size_t) {
                benchmark::DoNotOptimize(
                    memmem(all.data(), all.size(), wanted.data(), wanted.size()));
            });
        },
        [&] {
            return timed(1, [&](std::size_t) {
                const host::FindOptions options{.text = wanted, .match_case = true};
                benchmark::DoNotOptimize(
                    document.find_text(document.id, document.start(), options));
            });
        });
    state.counters[counter::goal] = 3;
}

// Compares one large text with several that have as many paragraphs together.
void add(benchmark::State &state)
{
    const std::string small = lines_of_prose(lines / parts), whole = lines_of_prose(lines);
    const auto add_one = [](const std::string &text) {
        Document document;
        return timed(1,
                     [&](std::size_t) { document.add_text(document.id, document.start(), text); });
    };
    compare(
        state,
        [&] {
            double seconds = 0;
            for (int i = 0; i < parts; i++)
                seconds += add_one(small);
            return seconds;
        },
        [&] { return add_one(whole); });
    state.counters[counter::goal] = 1.5;
}

} // namespace

void register_texts()
{
    const auto measure = [](const char *name, void (*function)(benchmark::State &)) {
        benchmark::RegisterBenchmark(name, function)->Iterations(11);
    };
    measure("edit 1 of 100000 paragraphs / of 1000", edit_in_many);
    measure("edit a paragraph of 10 MB / memmove", edit_large);
    measure("find in 10 MB / memmem", find);
    measure("add 100000 paragraphs / 4 times 25000", add);
}

} // namespace velt::bench
