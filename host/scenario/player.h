// Answers calls as scenarios say, makes the calls of the host that these have, and tells what was
// expected and has not happened.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/scenario/scenario.h"
#include "host/session/responder.h"
#include "host/trace/trace.h"

namespace velt::host
{

class ScenarioPlayer : public Responder
{
public:
    // The model answers what scenarios leave to it.
    ScenarioPlayer(Responder &model, const SessionText &text) : model_(model), text_(text) {}

    // A scenario that is added later comes before the others.
    void add(Scenario scenario) { scenarios_.push_front(std::move(scenario)); }
    // Steps that are queued come before all scenarios, in the order of these calls.
    void queue(Scenario steps) { queued_.push_back(std::move(steps)); }

    Reaction respond(Call &call) override;
    Reaction respond_to_bytes(Call &call) override;
    IntT admit(IntT pid) override { return model_.admit(pid); }
    void client_exited(int number) override
    {
        sent_.erase(number);
        model_.client_exited(number);
    }
    // Follows the host's calls; every event of a trace is to come here. Throws nothing.
    void observe(const TraceEvent &event) noexcept;

    // Returns what went wrong, a text of one or more lines each: calls that nothing expected, in
    // their order, and what was expected and has not happened.
    std::vector<std::string> failures() const;
    // Returns how many calls a step has taken.
    std::size_t taken() const { return taken_; }
    // Returns the calls that nothing expected since this was called last, which failures() leaves
    // out from now on.
    std::vector<std::string> take_misses();

private:
    // A step that has the host make a call, and what has led to that step; null for nothing that
    // scenarios have the host call.
    struct Cause {
        const ExpectedCall &step;
        std::shared_ptr<Cause> earlier;
        unsigned length; // of the chain of causes that ends here

        // Ends a long chain without a recursion.
        ~Cause()
        {
            while (earlier.use_count() == 1)
                earlier = std::move(earlier->earlier);
        }
    };
    using Chain = std::shared_ptr<Cause>;
    // A call of the host that a client is in, and what a scenario says of it, if anything.
    struct Open {
        std::size_t depth;
        HostCall *call;
        Chain chain;
    };
    // A call of the host that was sent to a client while that waited, and what has led to it.
    struct Sent {
        UIntT procedure;
        Chain chain;
    };
    // A list of calls, and whether their order counts.
    struct Expected {
        std::vector<ExpectedCall> &calls;
        bool in_order;
    };

    std::vector<Expected> expected_of(int client);
    ExpectedCall *find_in(const Expected &expected, const Call &call);
    void note_other(const std::vector<Expected> &all, const Call &call);
    Reaction carry_out(ExpectedCall &step, Call &call);
    bool does_what_was_sent(const Client &client);
    Chain cause_of(const Client &client);
    bool goes_on(const ExpectedCall &step, const Chain &chain);
    Reaction answer(const ExpectedCall &step, Call &call);
    void make(Host &host, Client &client, HostCall &call, const Chain &chain);
    void begin(const TraceEvent &event);
    void end(const TraceEvent &event);
    void miss(std::string text);

    Responder &model_;
    const SessionText &text_;
    // In these, what is there stays where it is when more is added.
    std::deque<Scenario> queued_, scenarios_;
    std::map<int, std::vector<Open>> open_; // by the numbers of clients, the innermost last
    std::map<int, std::deque<Sent>> sent_;  // and not handed back, in order
    HostCall *making_ = nullptr;            // the call that the host is about to make
    HostCall *sending_ = nullptr;           // or to send while the client waits
    Chain making_chain_;
    unsigned in_a_row_ = 0; // calls that have led to themselves
    std::vector<std::string> misses_;
    std::size_t more_misses_ = 0;
    std::size_t taken_ = 0;
};

} // namespace velt::host
