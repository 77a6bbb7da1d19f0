#include "host/console/replies.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iomanip>
#include <iterator>
#include <limits>
#include <sstream>

#include "common/words.h"

namespace velt::host
{
namespace
{

constexpr double point = 65536; // a length counts parts of a point

struct Unit {
    std::string_view name;
    double size;
};
constexpr Unit units[] = {
#define V_UNIT(name, points) {name, (points)*point},
#include "host/console/units.def"
};

// The question's detail is the length that a number without a unit counts; 0 stands for a point.
MetricT read_length(const Question &question, std::string_view text)
{
    text = trimmed(text);
    double count = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), count, std::chars_format::fixed);
    const auto name = trimmed(text.substr(static_cast<std::size_t>(end - text.data())));
    const auto *unit = std::ranges::find(units, name, &Unit::name);
    const double size = unit != std::end(units) ? unit->size
                        : !name.empty()         ? 0
                        : question.detail > 0   ? question.detail
                                                : point;
    const double length = std::round(count * size);
    constexpr auto most = std::numeric_limits<MetricT>::max();
    const bool too_long = error == std::errc::result_out_of_range || std::abs(length) > most;
    const bool is_number = error != std::errc::invalid_argument && !std::isnan(count);
    if (is_number && size > 0 && too_long)
        misuse("\"" + std::string(text) + "\" is longer than " +
               std::to_string(static_cast<IntT>(most / point)) + " pt");
    if (is_number && size > 0)
        return static_cast<MetricT>(length);
    std::string names;
    for (const Unit &each : units)
        names += (names.empty() ? "" : ", ") + std::string(each.name);
    misuse("\"" + std::string(text) + "\" is not a length, such as 12 pt; the units are " + names);
}

std::string length_in_words(MetricT length)
{
    std::ostringstream text;
    text << std::setprecision(9) << length / point << " pt";
    return text.str();
}

std::vector<MetricT> read_lengths(const Question &question, const std::string &words,
                                  std::size_t count)
{
    std::vector<MetricT> lengths;
    for (const std::string &each : split_list(words))
        lengths.push_back(read_length(question, each));
    if (lengths.size() != count)
        misuse("\"" + words + "\" is not " + std::to_string(count) + " lengths with commas");
    return lengths;
}

// Returns what an answer is not that is none of the items.
std::string alternatives(const std::vector<std::string> &items)
{
    constexpr std::size_t most = 5;
    if (items.empty() || items.size() > most)
        return "none of the " + std::to_string(items.size()) + " items";
    std::string text;
    for (const std::string &each : items)
        text += (text.empty() ? "not " : " or ") + each;
    return text;
}

Reply read_item(const Question &question, const std::string &words)
{
    if (const auto found = find_by_name_or_number(question.items, words))
        return static_cast<IntT>(*found);
    misuse("\"" + words + "\" is " + alternatives(question.items) + ", nor the number of one");
}

std::string text_in_words(const Question &, const Reply &reply)
{
    return std::get<std::string>(reply);
}

Reply read_text(const Question &, const std::string &words)
{
    return words;
}

// How the answers of a question are written.
struct Form {
    std::string_view wanted;
    Reply (*read)(const Question &, const std::string &words);
    std::string (*in_words)(const Question &, const Reply &);
};

// They have the names that questions.def has for answers.
namespace form
{

constexpr Form number = {
    "a whole number",
    [](const Question &, const std::string &words) -> Reply { return velt::number<IntT>(words); },
    [](const Question &, const Reply &reply) { return std::to_string(std::get<IntT>(reply)); }};

constexpr Form length = {
    "a length, such as 12 pt or 5 mm",
    [](const Question &q, const std::string &words) -> Reply { return read_length(q, words); },
    [](const Question &, const Reply &reply) { return length_in_words(std::get<IntT>(reply)); }};

constexpr Form text = {"a text", read_text, text_in_words};
constexpr Form path = {"the name of a file", read_text, text_in_words};

constexpr Form item = {"the number of an item, or its text", read_item,
                       [](const Question &q, const Reply &reply) {
                           const auto index = static_cast<std::size_t>(std::get<IntT>(reply));
                           return std::to_string(index + 1) +
                                  (index < q.items.size() ? ", " + q.items[index] : std::string());
                       }};

constexpr Form point = {"a point X,Y, such as 1 in,20 pt",
                        [](const Question &q, const std::string &words) -> Reply {
                            const auto read = read_lengths(q, words, 2);
                            return V_PointT{read[0], read[1]};
                        },
                        [](const Question &, const Reply &reply) {
                            const auto &[x, y] = std::get<V_PointT>(reply);
                            return length_in_words(x) + "," + length_in_words(y);
                        }};

constexpr Form rectangle = {"a rectangle X,Y,W,H, such as 0,0,2 in,1 in",
                            [](const Question &q, const std::string &words) -> Reply {
                                const auto read = read_lengths(q, words, 4);
                                return RectT{read[0], read[1], read[2], read[3]};
                            },
                            [](const Question &, const Reply &reply) {
                                const auto &[x, y, w, h] = std::get<RectT>(reply);
                                return length_in_words(x) + "," + length_in_words(y) + "," +
                                       length_in_words(w) + "," + length_in_words(h);
                            }};

} // namespace form

constexpr const Form *forms[] = {
#define V_QUESTION(kind, answer, title) &form::answer,
#include "host/console/questions.def"
};

} // namespace

std::string_view wanted(const Question &question)
{
    return forms[question.kind]->wanted;
}

Reply read_reply(const Question &question, const std::string &words)
{
    return forms[question.kind]->read(question, words);
}

std::string told(const Question &question, const Reply &reply)
{
    return std::holds_alternative<std::monostate>(reply)
               ? "cancelled"
               : "answered with " + forms[question.kind]->in_words(question, reply);
}

} // namespace velt::host
