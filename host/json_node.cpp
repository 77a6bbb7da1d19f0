#include "host/json_node.h"

#include <algorithm>

namespace velt::host
{
namespace
{

constexpr std::size_t deepest = 32;

// Counts the lines as the parser reads on.
struct Position {
    int line = 1;
    char last = 0;
};

class CountingIterator
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char *;
    using reference = const char &;

    CountingIterator(const char *at, Position *position) : at_(at), position_(position) {}
    reference operator*() const { return *at_; }
    CountingIterator &operator++()
    {
        position_->line += position_->last == '\n';
        position_->last = *at_++;
        return *this;
    }
    CountingIterator operator++(int)
    {
        CountingIterator old = *this;
        ++*this;
        return old;
    }
    bool operator==(const CountingIterator &other) const { return at_ == other.at_; }
    bool operator!=(const CountingIterator &other) const { return at_ != other.at_; }

private:
    const char *at_;
    Position *position_;
};

class Builder : public nlohmann::json_sax<nlohmann::json>
{
public:
    explicit Builder(const Position &position) : position_(position) {}

    JsonNode root;

    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(value); }
    bool number_unsigned(number_unsigned_t value) override { return add(value); }
    bool number_float(number_float_t value, const string_t &) override { return add(value); }
    bool string(string_t &value) override { return add(std::move(value)); }
    bool binary(binary_t &) override { return false; }
    bool start_object(std::size_t) override { return open(JsonNode::object); }
    bool start_array(std::size_t) override { return open(JsonNode::array); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(string_t &name) override
    {
        const auto &members = open_.back()->members;
        const auto has_name = [&](const auto &member) { return member.first == name; };
        if (std::ranges::any_of(members, has_name))
            throw JsonError(position_.line, "\"" + name + "\" stands twice");
        name_ = std::move(name);
        return true;
    }
    bool parse_error(std::size_t, const std::string &token,
                     const nlohmann::json::exception &error) override
    {
        // The library's own text begins with its position, which the line replaces.
        std::string reason = error.what();
        if (const auto colon = reason.find(": "); colon != std::string::npos)
            reason = reason.substr(colon + 2);
        if (reason.empty())
            reason = "unexpected " + token;
        throw JsonError(position_.line, "not JSON: " + reason);
    }

private:
    JsonNode &place()
    {
        if (open_.empty())
            return root;
        auto &members = open_.back()->members;
        return members.emplace_back(std::exchange(name_, {}), JsonNode{}).second;
    }
    bool add(nlohmann::json value)
    {
        JsonNode &node = place();
        node.line = position_.line;
        node.value = std::move(value);
        return true;
    }
    bool open(JsonNode::Type type)
    {
        if (open_.size() == deepest)
            throw JsonError(position_.line, "too deeply nested");
        JsonNode &node = place();
        node.line = position_.line;
        node.type = type;
        open_.push_back(&node);
        return true;
    }
    bool close()
    {
        open_.pop_back();
        return true;
    }

    const Position &position_;
    std::string name_;
    std::vector<JsonNode *> open_;
};

} // namespace

JsonNode parse_json(std::string_view text)
{
    Position position;
    Builder builder(position);
    nlohmann::json::sax_parse(CountingIterator(text.data(), &position),
                              CountingIterator(text.data() + text.size(), &position), &builder);
    return std::move(builder.root);
}

} // namespace velt::host
