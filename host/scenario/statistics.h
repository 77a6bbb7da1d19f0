// What a recording tells of calls, by procedure.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_set>
#include <vector>

#include "host/scenario/recording.h"
#include "host/values/text.h"

namespace velt::host
{

class Statistics
{
public:
    explicit Statistics(const SessionText &text) : text_(text) {}

    // Throws Error for an event whose messages are none of its procedure.
    void add(const RecordedEvent &event);

    // Returns a table, and what it comes to, in lines.
    std::string table() const;
    std::string json() const;

private:
    struct Row {
        const Procedure *procedure = nullptr;
        bool is_call = false; // of a client
        std::uint64_t calls = 0;
        std::uint64_t again = 0;     // of these, with the arguments of an earlier one of the turn
        std::uint64_t arguments = 0; // in bytes
        std::uint64_t answers = 0;
        // In seconds: of answering these calls, or those that clients made in these turns; and of
        // the client's own in these turns.
        double host = 0, client = 0;

        double own() const { return is_call ? host + client : client; }
    };
    struct Turn {
        const Procedure *procedure = nullptr; // null for what is outside of all turns
        double began = 0;
        double host = 0;                           // in which the client waited for answers
        double elsewhere = 0;                      // that was the person's, or another turn's
        std::optional<double> modal_since = {};    // the wait for a dialog that goes on
        std::unordered_set<std::size_t> seen = {}; // digests of its calls
    };
    using Turns = std::vector<Turn>;

    Row &row(const Procedure &procedure, bool is_call);
    void add_call(const RecordedEvent &event, Turns &turns);
    void end_turn(const RecordedEvent &event, Turns &turns);
    std::uint64_t size(const RecordedEvent &event, const MessageType &type,
                       const JsonNode *node) const;
    std::vector<Row> sorted() const;
    Row total(bool of_calls) const;

    const SessionText &text_;
    std::map<const Procedure *, Row> rows_;
    std::map<int, Turns> clients_;
    bool timed_ = false;
};

} // namespace velt::host
