// Tracks whose turn it is between the host and one client. It only knows the rules and calls
// nobody.
#pragma once

#include <chrono>
#include <optional>
#include <string_view>
#include <vector>

#include "velt/scalars.h"

namespace velt::host
{

// The wait for the end of a modal dialog, in which the client serves the host although its callback
// has not returned.
struct ModalWait {
    IntT number;  // the client's own for the dialog
    UIntT dialog; // the object
    std::chrono::steady_clock::time_point since;
};

// A stretch in which the client holds control: the host has called it, or it took control.
struct Turn {
    std::string_view procedure; // the procedure with which it began
    UIntT number;
    std::chrono::steady_clock::time_point since;
    std::size_t id = 0;
    std::optional<ModalWait> modal_wait = {};
    bool ends_modal_wait = false;
    bool late = false;
    bool cancelled = false; // the person wishes so, and the client has not asked yet
};

// Turns nest: in a modal wait, or when it has taken control, a client is called once more.
class Turns
{
public:
    // Begins a turn and returns its id.
    std::size_t begin(std::string_view procedure, UIntT number, bool ends_modal_wait = false);
    // Ends the turn in which the client hands control back, and returns it; returns nothing when
    // the client holds no control.
    std::optional<Turn> hand_back();
    // Removes a turn whose call could not be sent.
    void withdraw(std::size_t id);
    // Ends the innermost turn without a hand-over and returns it; returns nothing when no turn is
    // left.
    std::optional<Turn> break_off();
    // Begins a modal wait, in which the client can be called although it has not handed control
    // back.
    void wait_modally(IntT number, UIntT dialog);
    void mark_late(std::size_t id);
    // The person cancels what the client does, until it hands control back; does nothing when it
    // holds none.
    void cancel();
    // Returns whether the person has done so since the last call.
    bool take_cancel();
    // Returns whether a call that the client makes without holding control is worth a report: once
    // for each stretch, so that a client that goes on is not reported a thousand times.
    bool is_new_breach();

    bool client_holds_control() const { return !turns_.empty() && !turns_.back().modal_wait; }
    // Returns the modal wait that the client is in, or null. Waits around it do not count.
    const ModalWait *modal_wait() const
    {
        return turns_.empty() || !turns_.back().modal_wait ? nullptr : &*turns_.back().modal_wait;
    }
    // Returns the modal waits that have to end before the client is out of all, the innermost
    // first.
    std::vector<ModalWait> modal_waits() const;
    bool empty() const { return turns_.empty(); }
    std::size_t depth() const { return turns_.size(); }
    // Returns the number of turns around the turn of the id.
    std::size_t depth_of(std::size_t id) const;
    bool goes_on(std::size_t id) const;
    const Turn &innermost() const { return turns_.back(); }
    // Returns whether the turn has ended without a hand-over.
    bool was_broken_off(std::size_t id) const;

private:
    std::vector<Turn> turns_;
    std::vector<std::size_t> broken_off_;
    std::size_t begun_ = 0;
    bool breach_reported_ = false;
};

} // namespace velt::host
