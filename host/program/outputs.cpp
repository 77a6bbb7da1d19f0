#include "host/program/outputs.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <system_error>
#include <utility>

#include "common/interrupts.h"

namespace velt::host
{
namespace
{

// Returns whether an output file is one of the files.
auto one_of(const std::vector<std::string> &paths)
{
    return [&paths](const OutputFile &file) {
        return std::ranges::any_of(paths, [&](const std::string &each) { return file.is(each); });
    };
}

// Has what is printed, also by clients, go to the standard error, since it would stand in the
// middle of what programs read.
void leave_standard_output()
{
    std::cout.flush();
    if (dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
        throw std::system_error(errno, std::generic_category(), "the standard output");
}

} // namespace

void Outputs::refuse(const std::function<bool(const OutputFile &)> &is_read)
{
    for (const auto &[option, file] : files())
        if (*file && is_read(**file))
            misuse_of_program(std::string(option) + ": " + (*file)->path() +
                              " would be overwritten");
}

Outputs::Outputs(const Arguments &arguments)
try : arguments_(arguments) {
    std::vector<std::string> read = arguments.scenarios;
    read.insert(read.end(), {arguments.book, arguments.script, arguments.words});
    // What hunspell reads beside the list of words.
    if (!arguments.words.empty())
        for (const char *extension : {".aff", ".dic"})
            read.push_back(std::filesystem::path(arguments.words).replace_extension(extension));
    for (const Startable &each : arguments.clients)
        read.push_back(each.what.path);
    if (!arguments.junit.empty())
        report_.emplace(arguments.junit);
    if (!arguments.trace_file.empty())
        trace_file_.emplace(arguments.trace_file);
    if (!arguments.record.empty())
        record_file_.emplace(arguments.record);
    refuse(one_of(read));
    if (arguments.script_is_input())
        refuse([](const OutputFile &file) { return file.is_read_from(STDIN_FILENO); });
    if (record_file_ && record_file_->is_standard(STDERR_FILENO))
        misuse(
            "--record names the standard error, on which messages are printed: name another file");
    if (record_file_ && !record_file_->lock())
        misuse("--record: somebody else is recording to " + arguments.record +
               ", or updates it: wait for its end, or name another file");
    if (record_file_)
        holds_recording(*record_file_);
    if (report_)
        report_->need_kind("report", {&Checks::junit_beginning, 1});
    if (trace_file_)
        need_trace(*trace_file_);
    const std::vector<Named> all = files();
    for (auto one = all.begin(); one != all.end(); ++one)
        for (auto other = one + 1; other != all.end(); ++other)
            if (*one->file && *other->file &&
                ((*one->file)->is(**other->file) || ((*one->file)->is_standard(STDOUT_FILENO) &&
                                                     (*other->file)->is_standard(STDOUT_FILENO))))
                misuse_of_program(std::string(one->option) + " and " + other->option +
                                  " name one file");
    for (const auto *file : {&trace_file_, &record_file_})
        if (*file && (*file)->is_standard(STDOUT_FILENO))
            leave_standard_output();
} catch (const std::system_error &error) {
    misuse(error.what());
}

void Outputs::begin(const std::vector<std::string> &read, IntT language)
try {
    try {
        refuse(one_of(read));
        // What an earlier run has reported is not taken for this one's, whatever becomes of it.
        if (report_)
            report_->begin();
    } catch (const std::exception &) {
        for (const Named &each : files())
            each.file->reset();
        throw;
    }
    text_.emplace(language);
    if (record_file_) {
        recorder_.emplace(std::move(*record_file_), *text_, arguments_.record_fields);
        recorder_->begin(language);
    }
    // --trace-file or --filter alone asks for a trace too.
    if (!arguments_.trace && !trace_file_ && !arguments_.filter)
        return;
    const TraceFormat &format = arguments_.trace ? *arguments_.trace : trace_formats().front();
    const bool colour = !trace_file_ && coloured(STDERR_FILENO);
    trace_.emplace(std::move(trace_file_), format.make(colour),
                   arguments_.filter.value_or(TraceFilter()));
} catch (const std::system_error &error) {
    misuse(error.what());
}

TraceSink Outputs::sink()
{
    if (!trace_ && !recorder_)
        return nullptr;
    return [this](const TraceEvent &event) {
        if (trace_)
            trace_->write(event, *text_);
        if (recorder_)
            recorder_->write(event);
    };
}

void Outputs::check()
{
    if (interrupts.signal)
        throw Interrupted();
    if (!std::cout || !std::cerr)
        fail("what it printed could not be written");
    if (trace_)
        trace_->check();
    if (recorder_)
        recorder_->check();
}

std::vector<std::string> Outputs::end()
{
    if (std::exchange(ended_, true))
        return {};
    if (recorder_) {
        recorder_->end();
        if (recorder_->empty())
            std::cerr << "vqhost: " << printable(recorder_->path())
                      << " was not written: nothing has happened that could be recorded"
                      << std::endl;
        for (const std::string &each : recorder_->warnings())
            std::cerr << "vqhost: " << printable(each) << std::endl;
    }
    if (trace_) {
        trace_->end();
        if (trace_->empty())
            std::cerr << "vqhost: " << printable(trace_->path())
                      << " was not written: nothing has happened that could be traced" << std::endl;
    }
    return failures_of(recorder_, trace_);
}

void Outputs::write_report(const Checks &checks)
{
    if (!report_)
        return;
    report_->begin();
    report_->write(checks.junit(arguments_.book));
    report_->check();
}

Outputs::~Outputs()
try {
    for (const std::string &each : end())
        std::cerr << "vqhost: " << printable_lines(each) << std::endl;
} catch (const std::exception &) {
    return; // what ends the run is told
}

} // namespace velt::host
