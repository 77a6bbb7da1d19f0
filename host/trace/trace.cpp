#include "host/trace/trace.h"

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

std::string quoted_character(char32_t c)
{
    switch (c) {
    case U'"':
        return "\\\"";
    case U'\\':
        return "\\\\";
    case U'\n':
        return "\\n";
    case U'\t':
        return "\\t";
    }
    const int stray = SessionText::stray_byte(c);
    if (stray >= 0 || c < 0x20)
        return format("\\x%02x", stray >= 0 ? stray : static_cast<int>(c));
    const std::string text = to_utf8(c);
    return printable(text) == text ? text : format("\\u%04x", static_cast<unsigned>(c));
}

std::string quote(const std::string &bytes, const SessionText &session)
{
    const std::u32string characters = from_utf8(session.to_utf8(bytes));
    std::string text = "\"";
    for (const char32_t c : std::u32string_view(characters).substr(0, shown_characters))
        text += quoted_character(c);
    text += '"';
    if (characters.size() > shown_characters)
        text += "...";
    return text;
}

std::string show(const Json &value, const SessionText &session);

// Returns as text the fields of a struct, the elements of a list, or a value that stands alone.
std::string show_inside(const Json &value, const SessionText &session)
{
    if (value.is_null())
        return {};
    if (!value.is_structured())
        return show(value, session);
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
        text += show(item.value(), session);
    }
    return text;
}

std::string show(const Json &value, const SessionText &session)
{
    if (value.is_object())
        return "{" + show_inside(value, session) + "}";
    if (value.is_array())
        return "[" + show_inside(value, session) + "]";
    if (value.is_string())
        return quote(value.get_ref<const std::string &>(), session);
    return value.dump();
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

Json decoded(const Json &value, const SessionText &session)
{
    if (value.is_string())
        return session.to_utf8(value.get_ref<const std::string &>());
    Json made = value;
    if (value.is_structured())
        for (auto &element : made)
            element = decoded(element, session);
    return made;
}

bool trace_failed(const TraceEvent &event)
{
    const Json &result = event.result;
    if (result.is_object() && result.contains("status"))
        return !went_well(event) || result["status"] != 0;
    return !went_well(event) || (result.is_number_integer() && result < 0);
}

std::string trace_text(const TraceEvent &event, const SessionText &text, bool colour)
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
        line += ": " + paint(went_well(event) ? green : red, printable(event.outcome));
    else
        line += "(" + show_inside(event.arguments, text) + ")";
    if (event.direction == Direction::to_host) {
        const bool answered = event.outcome == "answered";
        line += " = ";
        line += !answered ? paint(red, printable(event.outcome))
                : event.result.is_null()
                    ? "void"
                    : paint(trace_failed(event) ? red : green, show(event.result, text));
    }
    if (event.duration)
        line += paint(dim, seconds(*event.duration));
    return line;
}

std::string trace_json(const TraceEvent &event, const SessionText &text)
{
    using std::chrono::duration;
    Json line = {
        {"time", duration<double>(event.time.time_since_epoch()).count()},
        {"client", event.client},
        {"direction", name_of(event.direction)},
        {"procedure", event.procedure},
        {"number", event.number},
        {"depth", event.depth},
        {"arguments", decoded(event.arguments, text)},
        {"result", decoded(event.result, text)},
        {"outcome", printable(event.outcome)},
    };
    if (event.duration)
        line["duration"] = duration<double>(*event.duration).count();
    return printable_json(line.dump());
}

} // namespace velt::host
