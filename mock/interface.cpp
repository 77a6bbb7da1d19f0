// The functions of velt/mock.h. No exception leaves them.

#define V_MOCK_WITHOUT_PLACES
#include <unistd.h>

#include <cstdio>
#include <thread>

#include "common/error.h"
#include "mock/mock.h"
#include "velt/mock.h"

namespace
{

using velt::mock::Failures;
using velt::mock::Mock;

// The mock that is open. One that the test does not close is not released either.
Mock *mock;

// What frames on the stack may still use is kept for good.
void leave_behind(Mock *closed)
{
    static auto *const all = new std::vector<Mock *>;
    all->push_back(closed);
}

Failures &failures()
{
    static Failures all;
    return all;
}

// The thread that is in the mock, and the process that has opened it: a child of fork has a copy,
// of which nobody expects anything.
std::atomic<std::thread::id> inside;
pid_t opener;

// Holds the mock for this thread; a callback may use it again. Throws Error when another one has
// it.
class Turnstile
{
public:
    Turnstile()
    {
        std::thread::id holder;
        const std::thread::id self = std::this_thread::get_id();
        is_outermost_ = inside.compare_exchange_strong(holder, self);
        if (!is_outermost_ && holder != self)
            velt::fail("another thread is in the mock, which one thread at a time can use");
    }
    Turnstile(const Turnstile &) = delete;
    Turnstile &operator=(const Turnstile &) = delete;
    ~Turnstile()
    {
        if (is_outermost_)
            inside = std::thread::id();
    }

private:
    bool is_outermost_;
};

// A client that ends the process in a callback, and a test that does not close the mock, would pass
// for a success otherwise.
void tell_at_exit(int status, void *)
{
    if (!mock || getpid() != opener)
        return;
    try {
        mock->check_at_exit();
    } catch (const std::exception &error) {
        failures().add(error);
    }
    if (status != 0)
        return;
    std::fflush(nullptr);
    _exit(1);
}

// Returns what the action does, or what stands for a failure.
template <class Result, class Action>
Result with_mock(Result otherwise, Action action) noexcept
try {
    const Turnstile turnstile;
    if (mock) {
        mock->count_calls_anew();
        return action();
    }
    failures().add("no mock is open; V_MockOpen opens one");
    return otherwise;
} catch (const std::exception &error) {
    failures().add(error);
    return otherwise;
}

// For an action that tells whether it has succeeded; what counts a failure has not.
template <class Action>
IntT success_of(Action action)
{
    return with_mock<IntT>(-1, [&] {
        const IntT before = failures().count();
        return action() && failures().count() == before ? 0 : -1;
    });
}

template <class Action>
IntT status_of(Action action)
{
    return success_of([&] {
        action();
        return true;
    });
}

template <class Action>
const char *text_of(Action action)
{
    return with_mock<const char *>(nullptr, action);
}

const char *or_empty(const char *text)
{
    return text ? text : "";
}

const char *needed(const char *text)
{
    if (!text)
        velt::misuse("a text is needed, not null");
    return text;
}

} // namespace

void V_MockAt(const char *file, int line)
{
    failures().at(file, line);
}

IntT V_MockOpenFor(const V_MockLibraryT *library, const char *book, const char *scenario)
try {
    const Turnstile turnstile;
    if (mock)
        velt::fail("a mock is open already; V_MockClose closes it");
    if (!library || !library->client || !library->error || !library->bailout || !library->number ||
        !library->selectMask || !library->serve || !library->doneCommand)
        velt::misuse("each part of the client library is needed, and one is null");
    static const bool is_told = on_exit(tell_at_exit, nullptr) == 0;
    if (!is_told)
        velt::fail("there is no memory to notice the end of the process");
    opener = getpid();
    mock = new Mock(failures(), *library, book, scenario);
    return 0;
} catch (const std::exception &error) {
    failures().add(error);
    return -1;
}

IntT V_MockAnswer(const char *step)
{
    return status_of([=] { mock->answer(needed(step)); });
}

IntT V_MockReply(const char *words)
{
    return status_of([=] { mock->reply(words); });
}

IntT V_MockInitialize(IntT initCode)
{
    return success_of([=] { return mock->initialise(initCode); });
}

IntT V_MockCommand(IntT command)
{
    return success_of([=] { return mock->command(command); });
}

IntT V_MockNotify(IntT notification, V_ObjHandleT object, const char *text, IntT number)
{
    return success_of([=] { return mock->notify(notification, object, or_empty(text), number); });
}

IntT V_MockMessage(const char *message, V_ObjHandleT object1, V_ObjHandleT object2)
{
    return success_of([=] { return mock->message(or_empty(message), object1, object2); });
}

IntT V_MockDialogEvent(IntT dialog, IntT item, IntT detail)
{
    return success_of([=] { return mock->dialog_event(dialog, item, detail); });
}

IntT V_MockQuit(void)
{
    return success_of([] { return mock->quit(); });
}

IntT V_MockQueueDialogEvent(IntT dialog, IntT item, IntT detail)
{
    return status_of([=] { mock->queue({dialog, item, detail}); });
}

IntT V_MockServe(void)
{
    return status_of([] { mock->serve(); });
}

const char *V_MockCalls(const char *procedure)
{
    return text_of([=] { return mock->calls(procedure); });
}

IntT V_MockCount(const char *procedure)
{
    return with_mock<IntT>(-1, [=] { return mock->count(procedure); });
}

void V_MockForget(void)
{
    status_of([] { mock->forget(); });
}

const char *V_MockBook(void)
{
    return text_of([] { return mock->book(); });
}

const char *V_MockDocument(V_ObjHandleT document)
{
    return text_of([=] { return mock->document(document); });
}

const char *V_MockFile(const char *path)
{
    return text_of([=] { return mock->file(needed(path)); });
}

void V_MockWriteFiles(IntT writes)
{
    status_of([=] { mock->write_files(writes != 0); });
}

IntT V_MockFailures(void)
{
    return failures().count();
}

IntT V_MockClose(void)
{
    status_of([] {
        Mock *closing = mock;
        const bool in_callback = closing->in_callback();
        if (in_callback)
            failures().add("the mock is closed in a callback, or after a jump out of one; its "
                           "memory is not released");
        else
            try {
                closing->check_all_done();
            } catch (const std::exception &error) {
                failures().add(error);
            }
        // Whatever could not be checked, the next test has a mock of its own.
        closing->end();
        mock = nullptr;
        if (in_callback)
            leave_behind(closing);
        else
            delete closing;
    });
    return failures().take();
}
