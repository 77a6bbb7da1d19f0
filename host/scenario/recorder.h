// Writes what happens between the host and its clients as a scenario that a replay can play.
#pragma once

#include <chrono>
#include <exception>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "common/output_file.h"
#include "host/scenario/recording.h"
#include "host/scenario/redaction.h"
#include "host/trace/trace_output.h"

namespace velt::host
{

// Returns the event as a recording has it, on one line, `time` seconds after the recording began.
// The name of the client may be empty. Throws Error for a line that is too long to be read.
std::string recorded_line(const TraceEvent &event, const std::string &client_name,
                          std::optional<double> time, const SessionText &text,
                          Redaction &redaction);

// Returns whether the file holds a recording. Throws Error when it holds anything else.
bool holds_recording(const OutputFile &file);

class Recorder
{
public:
    Recorder(OutputFile file, const SessionText &text, RecordedFields fields)
        : file_(std::move(file)), text_(text),
          redaction_(std::move(fields), Redaction::Texts::new_ones)
    {
    }

    // Prepares the beginning of the file, which has the session's language. The file stays as it is
    // until something happens, so that a start that fails costs no earlier recording.
    void begin(IntT language);
    // Writes the event as one line, in one piece; what came before is readable whatever happens
    // next. Throws nothing.
    void write(const TraceEvent &event) noexcept;
    // Ends the recording here, as one that was cut off: what comes next happens for a reason that
    // is not in it.
    void cut_off(const std::exception_ptr &why) noexcept
    {
        if (!error_)
            error_ = why;
    }
    // Completes the file, if it was begun.
    void end() noexcept;
    // Returns what the person has to know of what was left out or scrubbed, and was not.
    std::vector<std::string> warnings() const { return redaction_.warnings(); }
    // Returns whether nothing has happened.
    bool empty() const { return first_ && !error_; }
    const std::string &path() const { return file_.path(); }

    // Throws std::runtime_error when a part could not be written, once.
    void check();
    // Throws std::runtime_error when what was written is lost.
    void check_place() const
    {
        if (!empty())
            file_.check();
    }

private:
    OutputFile file_;
    const SessionText &text_;
    Redaction redaction_;
    std::string header_;
    std::map<int, std::string> names_; // of the clients that have events
    std::chrono::system_clock::time_point start_;
    bool first_ = true;
    std::exception_ptr error_; // why the recording goes no farther
    bool told_ = false;        // by check()
};

// Returns of each why it is not complete, unless that was told, or lost.
std::vector<std::string> failures_of(std::optional<Recorder> &recorder,
                                     std::optional<TraceOutput> &trace);

} // namespace velt::host
