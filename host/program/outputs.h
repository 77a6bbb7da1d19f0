// The files that a run writes in addition to what it prints.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/program/arguments.h"
#include "host/scenario/recorder.h"
#include "host/script/checks.h"

namespace velt::host
{

class Outputs
{
public:
    // Opens the files, each of which keeps what it holds until something comes for it. Refuses to
    // overwrite a file of another kind, one that the run reads, or one of them by another.
    explicit Outputs(const Arguments &arguments);
    // Prepares for the events of a session in the language. Refuses to overwrite one of these,
    // which the run reads too; then there are no outputs.
    void begin(const std::vector<std::string> &read, IntT language);
    // Tells what end() returns.
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
    // Ends the files but the report, once. Returns what of them is not complete or lost, and was
    // not told.
    std::vector<std::string> end();
    // Writes the report, if one is asked for. Throws when it is not complete or lost.
    void write_report(const Checks &checks);

private:
    struct Named {
        const char *option;
        std::optional<OutputFile> *file;
    };
    std::vector<Named> files()
    {
        return {{"--junit", &report_}, {"--trace-file", &trace_file_}, {"--record", &record_file_}};
    }
    void refuse(const std::function<bool(const OutputFile &)> &is_read);

    const Arguments &arguments_;
    std::optional<OutputFile> report_, trace_file_, record_file_;
    std::optional<SessionText> text_;
    std::optional<TraceOutput> trace_;
    std::optional<Recorder> recorder_;
    bool ended_ = false;
};

} // namespace velt::host
