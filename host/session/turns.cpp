#include "host/session/turns.h"

#include <algorithm>
#include <utility>

namespace velt::host
{
namespace
{

bool waits_modally(const Turn &turn)
{
    return turn.modal_wait.has_value();
}

} // namespace

std::size_t Turns::begin(std::string_view procedure, UIntT number, bool ends_modal_wait)
{
    breach_reported_ = false;
    turns_.push_back({.procedure = procedure,
                      .number = number,
                      .since = std::chrono::steady_clock::now(),
                      .id = ++begun_,
                      .ends_modal_wait = ends_modal_wait});
    return begun_;
}

std::optional<Turn> Turns::hand_back()
{
    if (!client_holds_control())
        return {};
    breach_reported_ = false;
    const Turn turn = turns_.back();
    turns_.pop_back();
    if (turn.ends_modal_wait) {
        const auto waiting = std::find_if(turns_.rbegin(), turns_.rend(), waits_modally);
        if (waiting != turns_.rend())
            waiting->modal_wait.reset();
    }
    return turn;
}

void Turns::withdraw(std::size_t id)
{
    std::erase_if(turns_, [=](const Turn &each) { return each.id == id; });
}

std::optional<Turn> Turns::break_off()
{
    if (turns_.empty())
        return {};
    const Turn turn = turns_.back();
    turns_.pop_back();
    broken_off_.push_back(turn.id);
    return turn;
}

void Turns::wait_modally(IntT number, UIntT dialog)
{
    if (client_holds_control())
        turns_.back().modal_wait = {number, dialog, std::chrono::steady_clock::now()};
}

std::vector<ModalWait> Turns::modal_waits() const
{
    std::vector<ModalWait> waits;
    for (auto turn = turns_.rbegin(); turn != turns_.rend(); ++turn)
        if (turn->modal_wait)
            waits.push_back(*turn->modal_wait);
    return waits;
}

void Turns::mark_late(std::size_t id)
{
    const auto turn = std::ranges::find(turns_, id, &Turn::id);
    if (turn != turns_.end())
        turn->late = true;
}

void Turns::cancel()
{
    if (client_holds_control())
        turns_.back().cancelled = true;
}

bool Turns::take_cancel()
{
    return !turns_.empty() && std::exchange(turns_.back().cancelled, false);
}

bool Turns::is_new_breach()
{
    return !client_holds_control() && !std::exchange(breach_reported_, true);
}

std::size_t Turns::depth_of(std::size_t id) const
{
    return static_cast<std::size_t>(
        std::ranges::count_if(turns_, [=](const Turn &each) { return each.id < id; }));
}

bool Turns::was_broken_off(std::size_t id) const
{
    return std::ranges::find(broken_off_, id) != broken_off_.end();
}

bool Turns::goes_on(std::size_t id) const
{
    return std::ranges::find(turns_, id, &Turn::id) != turns_.end();
}

} // namespace velt::host
