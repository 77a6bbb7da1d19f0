// Writes what happens between the host and its clients as a scenario that a replay can play.
#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <string>

#include "common/output_file.h"
#include "host/trace/trace.h"

namespace velt::host
{

// Returns the name. Throws Error if no message has a field of it.
const std::string &known_field(const std::string &name);

class Recorder
{
public:
    // The fields of these names are left out, since they differ from run to run, and the texts of
    // those are replaced.
    struct Fields {
        std::set<std::string, std::less<>> left_out, scrubbed;
    };

    Recorder(OutputFile file, const SessionText &text, Fields fields)
        : file_(std::move(file)), text_(text), fields_(std::move(fields))
    {
    }

    // Begins the file with the session's language.
    void begin(IntT language);
    // Writes the event as one line, in one piece; what came before is readable whatever happens
    // next. Throws nothing.
    void write(const TraceEvent &event) noexcept;
    void end();

    // Throws std::system_error when a part could not be written.
    void check() const;
    // Throws std::runtime_error when another file has taken the recording's place.
    void check_place() const { file_.check(); }

private:
    void put(const std::string &text);
    void message(class JsonWriter &out, const char *name, const TracedMessage &message);

    OutputFile file_;
    const SessionText &text_;
    Fields fields_;
    std::chrono::system_clock::time_point start_;
    bool first_ = true;
    std::error_code error_;
};

} // namespace velt::host
