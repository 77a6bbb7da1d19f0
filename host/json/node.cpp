#include "host/json/node.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <span>
#include <tuple>

#include <nlohmann/json.hpp>

#include "common/charset.h"
#include "common/nearest.h"
#include "common/words.h"

namespace velt::host
{
namespace
{

constexpr std::size_t deepest = 256;

// An iterator that records how far the parser has read.
class WatchedIterator
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char *;
    using reference = const char &;

    WatchedIterator(const char *at, const char **furthest) : at_(at), furthest_(furthest) {}
    reference operator*() const { return *at_; }
    WatchedIterator &operator++()
    {
        *furthest_ = ++at_;
        return *this;
    }
    WatchedIterator operator++(int)
    {
        WatchedIterator old = *this;
        ++*this;
        return old;
    }
    bool operator==(const WatchedIterator &other) const { return at_ == other.at_; }
    bool operator!=(const WatchedIterator &other) const { return at_ != other.at_; }

private:
    const char *at_;
    const char **furthest_;
};

// A place in the text, which only moves forward.
struct Place {
    int line = 1, column = 1;
    std::size_t offset = 0;

    void move(std::string_view text, std::size_t to)
    {
        for (; offset < to; offset++) {
            const auto byte = static_cast<unsigned char>(text[offset]);
            if (byte == '\n') {
                line++;
                column = 1;
            } else if ((byte & 0xC0) != 0x80) { // not a continuation byte
                column++;
            }
        }
    }
};

class Builder : public nlohmann::json_sax<nlohmann::json>
{
public:
    Builder(std::string_view text, JsonNode &root, const char *const &read)
        : text_(text), root_(root), read_(read)
    {
    }

    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add_number(value); }
    bool number_unsigned(number_unsigned_t value) override
    {
        if (value <= std::numeric_limits<std::int64_t>::max())
            return add_number(static_cast<std::int64_t>(value));
        return add_number(value);
    }
    bool number_float(number_float_t value, const string_t &) override { return add_number(value); }
    bool string(string_t &value) override { return add(std::move(value)); }
    bool binary(binary_t &) override { return false; }
    bool start_object(std::size_t) override { return open(JsonNode::object); }
    bool start_array(std::size_t) override { return open(JsonNode::array); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(string_t &name) override
    {
        begin_token();
        name_ = std::move(name);
        return true;
    }
    bool parse_error(std::size_t position, const std::string &token,
                     const nlohmann::json::exception &error) override
    {
        constexpr int number_too_large = 406;
        if (error.id == number_too_large) {
            begin_token();
            throw JsonError(place_.line, place_.column, "the number is too large");
        }
        std::size_t at = std::min(position > 0 ? position - 1 : 0, text_.size());
        // The library's message begins with the position and ends with the whole token.
        std::string reason = error.what();
        if (const auto colon = reason.find(": "); colon != reason.npos)
            reason = reason.substr(colon + 2);
        reason = reason.substr(0, reason.find("; last read"));
        if (reason.empty())
            reason = "unexpected " + token;
        const bool malformed = reason.find("UTF-8") != reason.npos;
        while (malformed && at > 0 && byte_at(at) < 0x80)
            at--;
        if (byte_at(at) >= 0x80) {
            char text[64];
            std::snprintf(text, sizeof text, "%s byte 0x%02X",
                          malformed ? "the file is not UTF-8: the" : "outside texts: the",
                          unsigned{byte_at(at)});
            reason = text;
        }
        place_.move(text_, at);
        throw JsonError(place_.line, place_.column, malformed ? reason : "not JSON: " + reason);
    }

private:
    unsigned char byte_at(std::size_t at) const
    {
        return static_cast<unsigned char>(at < text_.size() ? text_[at] : 0);
    }
    // The token that has just been read begins after the end of the one before it.
    void begin_token()
    {
        place_.move(text_, std::min(text_.find_first_not_of(" \t\r\n,:", end_), text_.size()));
        end_ = static_cast<std::size_t>(read_ - text_.data());
    }
    JsonNode &place()
    {
        begin_token();
        JsonNode *node = &root_;
        if (!open_.empty())
            node = &open_.back()->members.emplace_back(std::exchange(name_, {}), JsonNode{}).second;
        node->line = place_.line;
        node->column = place_.column;
        return *node;
    }
    template <class T>
    bool add(T value)
    {
        place().value = std::move(value);
        return true;
    }
    // The parser reads one character past a number to find its end.
    template <class T>
    bool add_number(T value)
    {
        add(value);
        end_ = std::min(text_.find_first_not_of("+-.0123456789eE", place_.offset), text_.size());
        return true;
    }
    bool open(JsonNode::Type type)
    {
        JsonNode &node = place();
        if (open_.size() == deepest)
            throw JsonError(place_.line, place_.column, "too deeply nested");
        node.type = type;
        open_.push_back(&node);
        return true;
    }
    bool close()
    {
        begin_token();
        open_.pop_back();
        return true;
    }

    std::string_view text_;
    JsonNode &root_;
    const char *const &read_;
    Place place_;         // of the last token
    std::size_t end_ = 0; // of the last token
    std::string name_;
    std::vector<JsonNode *> open_;
};

// Sets the parent and index of all nodes below a node, whose address no longer changes, and finds
// names that stand twice in an object.
void link(JsonNode &node, std::vector<JsonError> &problems)
{
    for (std::size_t i = 0; i < node.members.size(); i++) {
        JsonNode &member = node.members[i].second;
        member.parent = &node;
        member.index = i;
        link(member, problems);
    }
    if (node.type != JsonNode::object)
        return;
    std::vector<const std::pair<std::string, JsonNode> *> sorted;
    for (const auto &member : node.members)
        sorted.push_back(&member);
    const auto key = [](const auto *member) {
        return std::tie(member->first, member->second.index);
    };
    std::ranges::sort(sorted, {}, key);
    for (std::size_t i = 1; i < sorted.size(); i++)
        if (sorted[i]->first == sorted[i - 1]->first)
            problems.emplace_back(sorted[i]->second, in_quotes(sorted[i]->first) + " stands twice");
}

std::string at_path(const JsonNode &node, const std::string &reason)
{
    const std::string path = node.path();
    return path.empty() ? reason : path + ": " + reason;
}

} // namespace

std::string JsonNode::path() const
{
    if (!parent)
        return {};
    const std::string before = parent->path();
    if (parent->type == array)
        return before + "[" + std::to_string(index) + "]";
    return before + (before.empty() ? "" : ".") + shortened(parent->members[index].first);
}

const JsonNode *JsonNode::member(std::string_view name) const
{
    for (const auto &[each, node] : members)
        if (each == name)
            return &node;
    return nullptr;
}

void JsonNode::need(Type wanted) const
{
    if (type != wanted)
        throw JsonError(*this, std::string(wanted == array    ? "a list [ ... ]"
                                           : wanted == object ? "an object { ... }"
                                                              : "a value") +
                                   " is needed here");
}

void expect_names(const JsonNode &node, std::span<const std::string_view> names,
                  std::vector<JsonError> &problems, const WhyNot &why_not)
{
    for (const auto &[name, value] : node.members) {
        if (std::ranges::find(names, name) != names.end())
            continue;
        if (const std::string reason = why_not ? why_not(name) : ""; !reason.empty()) {
            problems.emplace_back(value, reason);
            continue;
        }
        Nearest nearest(name);
        for (const std::string_view each : names)
            nearest.consider(each);
        const std::string hint = nearest.hint();
        problems.emplace_back(
            value,
            "unknown name " + in_quotes(name) +
                (hint.empty() ? "; there are: " + joined({names.begin(), names.end()}) : hint));
    }
}

std::optional<std::int64_t> JsonNode::integer(std::int64_t least, std::int64_t most) const
{
    std::optional<std::int64_t> number;
    if (const std::int64_t *whole = std::get_if<std::int64_t>(&value))
        number = *whole;
    // As JSON Schema has it, 1.0 is whole; larger ones may not be what was written.
    constexpr double all_exact = 1LL << 53;
    if (const double *real = std::get_if<double>(&value);
        real && std::abs(*real) < all_exact && std::trunc(*real) == *real)
        number = static_cast<std::int64_t>(*real);
    return number && *number >= least && *number <= most ? number : std::nullopt;
}

std::optional<double> JsonNode::real() const
{
    if (const std::int64_t *whole = std::get_if<std::int64_t>(&value))
        return static_cast<double>(*whole);
    const double *number = std::get_if<double>(&value);
    return number ? std::optional(*number) : std::nullopt;
}

const std::string &JsonNode::text() const
{
    if (!is_text())
        throw JsonError(*this, "a text in quotes is needed here");
    const auto &utf8 = std::get<std::string>(value);
    if (utf8.find('\0') != std::string::npos)
        throw JsonError(*this, "a text cannot hold the character 0");
    return utf8;
}

JsonError::JsonError(const JsonNode &node, const std::string &reason)
    : JsonError(node.line, node.column, at_path(node, reason))
{
}

std::vector<JsonError> parse_json(std::string_view text, JsonNode &root)
{
    if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF"))
        throw JsonError(1, 1, "the file is UTF-16, and is to be UTF-8");
    text = without_byte_order_mark(text);
    const char *read = text.data();
    Builder builder(text, root, read);
    nlohmann::json::sax_parse(WatchedIterator(text.data(), &read),
                              WatchedIterator(text.data() + text.size(), &read), &builder);
    std::vector<JsonError> problems;
    link(root, problems);
    return problems;
}

void read_nodes(std::string_view text, const std::string &path, JsonNode &root,
                const std::function<void(std::vector<JsonError> &problems)> &read)
{
    std::vector<JsonError> problems;
    attempt(problems, [&] {
        problems = parse_json(text, root);
        read(problems);
    });
    if (problems.empty())
        return;
    const auto place = [](const JsonError &error) { return std::pair(error.line, error.column); };
    std::ranges::stable_sort(problems, {}, place);
    constexpr std::size_t most_told = 100;
    const std::span told(problems.data(), std::min(problems.size(), most_told));
    std::string all;
    for (const JsonError &error : told)
        all += (all.empty() ? "" : "\n") + path + ":" + std::to_string(error.line) + ":" +
               std::to_string(error.column) + ": " + printable(error.what());
    if (const std::size_t more = problems.size() - told.size(); more > 0)
        all += "\n" + path + ": and " + std::to_string(more) +
               (more == 1 ? " more mistake" : " more mistakes");
    misuse(all);
}

} // namespace velt::host
