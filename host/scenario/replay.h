// Plays the host's part as it was recorded, and compares what the client does.
#pragma once

#include <deque>
#include <optional>
#include <string>

#include "host/scenario/recording.h"
#include "host/session/responder.h"
#include "host/trace/trace.h"

namespace velt::host
{

class Replay : public Responder
{
public:
    // Plays the part of the first client that the recording has.
    Replay(Recording &recording, const SessionText &text);

    int client() const { return client_; }
    // Makes the host's calls one after the other, until the recording or the client is at its end,
    // or differs. Returns whether the client is to be started once more.
    bool run(Host &host, Client &client);
    // Returns the first difference, as several lines; empty when there is none.
    const std::string &difference() const { return difference_; }

    Reaction respond(Call &call) override;
    void client_exited(int) override {}
    // Every event of a trace is to come here. Throws nothing.
    void observe(const TraceEvent &event) noexcept;

private:
    void make(Host &host, Client &client);
    void advance();
    void differ(const std::string &what);
    std::string nearest(const Call &call);
    void compare_end(const TraceEvent &event);

    Recording &recording_;
    const SessionText &text_;
    int client_ = 0;
    std::optional<RecordedEvent> next_;
    std::deque<RecordedEvent> ahead_; // events that were read to find one
    std::deque<std::string> before_;  // the last events that came as recorded
    std::size_t played_ = 0;
    std::string difference_;
    bool over_ = false;
};

} // namespace velt::host
