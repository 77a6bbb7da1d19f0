// vqhost: the reference host as a program.

#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>

#include "apilib/unix/descriptors.h"
#include "common/replace_file.h"
#include "host/book.h"
#include "host/commands.h"
#include "host/descriptor.h"
#include "host/input.h"
#include "host/memory_reserve.h"
#include "host/output_file.h"
#include "host/prompt.h"
#include "host/trace_output.h"
#include "velt/vde/language.h"

namespace
{

using namespace velt::host;
using velt::printable_lines;

constexpr const char *usage_text =
    R"(usage: vqhost run BOOK.json [OPTIONS] [COMMANDS...]
       vqhost check-book BOOK.json...
       vqhost schema

Opens a book, runs clients on it, and carries out commands, one to an argument.
Without commands it reads them from the terminal or the standard input.
check-book tells what is wrong with book files; schema prints what one may hold, as a
JSON Schema.

  --client PATH        start this client; once more for another
  --client-arg ARG     hand an argument to the client before; once more for another
  --client-env NAME=VALUE  set a variable for the client before
  --init CODE          the code with which clients are initialised at first (1)
  --trace[=text|json]  print every call, decoded, on the standard error
  --trace-file FILE    write the trace to FILE
  --filter WHAT,...    trace procedures, as in "*_get_*,api_vq_alert_1", or "failures" only
  --script FILE        read commands from FILE; - is the standard input
  --junit FILE         write what was expected, and what came of it, to FILE
  --language NAME      the session's language, whatever the book says
  --port-mapper WHICH  own or machine (the machine's if clients can use it)
  --time-limit SECONDS how long a client may take to start or to hand back control:
                       0.1 to 86400 (30), or 0 for any time
  --debug              stop each client at its first instruction until a debugger lets it
                       go on, and give it any time for everything
  -h, --help, --version

Exit status: 0 done, 1 an expectation or a client failed, 2 usage or book file,
3 the port mapper failed.

Commands:
)";

int tell(const std::string &text)
{
    if (!(std::cout << text << std::flush))
        throw CommandError(failed, "what it printed could not be written");
    return done;
}

int tell_help()
{
    return tell(usage_text + Commands::help());
}

int tell_version()
{
    return tell("vqhost " VELT_VERSION "\n");
}

struct Arguments {
    std::string book;
    std::vector<Startable> clients;
    IntT init_code = 1;
    IntT language = 0; // the book's
    enum { untraced, text, json } trace = untraced;
    std::string trace_file, filter;
    std::string script, junit;
    enum { whichever, own, machine } port_mapper = whichever;
    std::chrono::milliseconds time_limit = std::chrono::seconds(30);
    bool debug = false;
    std::vector<std::string> commands;
    int (*tell)() = nullptr; // what is asked for instead of a run

    // Whether a person types the commands.
    bool interactive() const { return commands.empty() && script.empty() && isatty(STDIN_FILENO); }
};

[[noreturn]] void misuse_of_program(const std::string &text)
{
    misuse(text + "; vqhost --help tells more");
}

std::string shown(double number)
{
    std::ostringstream text;
    text << std::setprecision(12) << number;
    return text.str();
}

double number_of(const char *option, const std::string &text, double least, double most)
{
    char *end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(value >= least && value <= most))
        misuse_of_program(std::string(option) + " " + text + ": not a number from " + shown(least) +
                          " to " + shown(most));
    return value;
}

std::chrono::milliseconds time_limit_of(const std::string &text)
{
    const double seconds = number_of("--time-limit", text, 0, 86400);
    if (seconds > 0 && seconds < 0.1)
        misuse_of_program("--time-limit " + text + ": from 0.1 to 86400, or 0 for any time");
    return seconds == 0 ? no_limit : std::chrono::milliseconds(std::lround(1000 * seconds));
}

// A program by its name alone is looked for as a shell does.
std::string find_program(const std::string &name)
{
    const char *path = std::getenv("PATH");
    if (name.find('/') != name.npos || !path)
        return name;
    std::istringstream folders(path);
    for (std::string folder; std::getline(folders, folder, ':');)
        if (const std::string found = folder + "/" + name;
            access(found.c_str(), X_OK) == 0 && !std::filesystem::is_directory(found))
            return found;
    return name;
}

Arguments parse(int argc, char **argv)
{
    enum Option {
        client = 1,
        client_arg,
        client_env,
        init,
        trace,
        trace_file,
        filter,
        script,
        junit,
        port_mapper,
        time_limit,
        debug,
        help,
        version,
        language
    };
    static const option options[] = {
        {"client", required_argument, nullptr, client},
        {"client-arg", required_argument, nullptr, client_arg},
        {"client-env", required_argument, nullptr, client_env},
        {"init", required_argument, nullptr, init},
        {"trace", optional_argument, nullptr, trace},
        {"trace-file", required_argument, nullptr, trace_file},
        {"filter", required_argument, nullptr, filter},
        {"script", required_argument, nullptr, script},
        {"junit", required_argument, nullptr, junit},
        {"port-mapper", required_argument, nullptr, port_mapper},
        {"time-limit", required_argument, nullptr, time_limit},
        {"debug", no_argument, nullptr, debug},
        {"language", required_argument, nullptr, language},
        {"help", no_argument, nullptr, help},
        {"version", no_argument, nullptr, version},
        {},
    };
    Arguments arguments;
    opterr = 0;
    int which = 0;
    for (int found = 0; (found = getopt_long(argc, argv, ":h", options, &which)) != -1;) {
        const std::string value = optarg ? optarg : "";
        const std::string name = std::string("--") + options[which].name;
        // A script's variable that was never set is a mistake; an argument may be empty.
        if (optarg && value.empty() && found != client_arg)
            misuse_of_program(name + ": its value is empty");
        switch (found) {
        case client:
            arguments.clients.push_back(
                {static_cast<int>(arguments.clients.size()) + 1, find_program(value)});
            break;
        case client_arg:
        case client_env:
            if (arguments.clients.empty())
                misuse_of_program(name + " stands behind the --client that it is for");
            if (found == client_env && (value.find('=') == value.npos || value[0] == '='))
                misuse_of_program("--client-env " + value + ": not NAME=VALUE");
            (found == client_arg ? arguments.clients.back().what.arguments
                                 : arguments.clients.back().what.environment)
                .push_back(value);
            break;
        case init: {
            const double code = number_of("--init", value, -2147483648.0, 2147483647.0);
            if (code != std::floor(code))
                misuse_of_program("--init " + value + ": not a whole number");
            arguments.init_code = static_cast<IntT>(code);
            break;
        }
        case trace:
            if (value.empty() || value == "text")
                arguments.trace = Arguments::text;
            else if (value == "json")
                arguments.trace = Arguments::json;
            else
                misuse_of_program("--trace=" + value + ": text or json");
            break;
        case trace_file:
            arguments.trace_file = value;
            break;
        case filter:
            arguments.filter = value;
            break;
        case script:
            arguments.script = value;
            break;
        case language:
            try {
                arguments.language = language_number(value);
            } catch (const std::runtime_error &error) {
                misuse_of_program(std::string("--language: ") + error.what());
            }
            break;
        case junit:
            arguments.junit = value;
            break;
        case port_mapper:
            if (value == "own")
                arguments.port_mapper = Arguments::own;
            else if (value == "machine")
                arguments.port_mapper = Arguments::machine;
            else
                misuse_of_program("--port-mapper " + value + ": own or machine");
            break;
        case time_limit:
            arguments.time_limit = time_limit_of(value);
            break;
        case debug:
            arguments.debug = true;
            break;
        case help:
        case 'h':
            arguments.tell = tell_help;
            return arguments;
        case version:
            arguments.tell = tell_version;
            return arguments;
        case ':':
            misuse_of_program(std::string(argv[optind - 1]) + ": its value is missing");
        default:
            misuse_of_program(std::string(argv[optind - 1]) + ": unknown option");
        }
    }
    if (optind == argc || *argv[optind] == '\0')
        misuse_of_program("run needs a book file");
    arguments.book = argv[optind];
    arguments.commands.assign(argv + optind + 1, argv + argc);
    if (!arguments.script.empty() && !arguments.commands.empty())
        misuse_of_program("commands come from --script or from arguments, not from both");
    if (!arguments.junit.empty() && arguments.interactive())
        misuse_of_program("--junit tells of commands from --script or from arguments");
    return arguments;
}

bool coloured(int descriptor)
{
    const char *no_colour = std::getenv("NO_COLOR");
    return isatty(descriptor) && !(no_colour && *no_colour);
}

// Ctrl-C and its like end the host in order: its clients with it, and its registrations.
Interrupts interrupts;

void watch_signals()
{
    struct sigaction action {
    };
    action.sa_handler = [](int number) {
        interrupts.signal = number;
        interrupts.count = interrupts.count + 1;
    };
    for (int number : {SIGINT, SIGTERM, SIGHUP})
        sigaction(number, &action, nullptr);
}

void carry_out(Commands &commands, const Arguments &arguments, Host *host, Prompt &prompt,
               Checks &checks)
{
    if (!arguments.commands.empty()) {
        commands.run_arguments(arguments.commands, checks);
    } else if (arguments.interactive()) {
        prompt.run(commands, host);
    } else {
        const bool file = !arguments.script.empty() && arguments.script != "-";
        const Descriptor opened(file ? open(arguments.script.c_str(), O_RDONLY | O_CLOEXEC) : -1);
        if (file && !opened)
            throw CommandError(misused, arguments.script + ": cannot read the script: " +
                                            std::generic_category().message(errno));
        const std::string name = file ? arguments.script : "standard input";
        ServedInput input(file ? opened.get() : STDIN_FILENO, name, host);
        std::istream script(&input);
        // What the input throws comes through.
        script.exceptions(std::ios::badbit);
        commands.run_script(script, name, checks);
    }
}

int check_books(const std::vector<std::string> &paths)
{
    if (paths.empty())
        misuse_of_program("check-book needs a book file");
    ExitCode code = done;
    for (const std::string &path : paths) {
        try {
            Model model;
            BookFile(path).load(model);
        } catch (const BookError &error) {
            std::cerr << printable_lines(error.what()) << std::endl;
            code = failed;
        }
    }
    return code;
}

// What a run writes beside what it prints.
struct Outputs {
    std::optional<OutputFile> report, trace;
};

// Nothing that the run reads is overwritten, nor one of them by the other.
Outputs outputs(const Arguments &arguments)
try {
    Outputs files;
    std::vector<std::string> read = {arguments.book, arguments.script};
    for (const Startable &each : arguments.clients)
        read.push_back(each.what.path);
    const auto open = [&](const char *name, const std::string &path,
                          std::optional<OutputFile> &file) {
        if (path.empty())
            return;
        file.emplace(path);
        const auto is_read = [&](const std::string &other) { return file->is(other); };
        if (std::ranges::any_of(read, is_read) || file->is(STDIN_FILENO))
            misuse_of_program(std::string(name) + ": " + path + " would be overwritten");
    };
    open("--junit", arguments.junit, files.report);
    open("--trace-file", arguments.trace_file, files.trace);
    if (files.report && files.trace && files.report->is(*files.trace))
        misuse_of_program("--junit and --trace-file name one file");
    for (auto *file : {&files.report, &files.trace})
        if (*file)
            (*file)->begin();
    return files;
} catch (const std::system_error &error) {
    throw CommandError(misused, error.what());
}

// To a file, or of a part, is a trace too.
std::optional<TraceOutput> trace_output(const Arguments &arguments, std::optional<OutputFile> file)
try {
    if (arguments.trace == Arguments::untraced && !file && arguments.filter.empty())
        return {};
    return std::make_optional<TraceOutput>(std::move(file), arguments.trace == Arguments::json,
                                           TraceFilter(arguments.filter),
                                           !file && coloured(STDERR_FILENO));
} catch (const std::runtime_error &error) {
    misuse_of_program("--filter: " + std::string(error.what()));
}

// Clients of an installed host find the resources that are installed with it.
void default_home()
{
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto home = program.parent_path().parent_path() / "share" / "velt";
    if (!error && std::filesystem::is_directory(home / "vqinit", error))
        setenv("VQHOME", home.c_str(), 0);
}

int run(const Arguments &arguments, std::optional<TraceOutput> trace, Checks &checks)
{
    keep_memory_back();
    // Output that nobody reads is an error like others, and not the end of all.
    std::signal(SIGPIPE, SIG_IGN);
    default_home();
    Model model;
    BookFile file(arguments.book);
    const UIntT book = file.load(model, arguments.language);
    PrintingDesk desk(std::cout, std::cerr);
    const bool interactive = arguments.interactive();
    Prompt prompt(interrupts);
    if (interactive)
        desk.ask = [&] { return prompt.ask(); };
    if (interactive || !arguments.clients.empty())
        watch_signals();

    std::unique_ptr<Host> host;
    if (!arguments.clients.empty()) {
        Options options;
        // A client of another session may have started this one.
        unsetenv("VQPMAP");
        if (arguments.port_mapper != Arguments::own) {
            const std::string hindrance = MachinePortMapper::hindrance();
            if (hindrance.empty())
                options.port_mapper = std::make_shared<MachinePortMapper>();
            else if (arguments.port_mapper == Arguments::machine)
                throw CommandError(no_mapper, hindrance + ", or leave out --port-mapper");
        }
        options.interrupts = [] { return static_cast<int>(interrupts.count); };
        options.start_limit = options.turn_limit = arguments.time_limit;
        options.stop_at_start = arguments.debug;
        if (arguments.debug)
            options.start_limit = options.turn_limit = options.exit_limit = no_limit;
        if (trace)
            options.trace = [&](const TraceEvent &event) { trace->write(event, *desk.text); };
        try {
            host = std::make_unique<Host>(std::move(options), model, desk);
        } catch (const HostError &error) {
            throw CommandError(no_mapper, error.what());
        }
    }

    Commands commands({.model = model,
                       .desk = desk,
                       .host = host.get(),
                       .clients = arguments.clients,
                       .book = book,
                       .file = file,
                       .out = std::cout,
                       .colour = coloured(STDOUT_FILENO)});
    for (const Startable &client : arguments.clients) {
        try {
            commands.start(client, arguments.init_code);
        } catch (const std::exception &error) {
            // A person is told and goes on: start is one of the commands.
            if (!interactive || interrupts.signal)
                throw CommandError(failed, error.what());
            std::cerr << printable_lines(error.what()) << std::endl;
        }
    }
    carry_out(commands, arguments, host.get(), prompt, checks);
    if (host)
        host->end();
    if (trace)
        trace->finish();
    if (interrupts.signal)
        throw HostError("interrupted");
    // The desk has told of them.
    if (host)
        for (const Client &client : host->clients())
            if (!client.ended_well())
                checks.failed(client.title() + ": " + client.ending());
    std::cout.flush();
    if (!std::cout)
        throw CommandError(failed, "what it printed could not be written");
    return done;
}

int run_and_check(const Arguments &arguments)
{
    if (arguments.tell)
        return arguments.tell();
    Outputs files = outputs(arguments);
    std::optional<TraceOutput> trace = trace_output(arguments, std::move(files.trace));
    Checks checks(std::cerr);
    int code = done;
    std::exception_ptr error;
    try {
        code = run(arguments, std::move(trace), checks);
    } catch (const std::exception &reason) {
        checks.failed(reason.what());
        error = std::current_exception();
    }
    if (!checks.summarise() && code == done)
        code = failed;
    if (files.report) {
        try {
            files.report->write(checks.junit(arguments.book));
        } catch (const std::runtime_error &reason) {
            std::cerr << "vqhost: " << printable_lines(reason.what()) << std::endl;
            code = failed;
        }
    }
    if (error)
        std::rethrow_exception(error);
    return code;
}

} // namespace

int main(int argc, char **argv)
{
    velt::fill_standard_descriptors();
    velt::survive_file_size_limit();
    const std::string verb = argc > 1 ? argv[1] : "";
    // run knows it as one of its options, of which a command may be the value.
    const auto asks = [&](std::string_view option) {
        return verb == option || (verb != "run" && std::find(argv + std::min(argc, 2), argv + argc,
                                                             option) != argv + argc);
    };
    try {
        if (asks("--help") || asks("-h"))
            return tell_help();
        if (asks("--version"))
            return tell_version();
        if (verb == "check-book")
            return check_books({argv + 2, argv + argc});
        if (verb == "schema" && argc > 2)
            misuse_of_program("schema takes no arguments");
        if (verb == "schema")
            return tell(book_schema());
        if (verb != "run")
            misuse_of_program(verb.empty()
                                  ? "run, check-book or schema?"
                                  : verb + ": unknown; there are run, check-book and schema");
        return run_and_check(parse(argc - 1, argv + 1));
    } catch (const CommandError &error) {
        std::cerr << "vqhost: " << printable_lines(error.what()) << std::endl;
        return error.code;
    } catch (const BookError &error) {
        std::cerr << "vqhost: " << printable_lines(error.what()) << std::endl;
        return misused;
    } catch (const std::bad_alloc &) {
        std::cerr << "vqhost: out of memory" << std::endl;
        return failed;
    } catch (const std::exception &error) {
        std::cerr << "vqhost: " << printable_lines(error.what()) << std::endl;
        return failed;
    }
}
