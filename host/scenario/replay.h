// Plays the host's part as it was recorded, and compares what the clients do.
#pragma once

#include <chrono>
#include <deque>
#include <exception>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "host/scenario/pattern.h"
#include "host/scenario/recording.h"
#include "host/scenario/update.h"
#include "host/session/responder.h"
#include "host/trace/trace.h"

namespace velt::host
{

// What of the order of the calls has to be as it was recorded.
enum class KeptOrder {
    none,       // nothing between two calls of the host
    connection, // that of each client's calls
    strict,     // that of all calls: a client waits for what others did before
};

class Replay : public Responder
{
public:
    // Starts the client of this number, that had this name, which may be empty. Throws Error.
    using Start = std::function<void(Host &host, int number, const std::string &name)>;

    // With an update, what clients do in another way is no difference, as long as the recording
    // can be played on.
    Replay(Recording &recording, const SessionText &text, KeptOrder order, Start start,
           Update *update);

    // Starts the clients and makes the host's calls, one after the other, until the recording is at
    // its end or a client differs. Throws Error for a recording that cannot be played.
    void run(Host &host);
    // Returns the first difference, as several lines; empty when there is none.
    const std::string &difference() const { return difference_; }
    // Returns how many calls of clients have been as recorded.
    std::size_t calls() const { return calls_; }
    // To be called when the clients have ended: that one did so badly is a difference too, unless
    // it was recorded.
    void compare_exits();

    Reaction respond(Call &call) override;
    Reaction respond_to_bytes(Call &call) override { return respond(call); }
    void client_exited(int) override {}
    // The host itself has failed in a call: what a client does after that is no difference.
    void host_failed(const std::exception_ptr &why) noexcept
    {
        if (!stopped())
            error_ = why;
    }
    // Every event of a trace is to come here. Throws nothing.
    void observe(const TraceEvent &event) noexcept;

private:
    struct Event : RecordedEvent {
        explicit Event(RecordedEvent event) : RecordedEvent(std::move(event)) {}

        bool pending = false; // the call has come, and waits for what was before it
        bool adapted = false; // the call is another one than was recorded, or a new one
    };
    using Events = std::list<Event>;
    using Place = Events::iterator;
    // A recorded call in whose place another has come, or none; what was noted of it, and what
    // would have been if it had been known that it was still to come.
    struct Aside {
        Event event;
        std::string noted, instead;
    };
    struct Part {
        std::string name;
        std::deque<Aside> aside; // since the last call that was the recorded one, in this turn
        bool started = false;
        bool fresh = false; // started, and nothing has been played since
    };

    // Whether the replay goes no farther.
    bool stopped() const { return !difference_.empty() || error_; }
    bool read();
    // Returns the first event ahead that fits; the end when none does within what can be kept in
    // mind.
    template <class Fits>
    Place find(Fits fits_it)
    {
        for (Place each = ahead_.begin();; ++each) {
            if (each == ahead_.end()) {
                if (!read())
                    return ahead_.end();
                each = std::prev(ahead_.end());
            }
            if (fits_it(*each))
                return each;
        }
    }
    Place head();
    Place next_of(int client);
    Place later_in_turn(const Call &call);
    bool is_blocked(Place event);
    Place come(Call &call);
    Event play(Place event);
    Reaction answer(Call &call, Place event);
    void compare_end(const TraceEvent &event);

    bool drive(Host &host, const std::function<bool()> &done);
    bool step(Host &host);
    void start(Host &host, int client);
    void make(Host &host, Client &client, Place next);

    Place adapt(const Call &call, Place own, Place found);
    void set_aside(const Event &event, std::string noted, std::string instead);
    Place put_back(const Call &call, Place own, bool is_own);
    void write(const Event &played, Call &call, const Failure *failure);
    void drop(Place event);
    void drop_rest(int client);
    Place skip_to_end(int client);
    void end_early(const TraceEvent &event, Place own);
    void remember(const RecordedEvent &event);

    void differ(int client, const std::string &what, Place recorded);
    void note_mistake(const RecordedEvent &event, const JsonError &error);
    std::string nearest(const Call &call, Place told);
    // Returns the recorded call that is the most like this one, and how many parts of it differ.
    template <class Calls>
    std::pair<const RecordedEvent *, std::size_t> nearest_of(const Calls &among,
                                                             const Call &call) const
    {
        std::pair<const RecordedEvent *, std::size_t> best{nullptr, SIZE_MAX};
        for (const auto &each : among)
            if (same_call(each, call))
                if (const std::size_t count = differences_of(each, call).size();
                    count < best.second)
                    best = {&each, count};
        return best;
    }
    static bool same_call(const RecordedEvent &event, const Call &call);
    bool fits(const RecordedEvent &event, const Call &call) const;
    std::vector<Difference> differences_of(const RecordedEvent &event, const Call &call) const;
    std::string text_of(const RecordedEvent &event) const;
    std::string text_of(const Call &call) const;
    std::string told_differences(const RecordedEvent &event, const Call &call) const;

    Recording &recording_;
    const SessionText &text_;
    KeptOrder order_;
    Start start_;
    Update *update_;
    Events ahead_; // that have been read and not played
    std::size_t bytes_ahead_ = 0;
    bool read_whole_ = false;
    std::map<int, Part> parts_;
    std::deque<RecordedEvent> before_; // the last events that were played
    std::map<rpcproc_t, std::deque<RecordedEvent>>
        answers_;                                       // the last ones that an update has seen
    std::size_t played_ = 0;                            // events
    std::chrono::steady_clock::time_point moved_ = {};  // when the last one was played,
    std::chrono::steady_clock::time_point agreed_ = {}; // and the last one that was recorded
    std::size_t calls_ = 0;                             // calls of clients among them
    Host *host_ = nullptr;
    std::set<const Client *> cut_off_;        // those whose connection a recorded answer has ended
    std::set<const Client *> recorded_exits_; // those whose end was as recorded
    std::string difference_;
    std::exception_ptr error_; // for which it cannot be played on
    bool over_ = false;
};

} // namespace velt::host
