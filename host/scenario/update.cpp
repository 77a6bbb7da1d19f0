#include "host/scenario/update.h"

#include "host/scenario/recorder.h"

namespace velt::host
{

void Update::put(const std::string &line)
{
    file_.write((first_ ? "\n" : ",\n") + line);
    first_ = false;
}

void Update::keep(const RecordedEvent &event)
{
    if (event.time)
        time_ = event.time;
    put(event.line);
}

void Update::add(const TraceEvent &event, const SessionText &text)
{
    put(recorded_line(event, "", time_, text, redaction_));
}

void Update::note(const std::string &what)
{
    constexpr std::size_t most_noted = 100;
    if (changes_++ < most_noted)
        notes_.push_back(what);
}

void Update::commit()
{
    if (changes_ == 0)
        return;
    file_.write(recording_.cut_off() ? "\n" : "\n]}\n");
    file_.finish();
    if (!holds(recording_.path(), recording_.digest()))
        fail(recording_.path() +
             ": somebody else has changed it since it was read, and it stays so; "
             "update it once more");
    file_.commit();
}

} // namespace velt::host
