// The wait for all event sources, and the dispatch of those that are ready.

#include <poll.h>
#include <pthread.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <climits>
#include <new>

#include "apilib/unix/transport/connection.h"
#include "apilib/unix/transport/limits.h"
#include "velt/api.h"

namespace velt
{

namespace
{

struct Watched : EventSource {
    void (*act)(void *context);
    void *context;

    Watched(int fd, void (*then)(void *), void *with)
        : EventSource(EventKind::watched, fd), act(then), context(with)
    {
    }
};

// The array that one wait passes to poll().
struct PollSet {
    Block block;
    std::size_t count = 0;

    pollfd *entries() const { return reinterpret_cast<pollfd *>(block.data()); }
    // Returns the index of the entry, or -1 when memory runs out.
    int add(int descriptor, short events)
    {
        if (!block.grow(count < block.size() / sizeof(pollfd) ? 0
                                                              : (2 * count + 64) * sizeof(pollfd)))
            return -1;
        entries()[count] = {descriptor, events, 0};
        return static_cast<int>(count++);
    }
};

// Ends a wait in time through a timer descriptor. The time limit of poll() itself would have the
// kernel set up a timer and remove it again in every wait, and nearly all waits end long before.
class Alarm
{
public:
    // Returns the descriptor, which becomes readable at that time or earlier; -1 when there is
    // none.
    int set(Time time, Time present)
    {
        if (descriptor_ < 0 && !open())
            return -1;
        if (set_for_ <= present || set_for_ > time) {
            itimerspec at{};
            at.it_value = {time / 1'000'000'000, time % 1'000'000'000};
            if (timerfd_settime(descriptor_, TFD_TIMER_ABSTIME, &at, nullptr) != 0)
                return descriptor_ = -1;
            set_for_ = time;
        }
        return descriptor_;
    }
    // The descriptor was found readable, because the timer expired or the descriptor is no longer
    // open. Either way the next wait sets it anew.
    void expired() { set_for_ = 0; }

private:
    bool open()
    {
        // After a fork the child must not set the timer, which it shares with its parent.
        static const int at_fork = pthread_atfork(nullptr, nullptr, [] { forget(); });
        if (at_fork == 0)
            descriptor_ =
                move_above_masks(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
        return descriptor_ >= 0;
    }
    static void forget();

    int descriptor_ = -1;
    Time set_for_ = 0;
};

Alarm alarm_clock;

void Alarm::forget()
{
    if (alarm_clock.descriptor_ >= 0)
        close(alarm_clock.descriptor_);
    alarm_clock = Alarm();
}

// The array of all waits, whose results are copied into the event sources. It is never released.
PollSet *poll_set;

// The events of poll() to wait for; 0 for none at present. Sets `ready` of a source that can be
// served without a wait.
short interest(EventSource &source, Time time, Time &nearest)
{
    switch (source.kind) {
    case EventKind::service: {
        const Time rest = static_cast<Service &>(source).paused_until;
        if (rest <= time)
            return POLLIN;
        nearest = std::min(nearest, rest);
        return 0;
    }
    case EventKind::watched:
        return POLLIN;
    case EventKind::idle_client:
        return POLLRDHUP;
    case EventKind::service_connection:
    case EventKind::async_client:
        break;
    }
    auto &connection = static_cast<Connection &>(source);
    const bool calling = source.kind == EventKind::async_client;
    if (!connection.out.empty())
        return static_cast<short>(calling ? POLLIN | POLLOUT : POLLOUT);
    if (!calling && !can_read(connection))
        return 0;
    source.ready = connection.in.has_record();
    return POLLIN;
}

template <class F>
UIntT mask_of(F counts)
{
    UIntT mask = 0;
    for (const EventSource *each = event_sources; each; each = each->all.next)
        if ((each->kind == EventKind::service || each->kind == EventKind::service_connection) &&
            each->descriptor < mask_bits && counts(*each))
            mask |= 1U << each->descriptor;
    return mask;
}

// Ends the connections whose deadline has passed. One that is ready, and has had no turn since,
// gets one first: this process may have been busy with something else.
void drop_late(Time time)
{
    for (EventSource *each = awake_sources; each;) {
        EventSource *next = each->awake.next;
        if (each->deadline <= time) {
            auto &connection = static_cast<Connection &>(*each);
            const bool calling = each->kind == EventKind::async_client;
            const bool sends = !connection.out.empty();
            pollfd ready{each->descriptor, sends ? short{POLLOUT} : short{POLLIN}, 0};
            if (!calling && !sends && !can_read(connection)) {
                // Its own call is still being answered, so the peer cannot be late.
                each->deadline = never;
            } else if (each->had_late_turn || poll(&ready, 1, 0) <= 0) {
                if (calling)
                    time_out_replies(connection);
                else
                    drop(connection);
                // The callback may have ended other connections.
                next = awake_sources;
            }
        }
        each = next;
    }
}

} // namespace

void Connection::update_deadline()
{
    if (all.back)
        wake(*this);
    if (out.empty() && (in.at_rest() || in.has_record())) {
        deadline = never;
    } else if (deadline == never) {
        deadline = after_seconds(limits.record_seconds);
        had_late_turn = false;
    }
}

bool transport_watch(int descriptor, void (*ready)(void *context), void *context)
{
    auto *made = make<Watched>(descriptor, ready, context);
    if (made)
        link(*made);
    return made != nullptr;
}

void transport_unwatch(int descriptor)
{
    for (EventSource *each = event_sources; each; each = each->all.next) {
        if (each->kind == EventKind::watched && each->descriptor == descriptor) {
            unlink(*each);
            return unmake(static_cast<Watched *>(each));
        }
    }
}

UIntT transport_mask()
{
    return mask_of([](const EventSource &) { return true; });
}

UIntT transport_ready()
{
    return mask_of([](const EventSource &source) { return source.ready; });
}

int transport_wait(UIntT *others, int milliseconds)
{
    const UIntT wanted = others ? *others : 0;
    if (others)
        *others = 0;
    if (!poll_set && !(poll_set = make<PollSet>()))
        return -1;
    Time time = now();
    for (const Time end = time + Time{milliseconds} * 1'000'000;; time = now()) {
        drop_late(time);
        wake_lost();
        Time nearest = end;
        int ready = 0;
        poll_set->count = 0;
        const bool many = are_many_awake();
        EventSource *next = nullptr;
        for (EventSource *each = awake_sources; each; each = next) {
            next = each->awake.next;
            each->ready = false;
            each->slot = -1;
            const short events = interest(*each, time, nearest);
            const bool waits = events && !each->ready;
            if (many && waits && each->deadline == never && rest(*each, events))
                continue;
            if (waits)
                each->slot = poll_set->add(each->descriptor, events);
            ready += each->ready;
            // When memory for its entry ran out, the wait ends early and tries again.
            if (waits && each->slot < 0)
                nearest = std::min(nearest, time + retry_interval);
            nearest = std::min(nearest, each->deadline);
        }
        const std::size_t ours = poll_set->count;
        const int resting = resting_descriptor();
        if (resting >= 0 && poll_set->add(resting, POLLIN) < 0)
            nearest = std::min(nearest, time + retry_interval);
        const std::size_t wanted_from = poll_set->count;
        for (UIntT bits = wanted; bits; bits &= bits - 1)
            poll_set->add(std::countr_zero(bits), POLLIN);

        const std::size_t theirs = poll_set->count;
        const Time left = ready ? 0 : std::max<Time>(nearest - time, 0);
        auto limit = static_cast<int>(std::min<Time>((left + 999'999) / 1'000'000, INT_MAX));
        if (const int fd = limit ? alarm_clock.set(nearest, time) : -1;
            fd >= 0 && poll_set->add(fd, POLLIN) >= 0)
            limit = -1;
        int found = poll(poll_set->entries(), poll_set->count, limit);
        if (found < 0)
            return -1;
        if (poll_set->count > theirs && poll_set->entries()[theirs].revents) {
            alarm_clock.expired();
            found--;
        }
        const bool wakes = wanted_from > ours && poll_set->entries()[ours].revents != 0;
        for (EventSource *each = awake_sources; each; each = each->awake.next)
            if (each->slot >= 0)
                each->ready = poll_set->entries()[each->slot].revents != 0;
        if (wakes)
            found += wake_ready() - 1;
        if (found + ready == 0) {
            if (now() >= end)
                return 0;
            continue; // only the timer of a deadline expired
        }
        for (std::size_t i = wanted_from; i < theirs; i++) {
            const pollfd &entry = poll_set->entries()[i];
            if (entry.revents & POLLNVAL) {
                *others = 0;
                errno = EBADF;
                return -1;
            }
            if (entry.revents)
                *others |= 1U << entry.fd;
        }
        return found + ready;
    }
}

void transport_dispatch()
{
    for (EventSource *each = awake_sources; each;) {
        if (!each->ready) {
            each = each->awake.next;
            continue;
        }
        each->ready = false;
        if (each->deadline != never && !each->had_late_turn && each->deadline <= now()) {
            each->had_late_turn = true;
            each->deadline = after_seconds(1);
        }
        switch (each->kind) {
        case EventKind::service:
            accept_on(static_cast<Service &>(*each));
            break;
        case EventKind::service_connection:
            serve_calls(static_cast<Connection &>(*each));
            break;
        case EventKind::async_client:
            receive_replies(static_cast<Connection &>(*each));
            break;
        case EventKind::idle_client:
            note_end(static_cast<Connection &>(*each));
            break;
        case EventKind::watched:
            static_cast<Watched &>(*each).act(static_cast<Watched &>(*each).context);
            break;
        }
        // The handlers may have changed the list, so the search begins anew.
        each = awake_sources;
    }
}

void transport_dispatch_rest()
{
    for (EventSource *each = awake_sources; each;) {
        auto *connection =
            each->kind == EventKind::service_connection ? static_cast<Connection *>(each) : nullptr;
        if (connection && connection->in.has_record() && can_read(*connection)) {
            serve_calls(*connection);
            each = awake_sources;
        } else {
            each = each->awake.next;
        }
    }
}

} // namespace velt
