#include "host/trace/trace.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "host/json/writer.h"

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

std::string quote(const char *bytes, const SessionText &session)
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

std::string show(const Shape &shape, void *value, const SessionText &session);

// Returns as text the fields of a struct, the elements of a list, or a value that stands alone.
std::string show_inside(const Shape &shape, void *value, const SessionText &session)
{
    std::string text;
    const auto add = [&](const std::string &part) { text += (text.empty() ? "" : ", ") + part; };
    if (shape.kind == Shape::structure) {
        shape.each_field(value, [&](const char *name, const Shape &of, void *field) {
            add(std::string(name) + "=" + show(of, field, session));
        });
    } else if (shape.kind == Shape::list) {
        std::size_t count = 0;
        auto *element = static_cast<std::byte *>(shape.elements(value, count));
        for (std::size_t i = 0; i < std::min(count, shown_elements); i++)
            add(show(*shape.element, element + i * shape.element->size, session));
        if (count > shown_elements)
            text += ", ... " + std::to_string(count) + " in all";
    } else {
        text = show(shape, value, session);
    }
    return text;
}

std::string show(const Shape &shape, void *value, const SessionText &session)
{
    switch (shape.kind) {
    case Shape::number:
        return std::to_string(shape.get(value));
    case Shape::text: {
        const StringT text = *static_cast<StringT *>(value);
        return quote(text ? text : "", session);
    }
    case Shape::pointer: {
        std::size_t count = 0;
        void *const to = shape.elements(value, count);
        return to ? show(*shape.element, to, session) : "null";
    }
    case Shape::list:
        return "[" + show_inside(shape, value, session) + "]";
    case Shape::structure:
        break;
    }
    return "{" + show_inside(shape, value, session) + "}";
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
    return event.outcome.empty() || event.outcome == outcomes::answered ||
           event.outcome == outcomes::handed_back || event.outcome == "exited with status 0";
}

std::string seconds(std::chrono::nanoseconds duration)
{
    return format(" <%.6f>", std::chrono::duration<double>(duration).count());
}

} // namespace

std::string fields_text(const TracedMessage &message, const SessionText &session)
{
    return message.shape ? show_inside(*message.shape, message.value, session) : "";
}

void write_message(JsonWriter &out, const char *name, const TracedMessage &message,
                   const SessionText &text)
{
    out.key(name);
    if (message.shape)
        write_value(*message.shape, message.value, out,
                    [&](const char *bytes) { return text.to_utf8(bytes); });
    else
        out.null();
}

std::optional<std::int64_t> trace_status(const TraceEvent &event)
{
    const auto &[shape, value] = event.result;
    std::optional<std::int64_t> status;
    if (!shape || event.outcome != outcomes::answered)
        return status;
    if (shape->kind == Shape::number)
        status = std::min<std::int64_t>(shape->get(value), 0);
    if (shape->kind == Shape::structure)
        shape->each_field(value, [&](std::string_view name, const Shape &of, void *field) {
            if (name == "status")
                status = of.get(field);
        });
    return status;
}

bool trace_failed(const TraceEvent &event)
{
    return trace_status(event).value_or(0) != 0 || !went_well(event);
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
        line += "(" + fields_text(event.arguments, text) + ")";
    if (event.direction == Direction::to_host) {
        const bool answered = event.outcome == outcomes::answered;
        line += " = ";
        line += !answered            ? paint(red, printable(event.outcome))
                : event.result.shape ? paint(trace_failed(event) ? red : green,
                                             show(*event.result.shape, event.result.value, text))
                                     : "void";
    }
    if (event.duration)
        line += paint(dim, seconds(*event.duration));
    return line;
}

std::string trace_json(const TraceEvent &event, const SessionText &text)
{
    using std::chrono::duration;
    JsonWriter line(JsonWriter::one_line);
    const auto real = [&](const char *name, auto value) {
        line.key(name);
        line.real(duration<double>(value).count());
    };
    line.begin('{');
    real("time", event.time.time_since_epoch());
    line.number("client", event.client);
    line.text("direction", name_of(event.direction));
    line.text("procedure", event.procedure);
    line.number("number", event.number);
    line.number("depth", static_cast<std::int64_t>(event.depth));
    write_message(line, "arguments", event.arguments, text);
    write_message(line, "result", event.result, text);
    line.text("outcome", printable(event.outcome));
    if (event.duration)
        real("duration", *event.duration);
    line.end('}');
    return printable_json(line.take());
}

} // namespace velt::host
