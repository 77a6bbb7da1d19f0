// Decodes the messages between a host and its client, and makes of them the events that the host
// itself would trace.
#pragma once

#include <list>
#include <memory>

#include "host/session/client.h"
#include "host/trace/sink.h"
#include "host/trace/trace.h"
#include "tools/vqrecord/relay.h"

namespace velt::vqrecord
{

class Decoder final : public Relay::Watcher
{
public:
    // `met` is called when the first connection of a route has been made.
    Decoder(host::TraceSink sink, std::function<void(Caller)> met)
        : sink_(std::move(sink)), met_(std::move(met))
    {
    }

    // The client as the host knows it.
    host::Client client;

    void called(Caller caller, int connection, const Message &call) override;
    void answered(Caller caller, int connection, const Message &reply) override;
    void closed(Caller caller, int connection) override;
    void connected(Caller caller) override { met_(caller); }
    void report(const std::string &what) override;
    void broke_off(const std::string &what) override;

    // The client has exited, with a status as wait(2) gives it.
    void exited(int status);
    // Returns whether nothing has been missed. Once something has, no more is told.
    bool is_complete() const { return complete_; }
    // Returns whether the client is called, or calls.
    bool is_busy() const { return !client.turns.empty() || !open_.empty(); }

private:
    // A call that has no answer yet. Those of the host have only their number.
    struct Open {
        Caller caller;
        int connection;
        std::uint32_t id;
        const host::Procedure *procedure;
        std::unique_ptr<host::Message> argument;
        host::TraceEvent event;
        std::chrono::steady_clock::time_point since;
        bool put_off = false; // a call of the host that waits until the client serves it
    };
    using Calls = std::list<Open>;

    void begin(Caller caller, int connection, const Message &call);
    void end(Caller caller, int connection, const Message &reply);
    void begin_turn(Open &call);
    void end_call(Calls::iterator call, std::string_view outcome,
                  const host::TracedMessage *result = nullptr);
    // Ends the calls that get no answer on a connection.
    void give_up(Caller caller, int connection, std::string_view outcome);
    void pass_control(const Open &call);
    void break_off_turns(const std::string &outcome);
    template <class Action>
    void attempt(Action action) noexcept;

    host::TraceSink sink_;
    std::function<void(Caller)> met_;
    Calls open_;
    bool complete_ = true;
};

} // namespace velt::vqrecord
