#include "host/program/arguments.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iomanip>
#include <span>
#include <sstream>

#include "common/charset.h"

namespace velt::host
{
namespace
{

std::string shown(double number)
{
    std::ostringstream text;
    text << std::setprecision(12) << number;
    return text.str();
}

std::chrono::milliseconds time_limit_of(const std::string &text)
{
    const double seconds = number_of("--time-limit", text, 0, 86400);
    if (seconds > 0 && seconds < 0.1)
        misuse("--time-limit " + text + ": from 0.1 to 86400, or 0 for any time");
    return seconds == 0 ? no_limit : std::chrono::milliseconds(std::lround(1000 * seconds));
}

IntT init_code_of(const std::string &text)
{
    const double code = number_of("--init", text, -2147483648.0, 2147483647.0);
    if (code != std::floor(code))
        misuse("--init " + text + ": not a whole number");
    return static_cast<IntT>(code);
}

// Returns an option that sets `where` to the choice that its value names.
template <class Choice>
Option choice(const char *option, Choice &where,
              std::vector<std::pair<std::string, Choice>> choices)
{
    std::vector<std::string> values;
    for (const auto &[name, value] : choices)
        values.push_back(name);
    const auto take = [=, &where](const std::string &text) {
        for (const auto &[name, value] : choices)
            if (text == name) {
                where = value;
                return;
            }
        std::string all;
        for (const std::string &each : values)
            all += (all.empty() ? "" : " or ") + each;
        misuse("--" + std::string(option) + "=" + text + ": " + all);
    };
    return {0, option, Option::value, take, false, values};
}

std::vector<std::string> names_of_formats()
{
    std::vector<std::string> names;
    for (const TraceFormat &each : trace_formats())
        names.emplace_back(each.name);
    return names;
}

// The options of a replay; the others of a run concern a book or a script.
constexpr std::string_view replay_options[] = {
    "client", "client-arg", "client-env", "trace",      "trace-file",    "filter",
    "record", "scrub",      "leave-out",  "keep-order", "port-mapper",   "time-limit",
    "update", "debug",      "help",       "version",    "allow-cut-off", "junit"};
constexpr std::string_view options_of_replay_alone[] = {"keep-order", "update", "allow-cut-off"};

} // namespace

std::vector<Option> options_into(Arguments &a, bool replays)
{
    using Which = decltype(a.port_mapper);
    const auto startup = [&a](const std::string &option) -> Startup & {
        if (a.clients.empty())
            misuse(option + " stands behind the --client that it is for");
        return a.clients.back().what;
    };
    std::vector<Option> options = {
        {0, "client", Option::value,
         [&a, replays](const std::string &given) {
             // A path that has a = in it also has a slash before that.
             const auto equals = replays ? given.find('=') : given.npos;
             const bool named = equals != given.npos && given.find('/') > equals;
             const std::string path = named ? given.substr(equals + 1) : given;
             a.parts.push_back(named ? given.substr(0, equals) : "");
             a.clients.push_back({static_cast<int>(a.clients.size()) + 1, find_program(path)});
         },
         true},
        {0, "client-arg", Option::value_or_empty,
         [=](const std::string &text) { startup("--client-arg").arguments.push_back(text); }, true},
        {0, "client-env", Option::value,
         [=](const std::string &text) {
             startup("--client-env").environment.push_back(variable_of(text));
         },
         true},
        {0, "init", Option::value,
         [&a](const std::string &text) { a.init_code = init_code_of(text); }},
        {0, "trace", Option::maybe_value,
         [&a](const std::string &text) {
             a.trace = text.empty() ? &trace_formats().front() : &trace_format(text);
         },
         false, names_of_formats()},
        Option::into(0, "trace-file", a.trace_file),
        {0, "filter", Option::value, [&a](const std::string &list) { a.filter.emplace(list); }},
        Option::into(0, "record", a.record),
        {0, "leave-out", Option::value,
         [&a](const std::string &field) {
             a.record_fields.left_out.insert(field_to_leave_out(field));
         },
         true},
        {0, "scrub", Option::value,
         [&a](const std::string &field) { a.record_fields.scrubbed.insert(field_to_scrub(field)); },
         true},
        choice<KeptOrder>("keep-order", a.order,
                          {{"none", KeptOrder::none},
                           {"connection", KeptOrder::connection},
                           {"strict", KeptOrder::strict}}),
        Option::flag(0, "update", a.update),
        Option::flag(0, "allow-cut-off", a.allow_cut_off),
        Option::into(0, "script", a.script),
        Option::into(0, "junit", a.junit),
        {0, "scenario", Option::value,
         [&a](const std::string &path) { a.scenarios.push_back(path); }, true},
        language_option(a.language),
        Option::into(0, "words", a.words),
        choice<Which>("port-mapper", a.port_mapper,
                      {{"own", Arguments::own}, {"machine", Arguments::machine}}),
        {0, "time-limit", Option::value,
         [&a](const std::string &text) { a.time_limit = time_limit_of(text); }},
        Option::flag(0, "allow-programs", a.allow_programs),
        Option::flag(0, "debug", a.debug),
        Option::flag('h', "help", a.help),
        Option::flag(0, "version", a.version),
    };
    const auto has = [](std::span<const std::string_view> names, const Option &option) {
        return std::ranges::find(names, option.name) != names.end();
    };
    std::erase_if(options, [=](const Option &each) {
        return replays ? !has(replay_options, each) : has(options_of_replay_alone, each);
    });
    return options;
}

Option language_option(IntT &language)
{
    return {0,
            "language",
            Option::value,
            [&language](const std::string &name) { language = language_number(name); },
            false,
            language_names()};
}

namespace
{

// The format of a trace would be taken for the book or a command.
void check_format_is_attached(const std::vector<std::string> &given)
{
    const auto option = std::ranges::adjacent_find(given, [](const auto &word, const auto &next) {
        return word == "--trace" && std::ranges::count(names_of_formats(), next) > 0;
    });
    if (option != given.end())
        misuse("--trace " + option[1] + ": the format stands behind a =, --trace=" + option[1]);
}

Arguments parse(int argc, char **argv, bool replays)
{
    Arguments a;
    const std::vector<std::string> given(argv + 1, argv + argc); // which parsing puts in order
    const std::vector<std::string> words = parse_options(argc, argv, options_into(a, replays));
    if (a.help || a.version)
        return a;
    if (a.trace)
        check_format_is_attached(given);
    if (a.record.empty() && !(a.record_fields.left_out.empty() && a.record_fields.scrubbed.empty()))
        misuse("--leave-out and --scrub say what --record leaves out");
    if (!a.record.empty() && a.clients.empty() && !replays)
        misuse("--record is of what clients do: add --client PATH");
    if (words.empty() || words[0].empty())
        misuse(replays ? "replay needs a recording" : "run needs a book file");
    if (replays && a.clients.empty())
        misuse("replay needs a --client for each client of the recording");
    if (replays && words.size() > 1)
        misuse("replay takes one recording, which says all that happens: what is \"" + words[1] +
               "\" for?");
    if (a.trace && a.trace->needs_file && a.trace_file.empty())
        misuse("--trace=" + std::string(a.trace->name) +
               " is for a file of its own: add --trace-file FILE");
    a.book = words[0];
    a.commands.assign(words.begin() + 1, words.end());
    if (!a.script.empty() && !a.commands.empty())
        misuse("commands come from --script or from arguments, not from both");
    if (!a.junit.empty() && !replays && a.interactive())
        misuse("--junit tells of commands from --script or from arguments");
    return a;
}

} // namespace

double number_of(const std::string &option, const std::string &text, double least, double most)
{
    char *end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(value >= least && value <= most))
        misuse(option + " " + text + ": not a number from " + shown(least) + " to " + shown(most));
    return value;
}

const std::string &variable_of(const std::string &text)
{
    if (text.find('=') == text.npos || text[0] == '=')
        misuse("--client-env " + text + ": not NAME=VALUE");
    return text;
}

bool Arguments::interactive() const
{
    return commands.empty() && script.empty() && isatty(STDIN_FILENO);
}

void misuse_of_program(const std::string &text)
{
    misuse(text + "; vqhost --help tells more");
}

Arguments parse_arguments(int argc, char **argv)
try {
    return parse(argc, argv, false);
} catch (const Error &error) {
    misuse_of_program(error.what());
}

Arguments parse_replay_arguments(int argc, char **argv)
try {
    return parse(argc, argv, true);
} catch (const Error &error) {
    misuse_of_program(error.what());
}

} // namespace velt::host
