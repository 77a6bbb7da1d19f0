// The lists of event sources, and the rest of those that are idle: poll() takes a time for each
// descriptor that it is given, so that a host of many clients gives it those that are busy, and the
// system's set of the others.

#include <fcntl.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>

#include "apilib/unix/transport/connection.h"

namespace velt
{

EventSource *event_sources;
EventSource *awake_sources;

namespace
{

// For so many poll() takes less than the system's set does, and a client does without that.
constexpr std::size_t many = 16;

std::size_t linked_count, awake_count;
int resting_set = -1;
bool lost; // the set, in which sources still seem to rest

void insert(EventSource *&head, EventSource &source, Links EventSource::*list)
{
    Links &links = source.*list;
    links = {head, &head};
    if (head)
        (head->*list).back = &links.next;
    head = &source;
}

void remove(EventSource &source, Links EventSource::*list)
{
    Links &links = source.*list;
    *links.back = links.next;
    if (links.next)
        (links.next->*list).back = links.back;
    links = {};
}

// It stays open, since its number may be another's already.
void lose_set()
{
    resting_set = -1;
    lost = true;
}

bool open_set()
{
    // A child shares the set with its parent after a fork, and must leave it alone.
    static const int at_fork = pthread_atfork(nullptr, nullptr, [] {
        if (resting_set >= 0)
            close(resting_set);
        lost |= resting_set >= 0;
        resting_set = -1;
    });
    if (resting_set < 0 && at_fork == 0)
        resting_set = move_above_masks(epoll_create1(EPOLL_CLOEXEC));
    return resting_set >= 0;
}

} // namespace

// Not in the handler of a fork, since nearly every child becomes another program.
void wake_lost()
{
    if (!lost)
        return;
    lost = false;
    for (EventSource *each = event_sources; each; each = each->all.next) {
        each->registered = false;
        wake(*each);
    }
}

int move_above_masks(int descriptor)
{
    if (descriptor < 0)
        return -1;
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, mask_bits);
    close(descriptor);
    return moved;
}

void link(EventSource &source)
{
    insert(event_sources, source, &EventSource::all);
    linked_count++;
    wake(source);
}

void unlink(EventSource &source)
{
    if (!source.all.back)
        return;
    // One that has been closed stays in the set while another process has it open, so that the set
    // is given up.
    if (source.registered && resting_set >= 0 &&
        epoll_ctl(resting_set, EPOLL_CTL_DEL, source.descriptor, nullptr) != 0)
        lose_set();
    source.registered = false;
    if (source.awake.back) {
        remove(source, &EventSource::awake);
        awake_count--;
    }
    remove(source, &EventSource::all);
    linked_count--;
}

bool are_many_awake()
{
    return awake_count > many;
}

bool rest(EventSource &source, short until)
{
    if (!open_set())
        return false;
    // One event ends the rest, and nothing has to be taken out of the set then.
    epoll_event event{};
    event.events = static_cast<std::uint32_t>(until) | EPOLLONESHOT;
    event.data.ptr = &source;
    const int change = source.registered ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
    source.registered = epoll_ctl(resting_set, change, source.descriptor, &event) == 0;
    if (!source.registered)
        return false;
    remove(source, &EventSource::awake);
    awake_count--;
    return true;
}

void wake(EventSource &source)
{
    if (source.awake.back)
        return;
    insert(awake_sources, source, &EventSource::awake);
    awake_count++;
}

int resting_descriptor()
{
    return linked_count > awake_count ? resting_set : -1;
}

int wake_ready()
{
    epoll_event events[64];
    const int found = epoll_wait(resting_set, events, static_cast<int>(std::size(events)), 0);
    // Somebody has closed it.
    if (found < 0 && errno != EINTR) {
        lose_set();
        wake_lost();
    }
    int woken = 0;
    for (int i = 0; i < found; i++) {
        auto &source = *static_cast<EventSource *>(events[i].data.ptr);
        // One that something else has woken is in the set until its next event.
        if (source.awake.back)
            continue;
        wake(source);
        source.ready = true;
        woken++;
    }
    return woken;
}

} // namespace velt
