// The one wait for every descriptor, and the turns of those that are ready.

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <pthread.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "apilib/unix/transport/connection.h"
#include "apilib/unix/transport/limits.h"
#include "velt/api.h"

namespace velt
{

Waiter *waiters;

namespace
{

constexpr int mask_bits = 32;

struct Foreign : Waiter {
    void (*act)(void *context);
    void *context;

    Foreign(int fd, void (*then)(void *), void *with)
        : Waiter(foreign, fd), act(then), context(with)
    {
    }
};

// The descriptors of one wait.
struct Poll {
    Block block;
    std::size_t count = 0;

    pollfd *entries() const { return reinterpret_cast<pollfd *>(block.data()); }
    // Its place, or -1 when there is no memory.
    int add(int descriptor, short events)
    {
        if (!block.grow(count < block.size() / sizeof(pollfd) ? 0
                                                              : (2 * count + 64) * sizeof(pollfd)))
            return -1;
        entries()[count] = {descriptor, events, 0};
        return static_cast<int>(count++);
    }
};

// Ends a wait in time by a descriptor. A time limit of poll's own has the system set up a timer and
// take it down again with every wait, and nearly all waits end long before.
class Alarm
{
public:
    // The descriptor, which will be readable at that time or before; -1 when there is none.
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
    // It has been found readable. Whether it has gone off or is open no more: it is set anew.
    void gone_off() { set_for_ = 0; }

private:
    bool open()
    {
        // A child process that goes on with the service must not set its parent's.
        static const int at_fork = pthread_atfork(nullptr, nullptr, [] { forget(); });
        const int low = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
        // Those that masks can name are few.
        descriptor_ = low < 0 || at_fork != 0 ? -1 : fcntl(low, F_DUPFD_CLOEXEC, mask_bits);
        if (low >= 0)
            close(low);
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

// Used anew by every wait: what it finds goes into the waiters. Never released.
Poll *polled;

// What to wait for; 0 for nothing now. `ready` is set for what need not be waited for.
short interest(Waiter &waiter, Time time, Time &nearest)
{
    switch (waiter.kind) {
    case Waiter::listener: {
        const Time rest = static_cast<Listener &>(waiter).rests_until;
        if (rest <= time)
            return POLLIN;
        nearest = std::min(nearest, rest);
        return 0;
    }
    case Waiter::foreign:
        return POLLIN;
    case Waiter::resting:
        return POLLRDHUP;
    case Waiter::serving:
    case Waiter::calling:
        break;
    }
    auto &connection = static_cast<Connection &>(waiter);
    const bool calling = waiter.kind == Waiter::calling;
    if (!connection.out.empty())
        return static_cast<short>(calling ? POLLIN | POLLOUT : POLLOUT);
    if (!calling && !can_read(connection))
        return 0;
    waiter.ready = connection.in.has_record();
    return POLLIN;
}

template <class F>
UIntT mask_of(F counts)
{
    UIntT mask = 0;
    for (const Waiter *each = waiters; each; each = each->next)
        if ((each->kind == Waiter::listener || each->kind == Waiter::serving) &&
            each->descriptor < mask_bits && counts(*each))
            mask |= 1U << each->descriptor;
    return mask;
}

// Drops what has not got on in its time, although it had a turn since that was over: this process
// may have been busy with something else.
void drop_late(Time time)
{
    for (Waiter *each = waiters; each;) {
        Waiter *next = each->next;
        if (each->deadline <= time) {
            auto &connection = static_cast<Connection &>(*each);
            const bool calling = each->kind == Waiter::calling;
            const bool sends = !connection.out.empty();
            pollfd ready{each->descriptor, sends ? short{POLLOUT} : short{POLLIN}, 0};
            if (!calling && !sends && !can_read(connection)) {
                // Its own call is being answered meanwhile.
                each->deadline = never;
            } else if (each->late_turn || poll(&ready, 1, 0) <= 0) {
                if (calling)
                    give_up_replies(connection);
                else
                    drop(connection);
                // Who is told may have ended others.
                next = waiters;
            }
        }
        each = next;
    }
}

} // namespace

void link(Waiter &waiter)
{
    waiter.next = waiters;
    waiters = &waiter;
}

void unlink(Waiter &waiter)
{
    for (Waiter **each = &waiters; *each; each = &(*each)->next) {
        if (*each == &waiter) {
            *each = waiter.next;
            return;
        }
    }
}

void Connection::pace()
{
    if (out.empty() && (in.at_rest() || in.has_record())) {
        deadline = never;
    } else if (deadline == never) {
        deadline = after_seconds(limits.record_seconds);
        late_turn = false;
    }
}

bool transport_watch(int descriptor, void (*ready)(void *context), void *context)
{
    auto *made = make<Foreign>(descriptor, ready, context);
    if (made)
        link(*made);
    return made != nullptr;
}

void transport_unwatch(int descriptor)
{
    for (Waiter *each = waiters; each; each = each->next) {
        if (each->kind == Waiter::foreign && each->descriptor == descriptor) {
            unlink(*each);
            return unmake(static_cast<Foreign *>(each));
        }
    }
}

UIntT transport_mask()
{
    return mask_of([](const Waiter &) { return true; });
}

UIntT transport_ready()
{
    return mask_of([](const Waiter &waiter) { return waiter.ready; });
}

int transport_wait(UIntT *others, int milliseconds)
{
    const UIntT wanted = others ? *others : 0;
    if (others)
        *others = 0;
    if (!polled && !(polled = make<Poll>()))
        return -1;
    Time time = now();
    for (const Time end = time + Time{milliseconds} * 1'000'000;; time = now()) {
        drop_late(time);
        Time nearest = end;
        int ready = 0;
        polled->count = 0;
        for (Waiter *each = waiters; each; each = each->next) {
            each->ready = false;
            const short events = interest(*each, time, nearest);
            each->slot = events && !each->ready ? polled->add(each->descriptor, events) : -1;
            ready += each->ready;
            // Without memory to wait for it, soon again.
            if (events && !each->ready && each->slot < 0)
                nearest = std::min(nearest, time + breather);
            nearest = std::min(nearest, each->deadline);
        }
        const std::size_t ours = polled->count;
        for (int fd = 0; fd < mask_bits; fd++)
            if (wanted & 1U << fd)
                polled->add(fd, POLLIN);

        const std::size_t theirs = polled->count;
        const Time left = ready ? 0 : std::max<Time>(nearest - time, 0);
        auto limit = static_cast<int>(std::min<Time>((left + 999'999) / 1'000'000, INT_MAX));
        if (const int fd = limit ? alarm_clock.set(nearest, time) : -1;
            fd >= 0 && polled->add(fd, POLLIN) >= 0)
            limit = -1;
        int found = poll(polled->entries(), polled->count, limit);
        if (found < 0)
            return -1;
        if (polled->count > theirs && polled->entries()[theirs].revents) {
            alarm_clock.gone_off();
            found--;
        }
        if (found + ready == 0) {
            if (now() >= end)
                return 0;
            continue; // something else has had its time
        }
        for (Waiter *each = waiters; each; each = each->next)
            if (each->slot >= 0)
                each->ready = polled->entries()[each->slot].revents != 0;
        for (std::size_t i = ours; i < theirs; i++) {
            const pollfd &entry = polled->entries()[i];
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
    for (Waiter *each = waiters; each;) {
        if (!each->ready) {
            each = each->next;
            continue;
        }
        each->ready = false;
        if (each->deadline != never && !each->late_turn && each->deadline <= now()) {
            each->late_turn = true;
            each->deadline = after_seconds(1);
        }
        switch (each->kind) {
        case Waiter::listener:
            accept_on(static_cast<Listener &>(*each));
            break;
        case Waiter::serving:
            serve_calls(static_cast<Connection &>(*each));
            break;
        case Waiter::calling:
            serve_replies(static_cast<Connection &>(*each));
            break;
        case Waiter::resting:
            end_rest(static_cast<Connection &>(*each));
            break;
        case Waiter::foreign:
            static_cast<Foreign &>(*each).act(static_cast<Foreign &>(*each).context);
            break;
        }
        // Whoever was served may have changed the list.
        each = waiters;
    }
}

void transport_dispatch_rest()
{
    for (Waiter *each = waiters; each;) {
        auto *connection =
            each->kind == Waiter::serving ? static_cast<Connection *>(each) : nullptr;
        if (connection && connection->in.has_record() && can_read(*connection)) {
            serve_calls(*connection);
            each = waiters;
        } else {
            each = each->next;
        }
    }
}

} // namespace velt
