// vqrecord: records what a client and its host do, in the client's place.

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <new>
#include <optional>
#include <system_error>

#include "apilib/unix/descriptors.h"
#include "apilib/unix/process.h"
#include "apilib/unix/transport/transport.h"
#include "common/charset.h"
#include "common/printable.h"
#include "common/program.h"
#include "host/scenario/recorder.h"
#include "host/session/registrations.h"
#include "host/trace/trace_output.h"
#include "tools/vqrecord/child.h"
#include "tools/vqrecord/decoder.h"
#include "velt/api.h"

using namespace velt;
using namespace velt::vqrecord;

namespace
{

constexpr Program program = {"vqrecord", R"(usage: vqrecord -o FILE [OPTIONS] [--] CLIENT [ARGS...]

Stands between a client and its host, which starts it in the client's place, and writes
what they do, for vqhost replay.

  -o, --output FILE     write the recording to FILE, or to FILE.2 and so on if that has one
  --leave-out FIELD     without this field of arguments; once more for another
  --scrub FIELD         with this text replaced; once more for another
  --language NAME       the session's language, in whose encoding texts are (usenglish)
  --trace[=FORMAT]      print every call, decoded, on the standard error, as vqhost does
  --trace-file FILE     write the trace to FILE
  --filter WHAT,...     trace only what vqhost would with it
  -h, --help            show this text
  --version             show the version

Exit status: that of the client, or 1 instead of 0 when the recording could not be written;
before there is one, 1 when the port mapper refuses, 2 wrong usage, 126 or 127 when the
client cannot be started.
)"};

struct Arguments {
    std::string output, trace_file;
    std::optional<host::TraceFilter> filter;
    const host::TraceFormat *trace = nullptr;
    host::RecordedFields fields;
    IntT language = V_language_usenglish;
    host::Startup client = "";
};

std::vector<std::string> names_of_formats()
{
    std::vector<std::string> names;
    for (const host::TraceFormat &each : host::trace_formats())
        names.emplace_back(each.name);
    return names;
}

Arguments parse(int argc, char **argv)
{
    Arguments a;
    std::vector<Option> options = {
        Option::into('o', "output", a.output),
        {0, "leave-out", Option::value,
         [&](const std::string &field) {
             a.fields.left_out.insert(host::field_to_leave_out(field));
         },
         true},
        {0, "scrub", Option::value,
         [&](const std::string &field) { a.fields.scrubbed.insert(host::field_to_scrub(field)); },
         true},
        {0, "language", Option::value,
         [&](const std::string &name) { a.language = host::language_number(name); }, false,
         language_names()},
        {0, "trace", Option::maybe_value,
         [&](const std::string &form) {
             a.trace = form.empty() ? &host::trace_formats().front() : &host::trace_format(form);
         },
         false, names_of_formats()},
        Option::into(0, "trace-file", a.trace_file),
        {0, "filter", Option::value, [&](const std::string &list) { a.filter.emplace(list); }}};
    if (argc > 1 && std::string_view(argv[1]) == complete_option)
        host::offer_names(options);
    std::vector<std::string> words =
        parse_options(program, argc, argv, options, no_words, OptionsStand::in_front);
    if (a.trace && a.trace->needs_file && a.trace_file.empty())
        misuse("--trace=" + std::string(a.trace->name) + " needs --trace-file");
    if (a.output.empty())
        misuse("-o is missing: where the recording goes");
    if (words.empty() || words[0].empty())
        misuse("which client is to be recorded?");
    a.client.path = host::find_program(words[0]);
    a.client.arguments.assign(words.begin() + 1, words.end());
    return a;
}

// What a host tells the client that it starts.
struct Description {
    int client_program, client_version, host_program, host_version, host_process, number;
    char name[256];

    static Description read()
    {
        const char *text = std::getenv("VQAPIX");
        Description d;
        if (!text ||
            std::sscanf(text, "%d.%d %d.%d %d.%d.%255s", &d.client_program, &d.client_version,
                        &d.host_program, &d.host_version, &d.host_process, &d.number, d.name) != 7)
            misuse("not called by a Velt product: have a host start it in the client's place");
        return d;
    }
    std::string text() const
    {
        const auto part = [](int value) { return std::to_string(value) + "."; };
        return part(client_program) + std::to_string(client_version) + " " + part(host_program) +
               std::to_string(host_version) + " " + part(host_process) + part(number) + name;
    }
};

// Returns a file that nobody else records to, and that holds no recording: the file of this name,
// or that with the first number behind it. A host may start a client more than once, and at once.
OutputFile free_file(const std::string &name)
{
    for (int number = 1;; number++) {
        OutputFile file(number == 1 ? name : name + "." + std::to_string(number));
        if (!file.lock() || host::holds_recording(file))
            continue;
        if (number > 1)
            std::cerr << "vqrecord: " << printable(name) << " has a recording; this one goes to "
                      << printable(file.path()) << std::endl;
        return file;
    }
}

// The recording, and the trace if there is one.
class Outputs
{
public:
    explicit Outputs(const Arguments &a)
    try : text_(a.language) {
        OutputFile recording = free_file(a.output);
        if (recording.is_standard(STDOUT_FILENO) || recording.is_standard(STDERR_FILENO))
            misuse("-o names the standard output or error, on which the client prints: name "
                   "another file");
        std::optional<OutputFile> trace;
        if (!a.trace_file.empty())
            trace.emplace(a.trace_file);
        if (trace && trace->is(recording))
            misuse("-o and --trace-file name one file");
        for (const OutputFile *each : {&recording, trace ? &*trace : &recording})
            if (each->is(a.client.path))
                misuse(each->path() + " is the client, and would be overwritten");
        if (trace)
            host::need_trace(*trace);
        recorder_.emplace(std::move(recording), text_, a.fields);
        recorder_->begin(a.language);
        if (a.trace || trace || a.filter) {
            const host::TraceFormat &format = a.trace ? *a.trace : host::trace_formats().front();
            const bool colour = !trace && host::coloured(STDERR_FILENO);
            trace_.emplace(std::move(trace), format.make(colour),
                           a.filter.value_or(host::TraceFilter()));
        }
    } catch (const std::system_error &error) {
        misuse(error.what());
    }
    Outputs(const Outputs &) = delete;

    host::TraceSink sink()
    {
        return [this](const host::TraceEvent &event) {
            if (trace_)
                trace_->write(event, text_);
            recorder_->write(event);
        };
    }
    // Ends the files, the recording as one that was cut off or as a whole one. Returns whether they
    // have all that they are to have.
    bool end(bool cut_off)
    {
        if (!cut_off)
            recorder_->end();
        if (recorder_->empty())
            std::cerr << "vqrecord: the recording was not written: nothing has happened\n";
        for (const std::string &each : recorder_->warnings())
            std::cerr << "vqrecord: " << printable(each) << '\n';
        if (trace_)
            trace_->end();
        const std::vector<std::string> failures = host::failures_of(recorder_, trace_);
        for (const std::string &each : failures)
            std::cerr << "vqrecord: " << printable_lines(each) << std::endl;
        return failures.empty();
    }
    // Removes new files in which there is nothing, too.
    void close()
    {
        recorder_.reset();
        trace_.reset();
    }

private:
    const host::SessionText text_;
    std::optional<host::Recorder> recorder_;
    std::optional<host::TraceOutput> trace_;
};

bool out_of_descriptors(int error)
{
    return error == EMFILE || error == ENFILE;
}

// Programs that are registered with the port mapper that the host uses: its own when VQPMAP tells
// of one, else the machine's.
class Programs
{
public:
    Programs() = default;
    Programs(const Programs &) = delete;
    Programs &operator=(const Programs &) = delete;
    ~Programs() { remove_all(); }

    UIntT free() { return host::free_program(mapper_); }
    void add(UIntT number, UIntT version, in_port_t port)
    {
        mapper_.unset(number, version); // an earlier client may have left it
        rpc_createerr = {};
        if (!mapper_.set({number, version, IPPROTO_TCP, port})) {
            const int error = rpc_createerr.cf_error.re_errno;
            if (error == ENOMEM)
                throw std::bad_alloc();
            fail(std::string("cannot register with the port mapper: ") +
                 (out_of_descriptors(error) ? "there are no more file descriptors"
                                            : "it does not answer, or does not let you"));
        }
        made_.push_back({number, version, IPPROTO_TCP, port});
    }
    // Removes one of them, or the client's own, unless another has taken its place.
    void remove(UIntT number, UIntT version)
    {
        const in_port_t found = mapper_.find(number, version, IPPROTO_TCP);
        const auto made = std::ranges::find(made_, number, &host::Registration::program);
        if (found != 0 && (made == made_.end() || made->port == found))
            mapper_.unset(number, version);
        if (made != made_.end())
            made_.erase(made);
    }
    void remove_all()
    {
        while (!made_.empty())
            remove(made_.back().program, made_.back().version);
    }

private:
    host::MachinePortMapper mapper_;
    std::vector<host::Registration> made_;
};

// A host that wants the client to detach itself waits for the end of the process that it started.
void detach()
{
    const pid_t child = fork();
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (child > 0)
        _exit(EXIT_SUCCESS);
}

// Returns whether a process has exited, or closes its connections as it is exiting.
bool has_gone(pid_t id, unsigned long long start)
{
    ProcessFacts facts;
    return !lives(id, start) || (read_process(id, facts) && facts.exiting);
}

[[noreturn]] void run(int argc, char **argv)
{
    const Arguments arguments = parse(argc, argv);
    const Description told = Description::read();
    Outputs outputs(arguments);
    const bool detaches = told.number >= 0;
    if (detaches)
        detach();
    const unsigned long long host_start = told.host_process > 0 ? start_of(told.host_process) : 0;
    // Those who talk have limits of their own. What may be written on is read.
    V_ApiSetLimit(V_limit_record_in, V_ApiGetLimit(V_limit_record_out));
    Child child;
    Programs programs;
    Description offered = told;
    offered.client_program = static_cast<int>(programs.free());
    offered.host_program = static_cast<int>(programs.free());
    if (detaches)
        offered.number = ~told.number;
    const auto of = [](int number) { return static_cast<UIntT>(number); };
    // The numbers that are not the host's own are needed no more when both have found each other:
    // whatever becomes of this process, they are not left behind.
    const auto forget = [&](Caller caller) {
        caller == Caller::client
            ? programs.remove(of(offered.host_program), of(offered.host_version))
            : programs.remove(of(offered.client_program), of(offered.client_version));
    };
    Decoder decoder(outputs.sink(), forget);
    decoder.client.number = detaches ? told.number : ~told.number;
    decoder.client.name = told.name;
    decoder.client.program = of(told.client_program);
    decoder.client.version = of(told.client_version);
    Relay relay(decoder, [&child] { return child.is_ending(); });
    const auto offer = [&](Caller caller, int number, int version, int served) {
        const Route route{caller, of(number), of(version), of(served)};
        programs.add(of(number), of(version), relay.listen(route, session_has_mapper()));
    };
    offer(Caller::client, offered.host_program, told.host_version, told.host_program);
    offer(Caller::host, told.client_program, told.client_version, offered.client_program);

    child.start(arguments.client, offered.text());
    while (!child.status()) {
        if (relay.serve(child.signals()))
            child.serve();
    }
    relay.finish();
    // What a client did after its host was gone is nothing that a host sees.
    const bool cut_off =
        decoder.is_busy() && told.host_process > 0 && has_gone(told.host_process, host_start);
    if (!cut_off)
        decoder.exited(*child.status());
    const bool complete = outputs.end(cut_off || !decoder.is_complete()) && decoder.is_complete();
    outputs.close();
    forget(Caller::host);
    programs.remove_all();
    if (!complete && *child.status() == 0)
        _exit(EXIT_FAILURE);
    // The connections stay open until the process has ended, so that the host sees them end with
    // the client.
    child.end_alike();
}

} // namespace

int main(int argc, char **argv)
{
    fill_standard_descriptors();
    return run_program(program, [=]() -> ExitCode { run(argc, argv); });
}
