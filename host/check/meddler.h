// What surrounds the client under check: who answers its calls, the person, and the port mapper.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/console/console.h"
#include "host/portmap/portmap.h"
#include "host/session/host.h"

namespace velt::host
{

// Answers as the model does, unless a point has it do otherwise, and notes what the client calls.
class Meddler : public Responder
{
public:
    explicit Meddler(Responder &model) : model_(model) {}

    Reaction respond(Call &call) override;
    void client_exited(int number) override { model_.client_exited(number); }

    // Returns how a call that passes no control is answered; nothing leaves it to the model.
    std::function<std::optional<Reaction>(Call &)> meddle;
    // Called for each hand-over before it is answered.
    std::function<void(Call &)> handed_over;

    std::vector<const Procedure *> calls; // apart from those that pass control
    // Those that were made although the host held control, and hand-overs without having it.
    std::vector<const Procedure *> breaches;
    unsigned needless_hand_overs = 0;
    unsigned hand_overs = 0;
    bool bailed_out = false;    // in any of them
    bool opened_dialog = false; // a modal one, for whose end the client waits

private:
    Responder &model_;
};

// Ends a line that a client may have left open; lines that are empty are not shown.
inline constexpr char new_line = '\n';

// Stands in for the person: answers whatever is asked, or cancels all of it.
class StandIn : public Console
{
public:
    bool cancels = false;
    bool listens = true; // to reports

    Reply ask(const Question &question) override;
    // Prints the report, which is shown when the point fails.
    void report(const std::string &line) override;
};

// The session's port mapper, which tells what a client that has ended has left there.
class WatchedMapper : public SessionPortMapper
{
public:
    bool unset(UIntT program, UIntT version) override;

    // Returns whether the program is that of a client that has ended.
    std::function<bool(UIntT program)> has_ended;
    bool left_over = false;
};

} // namespace velt::host
