// A recording that is to take the place of another, with what clients do now.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "common/error.h"
#include "common/replace_file.h"
#include "host/scenario/recording.h"
#include "host/trace/trace.h"

namespace velt::host
{

class Update
{
public:
    // Failures are std::runtime_error, here and below, and leave the old recording as it is.
    explicit Update(const Recording &recording)
        : recording_(recording), redaction_(recording.fields(), Redaction::Texts::recorded),
          file_(recording.path())
    {
        if (!file_.lock_old())
            fail(recording.path() +
                 ": somebody is recording to it, or updates it: wait for its end");
        file_.write(recording.header());
    }

    // Adds an event as it was recorded.
    void keep(const RecordedEvent &event);
    // Adds an event of now, in which there is what the recording has of no event, either.
    void add(const TraceEvent &event, const SessionText &text);
    // Notes in what the new recording differs from the old one; a line for a person.
    void note(const std::string &what);
    // Has a note say something else.
    void note_instead(const std::string &noted, const std::string &what)
    {
        std::ranges::replace(notes_, noted, what);
    }

    // Puts the new recording in the place of the old one, which has been read to its end, unless
    // nothing has changed. One that was cut off stays so; one that somebody else has changed since
    // it was read stays as it is.
    void commit();
    // What was noted, and how often that was.
    const std::vector<std::string> &notes() const { return notes_; }
    std::size_t changes() const { return changes_; }

private:
    void put(const std::string &line);

    const Recording &recording_;
    Redaction redaction_;
    NewFile file_;
    bool first_ = true;
    std::optional<double> time_; // of the last event
    std::vector<std::string> notes_;
    std::size_t changes_ = 0;
};

} // namespace velt::host
