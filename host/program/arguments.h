// The command line of `vqhost run`.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "common/options.h"
#include "host/scenario/recorder.h"
#include "host/scenario/replay.h"
#include "host/script/commands.h"
#include "host/trace/trace_output.h"

namespace velt::host
{

struct Arguments {
    std::string book;
    std::vector<Startable> clients;
    IntT init_code = 1;
    IntT language = 0;                  // 0 for the book's
    const TraceFormat *trace = nullptr; // null when --trace is not given
    std::string trace_file, record;
    std::optional<TraceFilter> filter;
    // Of a replay: which client of the recording each of these is; empty for the next one.
    std::vector<std::string> parts;
    KeptOrder order = KeptOrder::connection;
    bool update = false, allow_cut_off = false;
    RecordedFields record_fields;
    std::string script, junit, words;
    std::vector<std::string> scenarios;
    enum { whichever, own, machine } port_mapper = whichever;
    std::chrono::milliseconds time_limit = std::chrono::seconds(30);
    bool allow_programs = false, debug = false;
    std::vector<std::string> commands;
    bool help = false, version = false; // asked for instead of a run

    // Returns whether a person types the commands.
    bool interactive() const;
    // Returns whether the standard input is the script.
    bool script_is_input() const { return commands.empty() && (script.empty() || script == "-"); }
};

// Returns the options of `run` or `replay`, which are taken into the arguments; and that of a
// language.
std::vector<Option> options_into(Arguments &arguments, bool replays);
Option language_option(IntT &language);

// Returns the number that an option has as its value. Throws Error.
double number_of(const std::string &option, const std::string &text, double least, double most);
// Returns the variable that --client-env sets, NAME=VALUE. Throws Error.
const std::string &variable_of(const std::string &text);

// Parses the command line of `run` or `replay`. Throws Error for wrong usage.
Arguments parse_arguments(int argc, char **argv);
Arguments parse_replay_arguments(int argc, char **argv);

// Throws Error for wrong usage of the program, and says where to read more.
[[noreturn]] void misuse_of_program(const std::string &text);

} // namespace velt::host
