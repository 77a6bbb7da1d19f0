// Waits for clients: for their calls and their ends, and to do what is deferred until a client can
// be called.
#pragma once

#include <chrono>
#include <deque>
#include <functional>

namespace velt::host
{

struct Client;

class EventLoop
{
public:
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::milliseconds;
    // The ends of processes are looked for at this interval, because they show on no descriptor.
    static constexpr Milliseconds look_interval{10};

    // `look` is called in every round, for what shows on no descriptor, and `check` after each
    // wait. When `check` throws, nothing is served. Without waits nothing comes from elsewhere, and
    // every limit passes at once.
    EventLoop(std::function<void()> look, std::function<void()> check, bool waits = true)
        : look_(std::move(look)), check_(std::move(check)), waits_(waits)
    {
    }
    EventLoop(const EventLoop &) = delete;
    EventLoop &operator=(const EventLoop &) = delete;

    // Serves what has come by now.
    void serve_pending();
    // Says whether the time of a wait counts for the waits around it.
    enum class Time { excused, counted };
    // Serves until `done` holds; returns false when it does not within the limit. The limit leaves
    // out excused time: neither a person who reads an alert nor another wait within this one makes
    // a client late.
    bool serve_until(const std::function<bool()> &done, Milliseconds limit,
                     Time time = Time::excused);

    // Runs the action, which concerns this client, as soon as `ready` holds and no call is being
    // answered.
    void defer(const Client &client, std::function<bool()> ready, std::function<void()> action);
    // Returns whether actions that were deferred for the client come next.
    bool is_due(const Client &client) const;
    // Drops what was deferred for a client that is about to be removed.
    void forget(const Client &client);

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
        const Client *client;
        std::function<bool()> ready;
        std::function<void()> run;
    };

    void wait_and_dispatch(Clock::duration limit);
    void run_deferred();

    std::function<void()> look_, check_;
    bool waits_;
    std::deque<Deferred> deferred_;
    Clock::duration excused_{};
    int answering_ = 0;
};

} // namespace velt::host
