#include "host/trace/forms.h"

#include <algorithm>
#include <vector>

#include "common/error.h"
#include "common/words.h"

namespace velt::host
{
namespace
{

class Text final : public TraceForm
{
public:
    explicit Text(bool colour) : colour_(colour) {}
    std::string event(const TraceEvent &event, const SessionText &text) override
    {
        return trace_text(event, text, colour_) + "\n";
    }

private:
    bool colour_;
};

class Json final : public TraceForm
{
public:
    std::string event(const TraceEvent &event, const SessionText &text) override
    {
        return trace_json(event, text) + "\n";
    }
};

constexpr TraceFormat formats[] = {
    {"text", "a line for each event, to read", "[client ", false,
     [](bool colour) -> std::unique_ptr<TraceForm> { return std::make_unique<Text>(colour); }},
    {"json", "an object on each line, for programs", "{\"time\":", false,
     [](bool) -> std::unique_ptr<TraceForm> { return std::make_unique<Json>(); }},
    {"pcapng", "packets of ONC RPC, for protocol analysers", "\n\r\r\n", true, make_pcapng},
    {"perfetto", "trace events, for viewers of time lines", "[\n", true, make_perfetto},
};

} // namespace

std::span<const TraceFormat> trace_formats()
{
    return formats;
}

const TraceFormat &trace_format(std::string_view name)
{
    const auto *found = std::ranges::find(formats, name, &TraceFormat::name);
    if (found != std::end(formats))
        return *found;
    std::vector<std::string> names;
    for (const TraceFormat &each : formats)
        names.emplace_back(each.name);
    misuse("--trace=" + std::string(name) + ": there are " + joined(names));
}

} // namespace velt::host
