// Reads a recording, one event after the other.
#pragma once

#include <istream>
#include <memory>
#include <optional>
#include <string>

#include "host/json/node.h"
#include "host/wire/catalogue.h"

namespace velt::host
{

struct RecordedEvent {
    std::string place; // in the file
    int client = 0;
    enum Kind { call, host_call, end } kind = end;
    const Procedure *procedure = nullptr; // null for an end
    std::shared_ptr<const JsonNode> node;
    const JsonNode *arguments = nullptr, *answer = nullptr;
    const JsonNode *failed = nullptr; // why there was no answer
    bool waits = false;               // a call of the host that came while the client waits
    bool exited = false;              // how a turn has ended
    // In seconds: when it was, since the recording began, and how long the host took to answer.
    std::optional<double> time, took;

    // The event in one line.
    std::string text() const;
};

class Recording
{
public:
    // Opens the file. Throws Error when it is no recording.
    explicit Recording(const std::string &path);
    Recording(std::unique_ptr<std::istream> file, const std::string &path);

    IntT language() const { return language_; }
    // Returns the next event; nothing at the end. Throws Error for a line that is no event.
    std::optional<RecordedEvent> next();
    // Returns whether the file has no end, because the run that wrote it was cut off. It is known
    // once the last event has been read.
    bool cut_off() const { return cut_off_; }

private:
    [[noreturn]] void refuse(const std::string &reason) const;
    bool read_line();

    std::string path_, line_;
    std::unique_ptr<std::istream> file_;
    std::size_t number_ = 0; // of the line
    IntT language_ = 0;
    bool over_ = false, cut_off_ = false;
};

} // namespace velt::host
