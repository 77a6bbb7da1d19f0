#include "mock/mock.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>

#include "common/error.h"
#include "common/nearest.h"
#include "host/files/document.h"
#include "host/values/status.h"

namespace velt::mock
{
namespace
{

using namespace host;

// What the host knows the client's connection by; no process has such a descriptor.
constexpr int client_descriptor = -2;
// A turn of this number is the test's, which calls the client's functions outside of all
// callbacks.
constexpr UIntT test_turn = 0;
// Initialised with this code, a client has defined its commands in an earlier process, and they are
// kept.
constexpr IntT keeps_commands = 2;

// A client that has made so many calls at once does not come to an end. When it goes on as
// often without a connection, nothing else ends it than the end of the process.
constexpr unsigned most_calls = 100'000;

// And so many waits, of which each would have ended a modal dialog.
constexpr unsigned most_waits = 1000;

constexpr const char *client_name = "mock";

constexpr const char *empty_book = R"({"title": "Mock", "components": []})";

std::ostream nowhere(nullptr);

bool is_text(const char *given)
{
    return given[std::strspn(given, " \t\r\n")] == '{';
}

// The host's own failures are the mock's.
Options options_of(TraceSink trace, Failures &failures)
{
    Options options;
    options.in_process = true;
    options.trace = std::move(trace);
    options.host_failed = [&failures](const std::exception_ptr &why) {
        try {
            std::rethrow_exception(why);
        } catch (const std::exception &error) {
            failures.add(error);
        }
    };
    return options;
}

std::string name_of(rpcproc_t number)
{
    const Procedure *procedure = find_procedure(host_procedures(), number);
    return procedure ? std::string(procedure->name) : "procedure " + std::to_string(number);
}

void need_procedure(std::string_view name)
{
    const auto all = host_procedures();
    if (std::ranges::find(all, name, &Procedure::name) != all.end())
        return;
    Nearest nearest(name);
    for (const Procedure &each : all)
        nearest.consider(each.name);
    const auto callbacks = client_procedures();
    if (std::ranges::find(callbacks, name, &Procedure::name) != callbacks.end())
        misuse(in_quotes(name) + " is called by the host; calls of the client are counted");
    misuse("no procedure is called " + in_quotes(name) +
           hint_of_call(name).value_or(nearest.hint()));
}

} // namespace

void Failures::tell(const char *mark, const char *what) const noexcept
try {
    const std::string told =
        std::string(what).starts_with(place()) ? what : place() + ": " + mark + what;
    std::fputs((printable_lines(told) + "\n").c_str(), stderr);
} catch (const std::exception &) {
    std::fprintf(stderr, "%s:%d: %s", file_, line_, mark);
    for (; *what; what++)
        std::fputc(static_cast<unsigned char>(*what) < ' ' ? ' ' : *what, stderr);
    std::fputc('\n', stderr);
}

void Failures::add(const std::exception &error) noexcept
{
    const bool is_memory = dynamic_cast<const std::bad_alloc *>(&error);
    count_++;
    tell("", is_memory ? "out of memory" : error.what());
}

Person::Person(Failures &failures) : PrintingConsole(nowhere, nowhere), failures_(failures) {}

void Person::report(const std::string &line)
{
    if (reports)
        reports->push_back(line);
    else
        failures_.note(line);
}

Reply Person::ask(const Question &question)
{
    Reply reply = PrintingConsole::ask(question);
    questions.clear();
    alerts.clear();
    try {
        check();
    } catch (const Error &misfit) {
        failures_.add(misfit.what());
    }
    return reply;
}

Mock::Library::Library(const V_MockLibraryT &of)
    : V_MockLibraryT(of), client_before_(*client), error_before_(*error), bailout_before_(*bailout),
      number_before_(*number), mask_before_(*selectMask)
{
}

void Mock::Library::restore() const
{
    *client = client_before_;
    *error = error_before_;
    *bailout = bailout_before_;
    *number = number_before_;
    *selectMask = mask_before_;
}

Mock::Mock(Failures &failures, const V_MockLibraryT &library, const char *book,
           const char *scenario)
    : failures_(failures), library_(library), file_(book && !is_text(book) ? book : ""),
      book_(load(book)), text_(model_.language()),
      to_host_(client_descriptor,
               {.serve = [this](svc_req &each) { serve_client(each); },
                .ended = [this] { lost_ = client_->leaving = true; },
                .wait = [this] { return wait(); },
                .name = client_name,
                .ignored =
                    [this] {
                        if (++calls_at_once_ > 2 * most_calls)
                            give_up(
                                "goes on calling without a connection, and ends here (ask VA_errno "
                                "behind each call, and end the loop when that is set)");
                    },
                .failed = [this](const std::bad_alloc &error) { failures_.add(error); }}),
      to_client_(client_descriptor,
                 {.serve = [this](svc_req &each) { serve_host(each); },
                  .failed = [this](const std::bad_alloc &error) { failures_.add(error); }}),
      host_(options_of([this](const TraceEvent &event) { note(event); }, failures_), player_,
            person_)
{
    person_.text.emplace(model_.language());
    documents_.set_book(book_, file_);
    write_files(false);
    documents_.ask = [this](const Question &question) { return host_.ask(question); };
    documents_.announcer.set_host(&host_);
    const IntT language = model_.language();
    if (!scenario)
        player_.add(parse_scenario(R"({"others": "model", "steps": []})", "", language));
    else if (is_text(scenario))
        player_.add(parse_scenario(scenario, "scenario", language));
    else
        player_.add(read_scenario(scenario, language));

    client_ = &host_.adopt(1, client_name, to_client_.handle(), client_descriptor);
    *library_.client = to_host_.handle();
    *library_.error = 0;
    *library_.bailout = 0;
    *library_.number = client_->number;
}

UIntT Mock::load(const char *book)
{
    if (book && !is_text(book))
        return file_.load(model_);
    return read_book(book ? book : empty_book, "book", model_);
}

void Mock::check_all_done()
{
    end_test_turn();
    serve_due();
    check_expectations();
}

void Mock::check_at_exit()
{
    failures_.add(callback_ ? "the process ends in " + std::string(callback_->name) +
                                  ", from which the client has to return"
                            : "the process ends with the mock open; V_MockClose closes it, and "
                              "tells what has failed");
    check_expectations();
}

void Mock::check_expectations()
{
    for (const std::string &each : player_.failures())
        failures_.add(each);
    for (const Prepared &each : person_.answers)
        failures_.add("nobody has asked for the answer \"" + each.words + "\"");
    for (const VqApiDialogEventArgT &each : events_)
        failures_.add("the client has not waited for the event of item " +
                      std::to_string(each.item) + " in dialog " + std::to_string(each.dialog));
}

void Mock::end()
{
    // A client that has left the session has a handle no more.
    if (*library_.client == to_host_.handle())
        library_.doneCommand();
    host_.end();
    library_.restore();
}

void Mock::answer(const char *step)
{
    player_.queue(parse_step(step, failures_.place(), model_.language()));
}

void Mock::reply(const char *words)
{
    const bool cancels = words == nullptr;
    if (!cancels)
        text_.from_utf8(words);
    person_.prepare({{cancels ? "cancel" : words, !cancels}});
}

// The sink of the trace.
void Mock::note(const TraceEvent &event) noexcept
try {
    player_.observe(event);
    if (event.direction != Direction::to_host)
        return;
    const bool unread = is_bytes(event.arguments.shape), raw = is_bytes(event.result.shape);
    const Procedure *procedure = unread || raw
                                     ? &as_bytes(host_procedures(), event.number, unread, raw)
                                     : find_procedure(host_procedures(), event.number);
    Recorded recorded{event, procedure, {}, {}};
    if (event.arguments.shape)
        recorded.arguments = encoded(procedure->argument, event.arguments.value);
    if (event.result.shape)
        recorded.result = encoded(procedure->result, event.result.value);
    using namespace procedure;
    // The number comes first in all three.
    if (event.arguments.shape && (event.number == api_vq_define_command_1::number ||
                                  event.number == api_vq_define_and_add_command_1::number ||
                                  event.number == api_vq_add_command_1::number))
        defined_.insert(*static_cast<const IntT *>(event.arguments.value));
    calls_.push_back(std::move(recorded));
} catch (const std::exception &error) {
    failures_.add(error);
}

std::string Mock::json_of(const Recorded &call) const
{
    const auto decode = [](Message &into, const std::string &bytes) {
        XDR xdrs;
        xdrmem_create(&xdrs, const_cast<char *>(bytes.data()), static_cast<u_int>(bytes.size()),
                      XDR_DECODE);
        if (!into.routine()(&xdrs, into.address()))
            throw std::bad_alloc();
    };
    Message argument(call.procedure->argument), result(call.procedure->result);
    TraceEvent event = call.event;
    if (event.arguments.shape) {
        decode(argument, call.arguments);
        event.arguments.value = argument.address();
    }
    if (event.result.shape) {
        decode(result, call.result);
        event.result.value = result.address();
    }
    return trace_json(event, text_);
}

const char *Mock::calls(const char *procedure)
{
    if (procedure)
        need_procedure(procedure);
    std::string told;
    for (const Recorded &each : calls_)
        if (!procedure || each.event.procedure == procedure)
            told += json_of(each) + "\n";
    told_calls_ = std::move(told);
    return told_calls_.c_str();
}

IntT Mock::count(const char *procedure) const
{
    if (!procedure)
        return static_cast<IntT>(calls_.size());
    need_procedure(procedure);
    return static_cast<IntT>(std::ranges::count_if(
        calls_, [&](const Recorded &each) { return each.event.procedure == procedure; }));
}

const char *Mock::book()
{
    told_book_ = write_book(model_, book_);
    return told_book_.c_str();
}

const char *Mock::document(UIntT id)
{
    const UIntT wanted = id != 0 ? id : model_.active_document();
    if (std::ranges::count(model_.members(0), wanted) == 0)
        return nullptr;
    told_document_ = write_document(model_, wanted);
    return told_document_.c_str();
}

const char *Mock::file(const char *path) const
{
    const std::string *text = kept_.find(path);
    return text ? text->c_str() : nullptr;
}

void Mock::serve_client(svc_req &request)
{
    using namespace procedure;
    if (++calls_at_once_ == most_calls) {
        failures_.add("the client has called the host " + std::to_string(most_calls) +
                      " times at once, and does not end; its connection does");
        SVC_DESTROY(request.rq_xprt);
        return;
    }
    const bool takes = request.rq_proc == api_vq_take_control_1::number;
    if (takes)
        end_test_turn();
    else if (request.rq_proc != api_vq_over_1::number) {
        idle_ = 0;
        if (callback_ && client_->turns.is_new_breach())
            failures_.add(client_->title() + ": has called " + name_of(request.rq_proc) + " in " +
                          std::string(callback_->name) + ", after it had handed control back");
        if (client_->turns.empty())
            client_->turns.begin("a call of the test", test_turn);
    }
    host_.dispatch(&request, request.rq_xprt);
    for (const std::string &each : player_.take_misses())
        failures_.add(each);
}

void Mock::serve_host(svc_req &request)
{
    // The client serves nobody before it has its answer.
    if (client_->being_answered) {
        pending_.push_back({request.rq_proc, MemoryLink::arguments(request)});
        return;
    }
    struct Within {
        Mock &mock;
        const Procedure *around;
        std::vector<std::string> *reports;
        Within(Mock &of, rpcproc_t procedure)
            : mock(of), around(of.callback_), reports(std::exchange(of.person_.reports, nullptr))
        {
            mock.depth_++;
            mock.callback_ = find_procedure(client_procedures(), procedure);
        }
        ~Within()
        {
            mock.depth_--;
            mock.callback_ = around;
            mock.person_.reports = reports;
        }
    };
    delivered_++;
    const Within within(*this, request.rq_proc);
    try {
        library_.serve(&request, request.rq_xprt);
    } catch (const std::exception &error) {
        fail("an exception has left " + std::string(callback_->name) + ": " + reason_of(error));
    }
    // It cannot hand control back.
    while (lost_ && client_->turns.break_off()) {
    }
}

void Mock::end_test_turn()
{
    Turns &turns = client_->turns;
    if (turns.client_holds_control() && turns.innermost().number == test_turn)
        turns.hand_back();
}

void Mock::need_client() const
{
    if (lost_ || !client_->running() || client_->is_going())
        fail(client_->title() + ": the client has ended");
}

void Mock::give_up(const char *why) noexcept
{
    failures_.add(why);
    std::abort();
}

std::string Mock::in_which_callback() const
{
    return callback_ ? " in " + std::string(callback_->name) : "";
}

void Mock::serve()
{
    end_test_turn();
    need_client();
    serve_due();
    idle_ = 0;
}

void Mock::serve_due()
{
    while (!pending_.empty() && !client_->being_answered &&
           !client_->turns.client_holds_control()) {
        const Pending next = std::move(pending_.front());
        pending_.pop_front();
        const Procedure &procedure = *find_procedure(client_procedures(), next.procedure);
        // These two do not end with control handed back.
        if (procedure.number != callback::vq_api_quit_1::number &&
            procedure.number != callback::vq4_api_notify_1::number)
            client_->turns.begin(procedure.name, static_cast<UIntT>(procedure.number));
        to_client_.send(next.procedure, next.arguments);
    }
    host_.serve_pending();
    for (const std::string &each : player_.take_misses())
        failures_.add(each);
}

bool Mock::wait() noexcept
{
    try {
        if (serve_wait()) {
            idle_ = 0;
            return true;
        }
    } catch (const std::exception &error) {
        failures_.add(error);
    }
    if (++idle_ == most_waits)
        give_up("the client waits on in V_ApiService, and nothing will ever come: the process ends "
                "here (end the loop when VA_bailout is set, or queue what ends it by "
                "V_MockQueueDialogEvent, or as a callback \"before\" the answer to a call)");
    try {
        end_wait();
    } catch (const std::exception &error) {
        failures_.add(error);
    }
    return true;
}

bool Mock::serve_wait()
{
    end_test_turn();
    const unsigned before = delivered_;
    serve_due();
    if (delivered_ == before && !events_.empty() && !client_->turns.client_holds_control()) {
        const VqApiDialogEventArgT event = events_.front();
        events_.pop_front();
        check_is_open(event.dialog);
        host_.dialog_event(*client_, event.dialog, event.item, event.detail);
    }
    return delivered_ != before;
}

void Mock::end_wait()
{
    const ModalWait *modal = client_->turns.modal_wait();
    if (modal && idle_ == 1) {
        failures_.add("the client waits for the end of the modal dialog " +
                      std::to_string(modal->number) + in_which_callback() +
                      ", and no event is left for it (V_MockQueueDialogEvent): it is cancelled");
        host_.dialog_event(*client_, 0, 0, cancelled);
    } else if (!modal && !std::exchange(is_to_quit_, true)) {
        to_client_.send(callback::vq_api_quit_1::number, {});
        failures_.add("the client waits in V_ApiService" + in_which_callback() +
                      " for the host, which has nothing for it "
                      "(V_MockQueueDialogEvent queues calls): it is to quit");
    } else {
        // It waits for the end of a dialog that the host knows nothing of, or has no memory for.
        const Procedure &procedure =
            *find_procedure(client_procedures(), callback::vq_api_dialog_event_1::number);
        VqApiDialogEventArgT end{0, 0, cancelled};
        try {
            client_->turns.begin(procedure.name, static_cast<UIntT>(procedure.number), modal);
        } catch (const std::bad_alloc &) {
        }
        to_client_.send(procedure.number, encoded(procedure.argument, &end));
    }
}

void Mock::check_is_open(IntT dialog)
{
    const std::vector<ModalWait> modal = client_->turns.modal_waits();
    if (initialised_ && dialog != 0 && !client_->modeless.contains(dialog) &&
        std::ranges::find(modal, dialog, &ModalWait::number) == modal.end())
        failures_.add("the client has no dialog " + std::to_string(dialog) + " open");
}

// Keeps what the host reports while it calls the client until it is known what of it is the
// failure.
class Mock::Reported
{
public:
    explicit Reported(Mock &mock)
        : mock_(mock), around_(std::exchange(mock.person_.reports, &reports_))
    {
    }
    Reported(const Reported &) = delete;
    Reported &operator=(const Reported &) = delete;
    ~Reported()
    {
        mock_.person_.reports = around_;
        for (const std::string &each : reports_)
            if (each != failure)
                mock_.failures_.note(each);
    }

    std::string failure;

private:
    Mock &mock_;
    std::vector<std::string> reports_, *around_;
};

template <class Action>
bool Mock::call(Action action)
{
    end_test_turn();
    serve_due();
    const bool was_lost = lost_;
    Outcome outcome;
    {
        Reported reported(*this);
        outcome = action();
        if (!outcome)
            reported.failure = outcome.text;
    }
    if (!outcome && lost_ == was_lost)
        failures_.add(outcome.text);
    serve_due();
    idle_ = 0;
    return static_cast<bool>(outcome);
}

bool Mock::initialise(IntT code)
{
    defines_commands_ = code != keeps_commands;
    initialised_ = true;
    return call([&] { return host_.initialise(*client_, code); });
}

bool Mock::command(IntT number)
{
    if (defines_commands_ && !defined_.contains(number))
        failures_.add("the client has not defined the command " + std::to_string(number));
    return call([&] { return host_.command(*client_, number); });
}

bool Mock::notify(IntT notification, UIntT object, const std::string &text, IntT number)
{
    if (initialised_ && !model_.subscribed(client_->number, notification))
        failures_.add("the client has not asked for the notification " +
                      std::to_string(notification));
    return call([&] { return host_.notify(*client_, notification, object, text, number); });
}

bool Mock::message(const std::string &text, UIntT object1, UIntT object2)
{
    return call([&] { return host_.message(*client_, text, object1, object2); });
}

bool Mock::dialog_event(IntT dialog, IntT item, IntT detail)
{
    check_is_open(dialog);
    return call([&] { return host_.dialog_event(*client_, dialog, item, detail); });
}

bool Mock::quit()
{
    end_test_turn();
    need_client();
    return call([&] { return host_.quit(*client_); });
}

} // namespace velt::mock
