// What a recording does not have as it was: fields of messages that differ from run to run, and
// texts that nobody is to read.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "common/file.h"
#include "common/options.h"
#include "host/json/values.h"
#include "host/values/text.h"

namespace velt::host
{

// The fields by name, or by the end of their path, as in propIdent.num; also behind the procedure,
// as in api_vq_alert_1.str1.
struct RecordedFields {
    std::set<std::string, std::less<>> left_out, scrubbed;
};

// Return the name. Throw Error if no field has it of which this can be done: one of what clients
// call with, or a text.
const std::string &field_to_leave_out(const std::string &name);
const std::string &field_to_scrub(const std::string &name);
// Has a shell be offered the names of such fields, their whole paths, and procedures, by the
// options --leave-out, --scrub and --filter. There are so many that they are made for that alone.
void offer_names(std::vector<Option> &options);

class Redaction
{
public:
    // Texts that are scrubbed have stand-ins in what is recorded now; in what comes from a
    // recording they have them already.
    enum class Texts { new_ones, recorded };
    Redaction(RecordedFields fields, Texts texts) : fields_(std::move(fields)), texts_(texts) {}

    const RecordedFields &fields() const { return fields_; }
    // Whether there is anything to do.
    bool empty() const { return fields_.left_out.empty() && fields_.scrubbed.empty(); }

    // A message of the host has all its fields, so that a replay can send it.
    enum class Sender { client, host };
    // Writes a message of the procedure.
    void write(const Shape &shape, void *message, std::string_view procedure, Sender from,
               const SessionText &text, JsonOut &out);

    // Returns what a person is to know: the options that have met nothing, and the fields in which
    // scrubbed texts remain.
    std::vector<std::string> warnings() const;

private:
    class Sieve;
    using Rules = std::set<std::string, std::less<>>;

    std::string stand_in(std::string_view text);
    std::string replaced_within(std::string_view text, const std::string &path);

    RecordedFields fields_;
    Texts texts_;
    Rules used_;
    // The texts that were scrubbed, in the order in which they came, and by their beginnings.
    std::map<std::string, std::size_t, std::less<>> known_;
    std::map<std::string, std::vector<std::string_view>, std::less<>> beginnings_;
    std::map<std::string, std::size_t> remaining_; // by the path, texts with some of these in them
};

} // namespace velt::host
