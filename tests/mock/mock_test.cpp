// The host in the memory of a test: what it answers, calls and tells, and what it leaves.

#include <dirent.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <thread>

#include "support/convert.h"
#include "support/folder.h"
#include "support/heap.h"
#include "support/heap_new.h"
#include "velt/api.h"
#include "velt/mock.h"

namespace
{

// What the client does in its callbacks.
std::function<void(IntT)> on_command, on_initialise;
std::function<void(IntT, IntT, IntT)> on_event;
std::vector<std::string> heard;

constexpr const char *book = R"({"title": "Tea", "language": "deutsch", "components": [
    {"name": "Das Rätsel", "properties": [{"name": "Pages", "integer": 7}]}]})";

std::string step(const std::string &call, const std::string &rest)
{
    return R"({"call": ")" + call + "\"" + (rest.empty() ? "" : ", " + rest) + "}";
}

class Mocked : public testing::Test
{
protected:
    Mocked()
    {
        on_command = on_initialise = nullptr;
        on_event = nullptr;
        heard.clear();
        testing::internal::CaptureStderr();
    }
    ~Mocked() override
    {
        V_MockClose();
        testing::internal::GetCapturedStderr();
    }

    // What has been told since the last time.
    static std::string told()
    {
        std::string all = testing::internal::GetCapturedStderr();
        testing::internal::CaptureStderr();
        return all;
    }
};

#define EXPECT_TOLD(part)                                                                          \
    do {                                                                                           \
        const std::string all = told();                                                            \
        EXPECT_NE(all.find(part), std::string::npos) << all;                                       \
    } while (false)

} // namespace

void V_ApiInitialize(IntT code)
{
    if (on_initialise)
        on_initialise(code);
}
void V_ApiCommand(IntT command)
{
    if (on_command)
        on_command(command);
}
void V_ApiNotify(IntT notification, V_ObjHandleT object, StringT text, IntT number)
{
    heard.push_back("notified " + std::to_string(notification) + " " + std::to_string(object) +
                    " " + (text ? text : "") + " " + std::to_string(number));
}
void V_ApiMessage(StringT message, V_ObjHandleT object1, V_ObjHandleT object2)
{
    heard.push_back(std::string(message) + " " + std::to_string(object1 + object2));
}
void V_ApiDialogEvent(IntT dialog, IntT item, IntT detail)
{
    heard.push_back("event " + std::to_string(item));
    if (on_event)
        on_event(dialog, item, detail);
}

namespace
{

TEST_F(Mocked, CallsGoToTheModelAndBack)
{
    ASSERT_EQ(V_MockOpen((std::string(" \n") + book).c_str(), nullptr), 0);
    EXPECT_EQ(VA_clientno, 1);
    EXPECT_EQ(V_MockDocument(0), nullptr);
    EXPECT_EQ(V_MockDocument(4711), nullptr);
    const V_ObjHandleT active = V_ApiGetId(0, 0, V_prop_active_book);
    const V_ObjHandleT component = V_ApiGetId(0, active, V_prop_first_component);
    StringT name = V_ApiGetString(active, component, V_prop_name);
    EXPECT_STREQ(name, "Das R\x8atsel");
    V_ApiDeallocateString(&name);
    V_PropValsT all = V_ApiGetProps(active, component);
    EXPECT_GT(all.len, 1U);
    V_ApiDeallocatePropVals(&all);

    V_ApiGetInt(active, component, 4711);
    EXPECT_EQ(VA_errno, V_status_no_such_property);
    EXPECT_EQ(V_MockCount("api_vq_get_id_1"), 2);
    const std::string calls = V_MockCalls("api_vq_get_string_1");
    EXPECT_EQ(std::count(calls.begin(), calls.end(), '\n'), 1);
    EXPECT_NE(calls.find(R"("Das Rätsel")"), std::string::npos) << calls;
    EXPECT_GT(V_MockCount(nullptr), 3);
    V_MockForget();
    EXPECT_STREQ(V_MockCalls(nullptr), "");
    EXPECT_NE(std::string(V_MockBook()).find(R"("Pages")"), std::string::npos) << V_MockBook();
    EXPECT_EQ(V_MockClose(), 0) << told();
    EXPECT_EQ(velt_client, nullptr);
    EXPECT_EQ(VA_clientno, -1);
    EXPECT_EQ(VA_errno, 0);
}

TEST_F(Mocked, CallbacksRunAndHandControlBack)
{
    ASSERT_EQ(V_MockOpen(nullptr, nullptr), 0);
    IntT code = 0;
    on_initialise = [&](IntT with) {
        code = with;
        V_ApiNotification(1, 1);
        V_ApiDefineCommand(1, "One", "One", "");
        V_ApiDefineCommand(9, "Nine", "Nine", "");
    };
    EXPECT_EQ(V_MockInitialize(3), 0);
    EXPECT_EQ(code, 3);
    on_command = [](IntT command) {
        V_ApiAlert("hello", 1);
        // The host calls nobody who holds control.
        EXPECT_EQ(V_MockNotify(1, 2, "late", 3), -1);
        if (command == 9)
            V_ApiDoneCommand();
        if (command == 9)
            V_ApiUserCancel();
    };
    EXPECT_EQ(V_MockCommand(1), -1);
    EXPECT_EQ(V_MockCommand(9), -1);
    const std::string reported = told();
    EXPECT_NE(reported.find("holds control since vq_api_command_1"), std::string::npos) << reported;
    EXPECT_EQ(reported.find("note:"), std::string::npos) << reported;
    EXPECT_NE(reported.find("in vq_api_command_1, after it had handed"), std::string::npos)
        << reported;
    EXPECT_EQ(V_MockCount("api_vq_over_1"), 3);
    EXPECT_EQ(V_MockNotify(1, 2, "now", 3), 0);
    EXPECT_EQ(V_MockMessage("said", 4, 5), 0);
    EXPECT_EQ(V_MockDialogEvent(1, 6, 0), -1);
    EXPECT_EQ(heard, (std::vector<std::string>{"notified 1 2 now 3", "said 9", "event 6"}));

    // What the client has not asked for comes, and is a failure.
    EXPECT_TOLD("no dialog 1 open");
    EXPECT_EQ(V_MockNotify(2, 2, "", 3), -1);
    EXPECT_TOLD("not asked for the notification 2");
    EXPECT_EQ(V_MockCommand(2), -1);
    EXPECT_TOLD("not defined the command 2");
    EXPECT_EQ(V_MockQueueDialogEvent(4, 1, 0), 0);
    V_ApiService(nullptr);
    EXPECT_TOLD("no dialog 4 open");

    // A client may take control itself, and has to hand it back.
    EXPECT_EQ(V_ApiTakeControl(), 0);
    EXPECT_EQ(V_MockNotify(1, 2, "late", 3), -1);
    EXPECT_EQ(V_ApiDoneCommand(), 0);
    EXPECT_EQ(V_MockQuit(), 0);
    EXPECT_EQ(VA_bailout, 1);
    EXPECT_EQ(V_MockCommand(1), -1);
    EXPECT_TOLD("the client has ended");
    EXPECT_EQ(V_MockQuit(), -1);
    EXPECT_EQ(V_MockServe(), -1);
    EXPECT_EQ(V_MockClose(), 12);
    EXPECT_EQ(VA_bailout, 0);
}

TEST_F(Mocked, ADialogGetsItsEventsAndEnds)
{
    ASSERT_EQ(V_MockOpen(nullptr, nullptr), 0);
    IntT result = -1;
    on_command = [&](IntT) {
        const V_ObjHandleT dialog = V_ApiOpenResource(1, "dialog");
        result = V_ApiModalDialog(1, dialog);
    };
    on_event = [](IntT, IntT item, IntT) {
        // In its events the client may open another.
        if (item == 2)
            heard.push_back("inner " +
                            std::to_string(V_ApiModalDialog(2, V_ApiOpenResource(1, "inner"))));
    };
    for (const auto &[dialog, item, detail] :
         {std::array{1, 2, 0}, {2, 3, 0}, {0, 0, 5}, {1, 4, 0}, {0, 0, 7}})
        EXPECT_EQ(V_MockQueueDialogEvent(dialog, item, detail), 0);
    EXPECT_EQ(V_MockCommand(1), 0);
    EXPECT_EQ(heard, (std::vector<std::string>{"event 2", "event 3", "inner 5", "event 4"}));
    EXPECT_EQ(result, 7);

    // One that a function of the client opens outside of callbacks, and one that nobody ends.
    EXPECT_EQ(V_MockQueueDialogEvent(0, 0, 8), 0);
    EXPECT_EQ(V_ApiModalDialog(1, V_ApiOpenResource(1, "dialog")), 8);
    EXPECT_EQ(V_MockFailures(), 0);
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(V_MockCommand(1), -1);
        EXPECT_TOLD("waits for the end of the modal dialog 1 in vq_api_command_1");
        EXPECT_EQ(result, V_status_cancelled);
    }
    // A wait without a dialog ends as well.
    V_ApiServiceModalCallbacks();
    EXPECT_EQ(VA_bailout, 1);
    EXPECT_TOLD("nothing for it");
    EXPECT_EQ(V_MockQueueDialogEvent(1, 9, 0), 0);
    EXPECT_EQ(V_MockClose(), 4);
    EXPECT_TOLD("has not waited for the event of item 9 in dialog 1");
}

TEST_F(Mocked, AnswersAreGivenInTheirOrder)
{
    ASSERT_EQ(V_MockOpen(nullptr, nullptr), 0);
    for (const char *result : {"1", "2"})
        EXPECT_EQ(V_MockAnswer(step("api_vq_get_int_1",
                                    R"("answer": {"result": )" + std::string(result) + "}")
                                   .c_str()),
                  0);
    EXPECT_EQ(V_ApiGetInt(0, 0, 9), 1);
    EXPECT_EQ(V_ApiGetInt(0, 0, 9), 2);
    EXPECT_EQ(V_ApiGetInt(4711, 0, 9), 0);
    EXPECT_EQ(VA_errno, V_status_no_such_document);

    // The host calls in the middle of a call, in a wait, and after it; nested ones have answers
    // too.
    EXPECT_EQ(V_MockAnswer(R"({"call": "api_vq_get_strings_1",
        "before": [{"callback": "vq4_api_notify_1"}, {"callback": "vq_api_message_1", "arguments": {"message": "before"}}],
        "after": [{"callback": "vq_api_command_1", "arguments": {"command": 2},
            "steps": [{"call": "api_vq_alert_1", "arguments": {"str1": "nested"}}]}],
        "answer": {"strings": ["a", "ä"]}})"),
              0);
    V_StringsT strings = {};
    on_command = [&](IntT command) {
        if (command == 2)
            V_ApiAlert("nested", 1);
        else
            strings = V_ApiGetStrings(0, 0, 9);
        EXPECT_EQ(heard.size(), command == 2 ? 1U : 0U);
    };
    EXPECT_EQ(V_MockCommand(1), 0);
    ASSERT_EQ(strings.len, 2U);
    EXPECT_STREQ(strings.val[1], "\x8a");
    V_ApiDeallocateStrings(&strings);
    EXPECT_EQ(heard, std::vector<std::string>{"before 0"});
    EXPECT_EQ(V_MockCount("api_vq_alert_1"), 1);
    EXPECT_EQ(V_MockFailures(), 0) << told();

    // What comes after the answer to a call of the test.
    EXPECT_EQ(V_MockAnswer(R"({"call": "api_vq_alert_1",
        "after": [{"callback": "vq_api_message_1", "arguments": {"message": "after"}}]})"),
              0);
    V_ApiAlert("x", 1);
    EXPECT_EQ(heard.size(), 1U);
    EXPECT_EQ(V_MockServe(), 0);
    EXPECT_EQ(heard.back(), "after 0");

    // Failures of the connection.
    EXPECT_EQ(V_MockAnswer(step("api_vq_get_int_1", R"("answer": "none", "delay": 3600)").c_str()),
              0);
    EXPECT_EQ(V_MockAnswer(step("api_vq_get_int_1", R"("answer": "half")").c_str()), 0);
    for (int i = 0; i < 3; i++) {
        VA_errno = 0;
        EXPECT_EQ(V_ApiGetInt(0, 0, V_prop_language), 0);
        EXPECT_EQ(VA_errno, V_error_no_answer);
    }
    EXPECT_EQ(V_MockCommand(1), -1);
    EXPECT_EQ(V_MockClose(), 1) << told();
}

TEST_F(Mocked, CallsThatLeadToThemselvesComeToAnEnd)
{
    struct Case {
        int steps, at_once;
        const char *made;
    };
    constexpr const char *after = R"("after": [)", *before = R"("before": [)";
    // What the client does not hand back leads to nothing.
    constexpr const char *behind = R"("before": [{"callback": "vq4_api_notify_1"}, )";
    // So many steps lead to each other, so often each; a thousand calls are made beside the first.
    for (const auto &[steps, at_once, made] : {Case{1, 1, after},
                                               {1, 3, after},
                                               {2, 3, after},
                                               {40, 1, after},
                                               {1, 1, before},
                                               {40, 1, before},
                                               {1, 1, behind}}) {
        ASSERT_EQ(V_MockOpen(nullptr, nullptr), 0);
        on_command = [at_once = at_once](IntT command) {
            for (int i = 0; i < at_once; i++)
                V_ApiAlert(std::to_string(command).c_str(), 1);
        };
        for (int i = 0; i < steps; i++) {
            const std::string own = std::to_string(i), next = std::to_string((i + 1) % steps);
            const std::string rest =
                R"("times": "any", "arguments": {"str1": ")" + own + R"("}, )" + made +
                R"({"callback": "vq_api_command_1", "arguments": {"command": )" + next + "}}]";
            EXPECT_EQ(V_MockAnswer(step("api_vq_alert_1", rest).c_str()), 0);
        }
        EXPECT_EQ(V_MockCommand(0), -1);
        EXPECT_GT(V_MockCount("api_vq_alert_1"), 1000);
        EXPECT_LT(V_MockCount("api_vq_alert_1"), 1000 + 20);
        EXPECT_EQ(V_MockClose(), 1);
        EXPECT_TOLD(":1:1: the calls that it has the host make lead to it again");
    }
}

TEST_F(Mocked, ThePersonAnswers)
{
    ASSERT_EQ(V_MockOpen(nullptr, nullptr), 0);
    EXPECT_EQ(V_MockReply("Zürich"), 0);
    EXPECT_EQ(V_MockReply(nullptr), 0);
    EXPECT_EQ(V_MockReply("many"), 0);
    EXPECT_EQ(V_MockReply("left"), 0);
    EXPECT_EQ(V_MockReply("\xff"), -1);
    StringT text = nullptr;
    EXPECT_EQ(V_ApiPromptString(&text, "Where?", ""), 0);
    EXPECT_STREQ(text, "Z\x9frich");
    V_ApiDeallocateString(&text);
    EXPECT_EQ(V_ApiPromptString(&text, "Where?", ""), -1);
    IntT number = 0;
    EXPECT_EQ(V_ApiPromptInt(&number, "How many?", "1"), -1);
    EXPECT_TOLD("does not fit");
    EXPECT_EQ(V_MockClose(), 3);
    EXPECT_TOLD("nobody has asked for the answer \"left\"");
}

TEST_F(Mocked, MisuseIsToldWithItsPlace)
{
    EXPECT_EQ(V_MockCommand(1), -1);
    EXPECT_TOLD("mock_test.cpp:" + std::to_string(__LINE__ - 1) + ": no mock is open");
    EXPECT_EQ(V_MockClose(), 2);
    const std::pair<const char *, const char *> refused[] = {
        {"missing.json", nullptr},
        {R"({"title": 1})", nullptr},
        {nullptr, R"({"steps": [{"call": "api_vq_opne_1"}]})"},
        {nullptr, "{"},
        {nullptr, "\xff"},
    };
    EXPECT_EQ((V_MockOpenFor)(nullptr, nullptr, nullptr), -1);
    EXPECT_TOLD("one is null");
    for (const auto &[with, scenario] : refused) {
        EXPECT_EQ(V_MockOpen(with, scenario), -1);
        EXPECT_EQ(velt_client, nullptr);
        EXPECT_NE(told(), "");
    }
    EXPECT_EQ(V_MockClose(), 7);

    ASSERT_EQ(V_MockOpen(nullptr, R"({"steps": [{"call": "api_vq_get_int_1"}]})"), 0);
    EXPECT_EQ(V_MockOpen(nullptr, nullptr), -1);
    EXPECT_TOLD("a mock is open already");
    V_ApiAlert("what?", 1);
    EXPECT_EQ(VA_errno, V_error_no_answer);
    EXPECT_TOLD("mock_test.cpp:" + std::to_string(__LINE__ - 4) +
                ": client 1 (mock): nothing expects api_vq_alert_1(str1=\"what?\"");
    on_command = [](IntT) { std::thread([] { EXPECT_EQ(V_MockCommand(1), -1); }).join(); };
    EXPECT_EQ(V_MockCommand(1), -1);
    EXPECT_TOLD("another thread is in the mock");
    std::string deep(100000, '[');
    for (const char *wrong :
         {"", "{}", "[]", R"({"call": "api_vq_alert_1", "arguments": {"str": 1}})",
          R"({"callback": "vq_api_quit_1", "times": 1})", deep.c_str(), "\xff{"})
        EXPECT_EQ(V_MockAnswer(wrong), -1) << wrong;
    EXPECT_EQ(V_MockAnswer(nullptr), -1);
    EXPECT_TOLD("unknown name \"str\"; do you mean \"str1\"?");
    EXPECT_EQ(V_MockCount("api_vq_alert"), -1);
    EXPECT_TOLD("do you mean \"api_vq_alert_1\"?");
    EXPECT_EQ(V_MockCount("V_ApiAlert"), -1);
    EXPECT_TOLD("vqcall describe V_ApiAlert");
    EXPECT_EQ(V_MockCount("vq_api_command_1"), -1);
    EXPECT_TOLD("is called by the host");
    EXPECT_EQ(V_MockCalls("api"), nullptr);
    EXPECT_EQ(V_MockAnswer(step("api_vq_open_1", "").c_str()), 0);
    const std::string place = std::to_string(__LINE__ - 1);
    EXPECT_EQ(V_MockFailures(), 15);
    EXPECT_EQ(V_MockClose(), 17);
    EXPECT_TOLD("mock_test.cpp:" + place + ":1:1: api_vq_open_1: expected once, came 0 times");
}

TEST_F(Mocked, AClientMayLeaveTheSession)
{
    ASSERT_EQ(V_MockOpen(nullptr, nullptr), 0);
    on_command = [](IntT) { V_ApiDisconnectFromSession(); };
    EXPECT_EQ(V_MockCommand(1), 0);
    EXPECT_EQ(velt_client, nullptr);
    EXPECT_EQ(VA_bailout, 1);
    EXPECT_EQ(V_MockCommand(1), -1);
    EXPECT_EQ(V_MockClose(), 1);
    EXPECT_EQ(VA_bailout, 0);

    // A mock that is closed in a callback, as by a test that leaves one with a jump.
    ASSERT_EQ(V_MockOpen(nullptr, nullptr), 0);
    on_command = [](IntT) { EXPECT_EQ(V_MockClose(), 1); };
    EXPECT_EQ(V_MockCommand(1), 0);
    EXPECT_TOLD("closed in a callback");
    ASSERT_EQ(V_MockOpen(nullptr, nullptr), 0);
    on_command = nullptr;
    EXPECT_EQ(V_MockCommand(1), 0);
    EXPECT_EQ(V_MockClose(), 0);
}

// Exits with the status of a process that does this after it has opened a mock.
template <class Action>
void open_and(Action action)
{
    V_MockAt(nullptr, 3);
    (V_MockOpen)(nullptr, nullptr);
    V_MockAnswer(step("api_vq_open_1", "").c_str());
    action();
}

TEST(MockDeath, AnEndWithTheMockOpenIsToldAndIsNoSuccess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(open_and([] { std::exit(0); }), testing::ExitedWithCode(1),
                "with the mock open(.|\n)*api_vq_open_1: expected once");
    EXPECT_EXIT(open_and([] {
                    on_command = [](IntT) { std::exit(3); };
                    V_MockCommand(1);
                }),
                testing::ExitedWithCode(3),
                "mock_test.cpp:[0-9]+: the process ends in vq_api_command_1");
    // A loop that does not even heed the end of the connection.
    EXPECT_EXIT(open_and([] {
                    for (;;)
                        V_ApiUserCancel();
                }),
                testing::KilledBySignal(SIGABRT), "100000 times(.|\n)*goes on calling");
    // One that waits although it was asked to quit.
    EXPECT_EXIT(open_and([] {
                    on_command = [](IntT) {
                        for (;;)
                            V_ApiService(nullptr);
                    };
                    V_MockCommand(1);
                }),
                testing::KilledBySignal(SIGABRT),
                "in V_ApiService in vq_api_command_1(.|\n)*nothing will ever come");
    // A child has a copy, and ends as it likes.
    EXPECT_EXIT(open_and([] {
                    const pid_t child = fork();
                    if (child == 0)
                        std::exit(0);
                    int status = -1;
                    waitpid(child, &status, 0);
                    V_MockQuit();
                    V_MockClose();
                    std::exit(status);
                }),
                testing::ExitedWithCode(0), "");
}

int descriptors()
{
    DIR *all = opendir("/proc/self/fd");
    int count = 0;
    while (readdir(all))
        count++;
    closedir(all);
    return count;
}

// Has the client open the document, add the text, perhaps save it, and close it.
void write_down(const char *file, const char *text, bool saves = true)
{
    V_PropValsT options = {}, *returned = nullptr;
    const V_ObjHandleT document = V_ApiOpen(file, &options, &returned);
    const V_ObjHandleT flow = V_ApiGetId(document, document, V_prop_first_flow);
    const V_TextLocT end = {V_ApiGetId(document, flow, V_prop_first_paragraph), 0};
    V_ApiAddText(document, &end, text);
    if (saves)
        V_ApiSave(document, file, &options, &returned);
    V_ApiClose(document, V_close_losing);
}

struct MockedFiles : velt::test::InFolder {
    static constexpr const char *empty = R"({"flows": [{"paragraphs": [{"text": ""}]}]})";
};

TEST_F(MockedFiles, StayAsTheyAreUnlessTheTestWishesOtherwise)
{
    velt::test::write("page.json", empty);
    ASSERT_EQ(V_MockOpen(nullptr, nullptr), 0);
    EXPECT_EQ(V_MockFile("page.json"), nullptr);
    for (const char *each : {"twice ", "said "})
        write_down("page.json", each);
    EXPECT_NE(std::string(V_MockFile("page.json")).find("said twice"), std::string::npos);
    EXPECT_EQ(velt::test::read("page.json"), empty);
    V_MockWriteFiles(1);
    write_down("page.json", "at last");
    EXPECT_NE(velt::test::read("page.json").find("at last"), std::string::npos);
    testing::internal::CaptureStderr();
    write_down("page.json", "lost", false);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_NE(told.find(": note: client 1 (mock): lost the changes of page.json"),
              std::string::npos)
        << told;
    EXPECT_EQ(V_MockClose(), 0);
}

using MockSweep = Mocked;

TEST_F(MockSweep, MemoryThatRunsOutForGoodEndsNothing)
{
    const std::string answer = step("api_vq_open_1", "");
    on_command = [](IntT) {
        V_ApiErr("said");
        V_ApiAlert("hello", 1);
        V_ApiGetInt(0, 0, 4711);
        V_ApiServiceModalCallbacks();
    };
    bool failed = true;
    for (long n = 0; failed; n++) {
        VA_bailout = 0;
        ASSERT_EQ(V_MockOpen(book, nullptr), 0);
        heap::fail_from(n);
        V_MockReply("left");
        V_MockAnswer(answer.c_str());
        V_MockCommand(1);
        V_MockCalls("api_vq_alert");
        V_MockCalls(nullptr);
        V_MockBook();
        V_MockQuit();
        failed = heap::failed();
        heap::fail_at(-1);
        EXPECT_GT(V_MockClose(), 0);
    }
    EXPECT_TOLD("client \"mock\": said");
}

TEST_F(MockSweep, ACallThatTheHostHasNoMemoryForIsAFailure)
{
    bool failed = true;
    for (long n = 0; failed; n++) {
        ASSERT_EQ(V_MockOpen(book, nullptr), 0);
        VA_errno = 0;
        failed = heap::fails(n, [] { V_ApiAlert("hello", 1); });
        const bool is_answered = VA_errno == 0;
        EXPECT_TRUE(V_MockClose() > 0 || is_answered) << n;
    }
    EXPECT_TOLD("out of memory");
}

TEST_F(MockSweep, OneAfterTheOtherLeavesNothing)
{
    on_command = [](IntT) {
        V_ApiAlert("hello", 1);
        V_ApiModalDialog(1, V_ApiOpenResource(1, "dialog"));
    };
    long live = 0;
    int open = 0;
    for (int i = 0; i < 1000; i++) {
        ASSERT_EQ(V_MockOpen(book, nullptr), 0);
        V_MockQueueDialogEvent(0, 0, 1);
        V_MockAnswer(step("api_vq_alert_1", "").c_str());
        V_MockCommand(1);
        V_MockCalls(nullptr);
        ASSERT_EQ(V_MockClose(), 0);
        if (i == 1) { // what is allocated once is there
            live = heap::live();
            open = descriptors();
        }
    }
    EXPECT_EQ(heap::live(), live);
    EXPECT_EQ(descriptors(), open);
    EXPECT_EQ(velt_client, nullptr);
}

} // namespace
