#include "host/program/verbs.h"

#include <algorithm>
#include <iostream>
#include <sstream>

#include "common/completion.h"
#include "common/file.h"
#include "common/nearest.h"
#include "common/printable.h"
#include "host/files/document.h"
#include "host/program/check.h"
#include "host/program/doctor.h"
#include "host/program/replay.h"
#include "host/program/run.h"
#include "host/program/stats.h"
#include "host/scenario/scenario.h"
#include "velt/vde/language.h"

namespace velt::host
{
namespace
{

constexpr struct Schema {
    std::string_view name;
    std::string (*make)();
} schemas[] = {{"book", book_schema}, {"document", document_schema}, {"scenario", scenario_schema}};

struct Verb {
    std::string_view name, arguments, what; // in lines of help
    int (*carry_out)(int argc, char **argv);
    // Whether --help and --version may stand anywhere after the verb; if not, the verb has options
    // of its own.
    bool helps;
    // Returns what may stand in place of the last of the words behind the verb, for a shell.
    std::vector<std::string> (*complete)(const std::vector<std::string> &words) = nullptr;
};

int run_verb(int argc, char **argv);
int replay_verb(int argc, char **argv);
int check_books(int argc, char **argv);
int check_documents(int argc, char **argv);
int check_scenarios(int argc, char **argv);
int schema(int argc, char **argv);
int doctor(int argc, char **argv);
int help(int argc, char **argv);
int version(int argc, char **argv);

std::vector<Option> options_to_complete(Arguments &arguments, bool replays)
{
    std::vector<Option> options = options_into(arguments, replays);
    offer_names(options);
    return options;
}

std::vector<std::string> complete_run(const std::vector<std::string> &words)
{
    Arguments none;
    return completions(words, options_to_complete(none, false), [](const auto &before) {
        std::vector<std::string> commands;
        for (const CommandTable &each : CommandTable::rows())
            if (!before.empty())
                commands.emplace_back(each.name);
        return commands;
    });
}

std::vector<std::string> complete_replay(const std::vector<std::string> &words)
{
    Arguments none;
    return completions(words, options_to_complete(none, true));
}

std::vector<std::string> complete_language(const std::vector<std::string> &words)
{
    IntT none;
    return completions(words, {language_option(none)});
}

std::vector<std::string> complete_schema(const std::vector<std::string> &words)
{
    std::vector<std::string> names;
    for (const Schema &each : schemas)
        names.emplace_back(each.name);
    return completions(words, {}, first_word(names));
}

constexpr Verb verbs[] = {
    {"run", "BOOK.json [OPTIONS] [COMMANDS...]",
     "opens a book, runs clients on it, and carries out commands, one to an argument.\n"
     "Without commands it reads them from the terminal or the standard input.\n",
     run_verb, false, complete_run},
    {"replay", "RECORDING --client [NAME=]PATH... [OPTIONS]",
     "plays the host's part of a recording to its clients, and tells where they differ.\n",
     replay_verb, false, complete_replay},
    {"check", "CLIENT [OPTIONS]",
     "examines how a client starts, takes turns, bears what a host may do, and ends;\n"
     "vqhost check --help tells more.\n",
     check_client, false, complete_check},
    {"stats", "[--json] RECORDING",
     "counts the calls of a recording, their bytes and their time.\n", stats, true},
    {"check-book", "BOOK.json...", "tells what is wrong with books.\n", check_books, true},
    {"check-document", "[--language NAME] DOCUMENT.json...",
     "tells what is wrong with documents.\n", check_documents, true, complete_language},
    {"check-scenario", "[--language NAME] SCENARIO.json...",
     "tells what is wrong with scenarios.\n", check_scenarios, true, complete_language},
    {"schema", "[book|document|scenario]", "prints what such a file may hold, as a JSON Schema.\n",
     schema, true, complete_schema},
    {"doctor", "", "tells what is wrong with the machine or the surroundings, and what helps.\n",
     doctor, true},
};
constexpr Verb general[] = {
    {"--help", "", "", help, true},
    {"-h", "", "", help, true},
    {"--version", "", "", version, true},
};

const Verb *find_verb(std::string_view name)
{
    const auto *verb = std::ranges::find(verbs, name, &Verb::name);
    return verb == std::end(verbs) ? nullptr : verb;
}

std::string verb_names()
{
    std::vector<std::string> names;
    for (const Verb &each : verbs)
        names.emplace_back(each.name);
    return joined(names);
}

int tell(const std::string &text)
{
    if (!(std::cout << text << std::flush))
        fail("what it printed could not be written");
    return done;
}

// Tells a shell what may stand in place of the last word. Of a verb that does not know better, that
// is what its usage has.
int complete(int argc, char **argv)
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.empty())
        return done;
    const Verb *verb = find_verb(words[0]);
    const bool known = words.size() > 1 && verb;
    if (known && verb->complete)
        return tell(shell_lines(verb->complete({words.begin() + 1, words.end()})));
    std::vector<std::string> names = {"--help", "--version"};
    if (known)
        for (const std::string_view each : Syntax::options(verb->arguments))
            names.emplace_back(each);
    else if (words.size() == 1)
        for (const Verb &each : verbs)
            names.emplace_back(each.name);
    // Options are offered to who has begun one.
    const std::string &typed = words.back();
    std::erase_if(names, [&](const std::string &each) {
        return !each.starts_with(typed) || (typed.empty() && each.starts_with('-'));
    });
    return tell(shell_lines(names));
}

constexpr const char *options =
    R"(
  --client PATH        start this client; once more for another
  --client-arg ARG     hand an argument to the client before; once more for another
  --client-env NAME=VALUE  set a variable for the client before
  --init CODE          the code with which clients are initialised at first (1)
  --trace[=FORMAT]     print every call, decoded, on the standard error
  --trace-file FILE    write the trace to FILE
  --filter WHAT,...    trace procedures, as in "*_get_*,api_vq_alert_1", and only what is all
                       of "failures", "client=2", "status=-9", "duration>=10ms"
  --script FILE        read commands from FILE; - is the standard input
  --junit FILE         write what was expected, and what came of it, to FILE
  --record FILE        write what happens to FILE, for replay
  --leave-out FIELD    without this field of arguments; once more for another
  --scrub FIELD        with this text replaced; once more for another
  --keep-order WHICH   what of a recording's order has to be so again in a replay: none, that of
                       each connection (the default), or strict, that of all calls
  --update             write what the clients of a replay do now to the recording
  --allow-cut-off      let a replay that is as far as a recording goes that was cut off end with 0
  --scenario FILE      answer calls as FILE says; once more for another, which comes first
  --language NAME      the session's language, whatever the book says
  --words FILE         check spelling by this word list, in UTF-8, with a word a line
  --port-mapper WHICH  own or machine (the machine's if clients can use it)
  --time-limit SECONDS how long a client may take to start or to hand back control:
                       0.1 to 86400 (30), or 0 for any time
  --allow-programs     let clients have the host run programs
  --debug              stop each client at its first instruction until a debugger lets it
                       go on, and give it any time for everything
  -h, --help, --version
)";

constexpr const char *exits = R"(
Exit status: 0 done, 1 an expectation or a client failed, 2 usage or a file to
read, 3 the port mapper failed.

)";

std::string formats()
{
    std::string text = "Formats of a trace:\n";
    for (const TraceFormat &each : trace_formats()) {
        std::string name = "  " + std::string(each.name);
        name.resize(23, ' ');
        text += name + std::string(each.what) + (each.needs_file ? "; needs --trace-file\n" : "\n");
    }
    return text;
}

std::string usage_of(const Verb &verb)
{
    return "vqhost " + std::string(verb.name) + (verb.arguments.empty() ? "" : " ") +
           std::string(verb.arguments) + "\n";
}

std::string what_of(const Verb &verb)
{
    return std::string(verb.name) + " " + std::string(verb.what);
}

// Returns the options that the verb has, as they are told of.
std::string options_of(bool replays)
{
    Arguments none;
    const std::vector<Option> taken = options_into(none, replays);
    std::string all;
    std::istringstream lines(options);
    bool is_taken = true;
    for (std::string line; std::getline(lines, line);) {
        if (const auto at = line.find("--"); at != line.npos && at < 8 && line.starts_with("  -")) {
            const std::string name = line.substr(at + 2, line.find_first_of(" [,", at) - at - 2);
            is_taken =
                std::ranges::any_of(taken, [&](const Option &each) { return each.name == name; });
        }
        if (is_taken)
            all += line + '\n';
    }
    return all;
}

int help_of(const Verb &verb)
{
    const bool has_options = !verb.helps;
    return tell("usage: " + usage_of(verb) + "\n" + what_of(verb) +
                (has_options ? options_of(verb.carry_out == replay_verb) : "") + exits +
                (has_options ? formats() : "") +
                (verb.carry_out == run_verb ? "\nCommands:\n" + Commands::help() : ""));
}

int help(int, char **)
{
    constexpr std::size_t line_width = 88;
    std::string usage, about;
    for (const Verb &each : verbs) {
        usage += (usage.empty() ? "usage: " : "       ") + usage_of(each);
        about += what_of(each);
    }
    std::string checks = "doctor checks: " + names_of_checks();
    for (std::size_t at = 0; checks.size() - at > line_width;)
        checks[at = checks.rfind(' ', at + line_width)] = '\n';
    return tell(usage + "\n" + about + options + exits + checks + ".\n\n" + formats() +
                "\nCommands:\n" + Commands::help());
}

int version(int, char **)
{
    return tell("vqhost " VELT_VERSION "\n");
}

int run_verb(int argc, char **argv)
{
    const Arguments arguments = parse_arguments(argc, argv);
    return arguments.help      ? help_of(*find_verb("run"))
           : arguments.version ? version(argc, argv)
                               : run(arguments);
}

int replay_verb(int argc, char **argv)
{
    const Arguments arguments = parse_replay_arguments(argc, argv);
    return arguments.help      ? help_of(*find_verb("replay"))
           : arguments.version ? version(argc, argv)
                               : replay(arguments);
}

// Loads each of the files, and tells what is wrong with it.
template <class Load>
int check_files(const std::vector<std::string> &files, Load load)
{
    ExitCode code = done;
    for (const std::string &file : files) {
        try {
            expect_plain_file(file);
        } catch (const std::runtime_error &error) {
            std::cerr << "vqhost: cannot read " << printable_line(error.what()) << std::endl;
            code = misused;
            continue;
        }
        try {
            load(file);
        } catch (const Error &error) {
            std::cerr << printable_lines(error.what()) << std::endl;
            code = std::max(code, failed);
        }
    }
    return code;
}

int check_books(int argc, char **argv)
{
    if (argc < 2)
        misuse_of_program("check-book needs a book file");
    return check_files({argv + 1, argv + argc}, [](const std::string &file) {
        Model model;
        BookFile(file).load(model);
    });
}

int check_documents(int argc, char **argv)
{
    IntT language = V_language_usenglish;
    const auto files = parse_options(argc, argv, {language_option(language)});
    if (files.empty())
        misuse_of_program("check-document needs a document file");
    return check_files(files, [language](const std::string &file) {
        Model model;
        model.set_language(language);
        const FileOutcome outcome = Documents(model).open(file, false);
        if (outcome.status != ok)
            fail(outcome.reason);
    });
}

int check_scenarios(int argc, char **argv)
{
    Arguments as_of_a_run; // without a language, that which the scenario names counts
    const auto files = parse_options(argc, argv, {language_option(as_of_a_run.language)});
    if (files.empty())
        misuse_of_program("check-scenario needs a scenario file");
    return check_files(files, [&](const std::string &file) {
        read_scenario(file, as_of_a_run.language, as_of_a_run.time_limit);
    });
}

int schema(int argc, char **argv)
{
    const std::string_view of = argc > 1 ? argv[1] : "book";
    if (argc <= 2)
        for (const auto &[name, make] : schemas)
            if (of == name)
                return tell(make());
    misuse_of_program("schema " + std::string(argc > 2 ? argv[2] : of) +
                      ": there is one of book, one of document, and one of scenario");
}

int doctor(int argc, char **)
{
    if (argc > 1)
        misuse_of_program("doctor takes nothing");
    return examine() ? done : failed;
}

} // namespace

int carry_out(int argc, char **argv)
{
    const std::string name = argc > 0 ? argv[0] : "";
    if (name == complete_option)
        return complete(argc, argv);
    const Verb *verb = find_verb(name);
    for (int i = 0; i < (!verb || verb->helps ? argc : 0); i++)
        for (const Verb &each : general)
            if (each.name == argv[i])
                return verb && each.carry_out == help ? help_of(*verb) : each.carry_out(argc, argv);
    if (verb)
        return verb->carry_out(argc, argv);
    Nearest nearest(name);
    for (const Verb &each : verbs)
        nearest.consider(each.name);
    for (const Verb &each : general)
        if (each.name.starts_with("--")) // all letters are near to each other
            nearest.consider(each.name);
    if (name.empty())
        misuse_of_program("what to do? there are " + verb_names());
    misuse_of_program(name + ": unknown; there are " + verb_names() + nearest.hint());
}

} // namespace velt::host
