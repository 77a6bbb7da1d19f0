// A scenario: what clients are expected to call, and what they are answered; what the host calls
// meanwhile. A file is read into these structs, which keep its JSON for the fields of messages.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/json/node.h"
#include "host/session/options.h"
#include "host/wire/catalogue.h"

namespace velt::host
{

struct ExpectedCall;

// What came in place of something expected: in what the nearest call differed, and in how many
// parts; 0 for one that came before its turn.
struct Instead {
    std::string told = {};
    std::size_t differences = SIZE_MAX;
};

// A call of the host, and what the client is expected to do in it.
struct HostCall {
    std::string place;                    // in the file: path, line and column
    const Procedure *procedure = nullptr; // of the client's
    const JsonNode *arguments = nullptr;  // null: all zero, or any
    std::vector<ExpectedCall> calls;
    bool in_order = false; // the calls are expected in this order
    // How the client ends it: it hands control back, or exits.
    enum End { handed_back, exited, any } end = handed_back;

    bool begun = false; // once it has been made
    Instead instead = {};
};

// How often something is expected.
struct Times {
    unsigned least = 1, most = 1;
};

// A call of a client, and what it is answered.
struct ExpectedCall {
    std::string place;                   // in the file: path, line and column
    const Procedure *procedure;          // null for any
    const JsonNode *arguments = nullptr; // the fields that count; others may be anything
    Times times = {};
    bool bounded = false; // the file says how often, so that one call more is a failure
    unsigned nth = 0;     // only the n-th call that matches; 0 for each

    enum Answer {
        result,    // these fields
        model,     // what the host answers otherwise
        nothing,   // none; the call stays without an answer
        rpc_error, // that the host has failed
        half,      // the beginning of an answer, and then the end of the connection
        closed,    // the end of the connection
    } answer = result;
    const JsonNode *fields = nullptr; // of the result; fields that are left out are zero
    std::chrono::milliseconds delay{0};

    std::vector<HostCall> before = {}; // sent before the answer; the client serves nobody then
    std::vector<HostCall> in = {};     // made when the client waits for a modal dialog
    std::vector<HostCall> after = {};  // made when it has handed control back

    unsigned seen = 0, used = 0; // calls that match, and those that were answered so
    Instead instead = {};        // which the model has answered
};

struct Scenario {
    std::string path;
    std::shared_ptr<const JsonNode> root; // which the parts refer to
    IntT language = 0;                    // the language of the session
    bool others_by_model = false;         // calls that nothing expects are answered by the model
    bool in_order = false;                // the calls are expected in the order of the file
    bool cut_off = false;                 // a recording that was not finished
    std::vector<ExpectedCall> calls;      // expected at any time
    std::vector<HostCall> host_calls;     // that a replay makes, one after the other
};

// Reads a scenario from a file, for a session in a language; 0 takes the one that the file names.
// Throws Error with all mistakes, each with its place. Answers come within the limit of a turn.
Scenario read_scenario(const std::string &path, IntT language,
                       std::chrono::milliseconds turn_limit = no_limit);
Scenario parse_scenario(std::string_view text, const std::string &path, IntT language,
                        std::chrono::milliseconds turn_limit = no_limit);
// Reads a text that is one step, and leaves all else to the model.
Scenario parse_step(std::string_view text, const std::string &path, IntT language);

// Returns a JSON Schema of what a scenario may hold.
std::string scenario_schema();

} // namespace velt::host
