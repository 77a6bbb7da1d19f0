#include "host/session/event_loop.h"

#include <algorithm>

#include "apilib/unix/transport/transport.h"

namespace velt::host
{

void EventLoop::serve_pending()
{
    wait_and_dispatch({});
    look_();
    run_deferred();
}

bool EventLoop::serve_until(const std::function<bool()> &done, Milliseconds limit, Time time)
{
    const auto began = Clock::now();
    const auto excused = excused_;
    const auto is_done = [&] {
        look_();
        if (done())
            return true;
        run_deferred();
        return done();
    };
    bool over = false;
    for (;;) {
        const bool well = is_done();
        // After the limit, one more round is served: this process may have been stopped, and what
        // has come meanwhile counts as in time.
        if (well || over) {
            if (time == Time::excused)
                excused_ = excused + (Clock::now() - began);
            return well;
        }
        const auto left = limit - (Clock::now() - began - (excused_ - excused));
        over = left <= Clock::duration::zero() || !waits_;
        wait_and_dispatch(
            std::clamp<Clock::duration>(left, Clock::duration::zero(), look_interval));
    }
}

void EventLoop::wait_and_dispatch(Clock::duration limit)
{
    if (!waits_)
        return;
    transport_wait(nullptr, static_cast<int>(std::chrono::ceil<Milliseconds>(limit).count()));
    check_();
    transport_dispatch();
}

void EventLoop::defer(const Client &client, std::function<bool()> ready,
                      std::function<void()> action)
{
    deferred_.push_back({&client, std::move(ready), std::move(action)});
}

bool EventLoop::is_due(const Client &client) const
{
    return answering_ == 0 &&
           std::ranges::find(deferred_, &client, &Deferred::client) != deferred_.end();
}

void EventLoop::forget(const Client &client)
{
    std::erase_if(deferred_, [&](const Deferred &each) { return each.client == &client; });
}

void EventLoop::run_deferred()
{
    while (answering_ == 0) {
        const auto first =
            std::ranges::find_if(deferred_, [](const Deferred &each) { return each.ready(); });
        if (first == deferred_.end())
            return;
        const auto run = std::move(first->run);
        deferred_.erase(first);
        run();
    }
}

} // namespace velt::host
