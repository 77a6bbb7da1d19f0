#include "host/trace.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace velt::host
{
namespace
{

constexpr std::size_t shown_characters = 64;
constexpr std::size_t shown_elements = 16;

std::string_view name_of(Direction direction)
{
    constexpr std::array<std::string_view, 3> names = {"to-host", "to-client", "from-client"};
    return names[static_cast<std::size_t>(direction)];
}

template <class... Values>
std::string format(const char *form, Values... values)
{
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), form, values...);
    return text.data();
}

std::string quote(const std::string &bytes)
{
    std::string text = "\"";
    for (char c : bytes.substr(0, shown_characters)) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\')
            text += {'\\', c};
        else if (c == '\n')
            text += "\\n";
        else if (c == '\t')
            text += "\\t";
        else if (byte < 32 || byte > 126)
            text += format("\\x%02x", byte);
        else
            text += c;
    }
    text += '"';
    if (bytes.size() > shown_characters)
        text += "...";
    return text;
}

std::string show(const Json &value);

// The fields of a record, or the elements of a list, or what stands alone.
std::string show_inside(const Json &value)
{
    if (value.is_null())
        return {};
    if (!value.is_structured())
        return show(value);
    std::string text;
    std::size_t count = 0;
    for (const auto &item : value.items()) {
        if (count != 0)
            text += ", ";
        if (value.is_array() && count++ == shown_elements)
            return text + "... " + std::to_string(value.size()) + " in all";
        if (value.is_object()) {
            count++;
            text += item.key() + "=";
        }
        text += show(item.value());
    }
    return text;
}

std::string show(const Json &value)
{
    if (value.is_object())
        return "{" + show_inside(value) + "}";
    if (value.is_array())
        return "[" + show_inside(value) + "]";
    if (value.is_string())
        return quote(value.get_ref<const std::string &>());
    return value.dump();
}

// A trace is valid UTF-8 whatever bytes travelled.
Json as_characters(const Json &value)
{
    if (value.is_string()) {
        std::string text;
        for (char c : value.get_ref<const std::string &>()) {
            const auto byte = static_cast<unsigned char>(c);
            if (byte < 0x80) {
                text += c;
            } else {
                text += static_cast<char>(0xC0 | byte >> 6);
                text += static_cast<char>(0x80 | (byte & 0x3F));
            }
        }
        return text;
    }
    Json made = value;
    if (value.is_structured())
        for (auto &element : made)
            element = as_characters(element);
    return made;
}

class Painter
{
public:
    explicit Painter(bool colour) : colour_(colour) {}

    std::string operator()(const char *code, const std::string &text) const
    {
        return colour_ && !text.empty() ? format("\033[%sm", code) + text + "\033[0m" : text;
    }

private:
    bool colour_;
};

constexpr const char *dim = "2", *bold = "1", *green = "32", *red = "31", *cyan = "36";

bool went_well(const TraceEvent &event)
{
    return event.outcome.empty() || event.outcome == "answered" ||
           event.outcome == "handed control back" || event.outcome == "exited with status 0";
}

std::string seconds(std::chrono::nanoseconds duration)
{
    return format(" <%.6f>", std::chrono::duration<double>(duration).count());
}

} // namespace

std::string trace_text(const TraceEvent &event, bool colour)
{
    const Painter paint(colour);
    std::string line = paint(dim, "[client " + std::to_string(event.client) + "] ");
    line.append(2 + event.depth * 4, ' ');
    switch (event.direction) {
    case Direction::to_client:
        line.replace(line.size() - 2, 2, "");
        line += paint(cyan, "-> ");
        break;
    case Direction::from_client:
        line.replace(line.size() - 2, 2, "");
        line += paint(cyan, "<- ");
        break;
    case Direction::to_host:
        break;
    }
    line += paint(bold, std::string(event.procedure));
    if (event.direction == Direction::from_client)
        line += ": " + paint(went_well(event) ? green : red, event.outcome);
    else
        line += "(" + show_inside(event.arguments) + ")";
    if (event.direction == Direction::to_host) {
        const bool answered = event.outcome == "answered";
        line += " = ";
        line += !answered                ? paint(red, event.outcome)
                : event.result.is_null() ? "void"
                                         : paint(green, show(event.result));
    }
    if (event.duration)
        line += paint(dim, seconds(*event.duration));
    return line;
}

std::string trace_json(const TraceEvent &event)
{
    using std::chrono::duration;
    Json line = {
        {"time", duration<double>(event.time.time_since_epoch()).count()},
        {"client", event.client},
        {"direction", name_of(event.direction)},
        {"procedure", event.procedure},
        {"number", event.number},
        {"depth", event.depth},
        {"arguments", as_characters(event.arguments)},
        {"result", as_characters(event.result)},
        {"outcome", as_characters(event.outcome)},
    };
    if (event.duration)
        line["duration"] = duration<double>(*event.duration).count();
    return line.dump();
}

Json json_number(std::int64_t value)
{
    return value;
}

Json json_string(const char *value)
{
    return value ? value : "";
}

void json_append(Json &list, Json element)
{
    list.push_back(std::move(element));
}

void json_add(Json &record, const char *name, Json field)
{
    record.emplace(name, std::move(field));
}

} // namespace velt::host
