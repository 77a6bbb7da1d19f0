// The files that a run writes in addition to what it prints.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/program/arguments.h"
#include "host/scenario/recorder.h"

namespace velt::host
{

class Outputs
{
public:
    std::optional<OutputFile> report;

    // Opens the files, which keep what they hold until begin(). Refuses to overwrite a file that
    // the run reads, or one of them by another.
    explicit Outputs(const Arguments &arguments);
    // Empties the files. Refuses to overwrite one of these, which the run reads too; then there are
    // no outputs. The texts of clients are those of a session in the language.
    void begin(const std::vector<std::string> &read, IntT language);
    // Has the report alone begin: it tells why there is no session. The other files stay as they
    // are, and so does one with anything but a report in the report's place, since nobody knows
    // what the run would have read.
    void begin_report();
    // Ends the files and tells what end() returns, unless that has been called.
    ~Outputs();
    // Returns what is to receive the events of the session; empty when nothing is.
    TraceSink sink();
    // Cuts the recording off, if there is one, since the host itself has failed.
    void host_failed(const std::exception_ptr &why) noexcept
    {
        if (recorder_)
            recorder_->cut_off(why);
    }
    // Throws when the run is interrupted, or when a file or what was printed is not complete.
    void check();
    // Ends the files but the report. Returns what of them is not complete or lost, and was not
    // told.
    std::vector<std::string> end();

private:
    struct Named {
        const char *option;
        std::optional<OutputFile> *file;
    };
    std::vector<Named> files()
    {
        return {{"--junit", &report}, {"--trace-file", &trace_file_}, {"--record", &record_file_}};
    }
    void refuse(const std::function<bool(const OutputFile &)> &is_read);

    const Arguments &arguments_;
    std::optional<OutputFile> trace_file_, record_file_;
    std::optional<SessionText> text_;
    std::optional<TraceOutput> trace_;
    std::optional<Recorder> recorder_;
    bool ended_ = false;
};

} // namespace velt::host
