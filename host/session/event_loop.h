// The wait for clients: their calls, their ends, and what is put off until a client can be called.
#pragma once

#include <chrono>
#include <deque>
#include <functional>

namespace velt::host
{

class EventLoop
{
public:
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::milliseconds;

    // `look` is done at every turn, for what shows on no descriptor; `check` after each wait. It
    // may throw, and nothing is served then.
    EventLoop(std::function<void()> look, std::function<void()> check)
        : look_(std::move(look)), check_(std::move(check))
    {
    }
    EventLoop(const EventLoop &) = delete;
    EventLoop &operator=(const EventLoop &) = delete;

    // Serves what has come by now.
    void serve_pending();
    // Serves until it is done; false when it is not within the limit. The limit leaves out what was
    // excused: a person who reads an alert, and another wait within this one, make no client late.
    bool serve_until(const std::function<bool()> &done, Milliseconds limit);

    // Done as soon as it is ready and no call is being answered.
    void defer(std::function<bool()> ready, std::function<void()> action);

    // While one lives, a call is being answered.
    class Answering
    {
    public:
        explicit Answering(EventLoop &loop) : loop_(loop) { loop_.answering_++; }
        Answering(const Answering &) = delete;
        Answering &operator=(const Answering &) = delete;
        ~Answering() { loop_.answering_--; }

    private:
        EventLoop &loop_;
    };

    template <class Action>
    auto excuse(Action action)
    {
        const auto began = Clock::now();
        auto result = action();
        excused_ += Clock::now() - began;
        return result;
    }

private:
    struct Deferred {
        std::function<bool()> ready;
        std::function<void()> run;
    };

    void wait_and_dispatch(Clock::duration limit);
    void run_deferred();

    std::function<void()> look_, check_;
    std::deque<Deferred> deferred_;
    Clock::duration excused_{};
    int answering_ = 0;
};

} // namespace velt::host
