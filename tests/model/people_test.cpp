// Calls that ask the person at the host, or concern the session and its clients. At the end,
// whether every answer was given.

#include "support/host_in_process.h"

namespace velt::host
{
namespace
{

// What a prompt returns and stores.
template <class T>
std::string stored(auto prompt)
{
    T answer{};
    const std::string returned = told(prompt(&answer));
    return returned + told(answer);
}

// The question as the person gets it.
std::string shown(const Question &asked)
{
    std::string text = asked.text + "|" + asked.suggestion + "|" + std::to_string(asked.detail);
    for (const std::string &item : asked.items)
        text += "|" + item;
    return text;
}

StringT item_array[] = {str("first"), str("second")};
constexpr V_StringsT items{2, item_array};

using People = HostInProcess;

TEST_F(People, QuestionsComeWithTheirAnswers)
{
    const UIntT book = V_ApiNewNamedObject(0, V_type_book, "");
    const UIntT object = V_ApiNewNamedObject(book, 77, "");
    const struct {
        Question::Kind kind;
        const char *shown;
        Reply reply;
        std::string answered, cancelled;
        IntT status; // of a prompt that was cancelled
        std::function<std::string()> call;
    } rows[] = {
/* clang-format off */
#define ASKS(kind, text, reply, answered, cancelled, status, ...) \
    {Question::kind, text, reply, answered, cancelled, status, [=] { return __VA_ARGS__; }}
#define STORES(kind, text, reply, type, answered, ...) \
    ASKS(kind, text, reply, "0 " answered, "-1 " + told(type{}), ok, \
         stored<type>([](type *answer) { return __VA_ARGS__; }))
        ASKS(alert, "q|0|2", IntT{5}, "5 ", "-1 ", ok, told(V_ApiAlert("q", 2))),
        STORES(integer, "q|s|0", IntT{-7}, IntT, "-7 ", V_ApiPromptInt(answer, "q", "s")),
        STORES(length, "q|s|9", IntT{65536}, MetricT, "65536 ", V_ApiPromptMetric(answer, "q", "s", 9)),
        STORES(string, "q|s|0", std::string("a\x83"), StringT, "a\x83", V_ApiPromptString(answer, "q", "s")),
        STORES(file, "q|s|0", std::string("f"), StringT, "f", V_ApiChooseFile(answer, "q", "s", "", 1, "")),
        STORES(file, "q|s|0", std::string("f"), StringT, "f", oldV_ApiChooseFile(answer, "q", "s", "", 1)),
        STORES(file, "q|s|0", std::string("f"), StringT, "f", V_ApiFileScrollBox(answer, "q", "s")),
        STORES(scroll_box, "q||0|first|second", IntT{1}, IntT, "1 ", V_ApiScrollBox(answer, "q", &items, 0)),
        ASKS(quick_select, "q||0|first|second", IntT{1}, "1 ", "-1 ", cancelled, told(V_ApiQuickSelect(book, "q", &items))),
        ASKS(point, "||0", (V_PointT{1, 2}), tell(V_PointT{1, 2}), tell(V_PointT{}), cancelled, told(V_ApiPromptPoint(book, object, 3))),
        ASKS(rectangle, "||0", (RectT{1, 2, 3, 4}), tell(RectT{1, 2, 3, 4}), tell(RectT{}), cancelled, told(V_ApiPromptRect(book, object, 3))),
        /* clang-format on */
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.kind);
        person.replies = {row.reply};
        EXPECT_CALL(ok, row.answered, row.call());
        EXPECT_CALL(row.status, row.cancelled, row.call());
        for (const Question &asked : person.questions) {
            EXPECT_EQ(asked.kind, row.kind);
            EXPECT_EQ(asked.client, 1);
            EXPECT_EQ(shown(asked), row.shown);
        }
        person.questions.clear();
    }
    const V_StringsT none{};
    EXPECT_STATUS(bad_value, V_ApiQuickSelect(book, "nothing to choose", &none));
    EXPECT_TRUE(person.questions.empty());
}

TEST_F(People, DialogsAreMadeWhenOpened)
{
    const UIntT dialog = V_ApiOpenResource(1, "Box");
    const UIntT item = V_ApiDialogItemId(dialog, 3);
    EXPECT_CALL(ok, dialog, V_ApiOpenResource(1, "Box"));
    EXPECT_CALL(ok, item, V_ApiDialogItemId(dialog, 3));
    EXPECT_CALL(ok, 3, V_ApiGetInt(0, item, V_prop_item_number));
    V_ApiDelete(0, item);
    EXPECT_CALL(ok, item + 1, V_ApiDialogItemId(dialog, 3));
    EXPECT_CALL(bad_value, 0, V_ApiOpenResource(1, ""));
    EXPECT_CALL(wrong_kind, 0, V_ApiDialogItemId(item + 1, 3));
    EXPECT_CALL(ok, 0, V_ApiModelessDialog(7, dialog));
    EXPECT_CALL(ok, wrong_kind, V_ApiModelessDialog(7, item + 1));
    EXPECT_CALL(ok, 0, V_ApiModalDialog(0, dialog));
    EXPECT_CALL(ok, no_such_object, V_ApiModalDialog(0, 4711));
    calls.client.number = 2;
    EXPECT_NE(V_ApiOpenResource(1, "Box"), dialog) << "another client's";
}

TEST_F(People, TheSessionKnowsItsClients)
{
    EXPECT_CALL(ok, 1, V_ApiClientNumber());
    EXPECT_CALL(ok, "tester", V_ApiClientName());
    EXPECT_CALL(ok, 0, V_ApiSetClientDir("/some where"));
    EXPECT_CALL(ok, "/some where", V_ApiClientDir());
    EXPECT_CALL(ok, 0, V_ApiReturnValue(-3));
    EXPECT_EQ(calls.client.return_value, -3);
    EXPECT_CALL(no_such_object, 0, V_ApiCallClient("nobody", "hello"));
    for (const bool wanted : {true, false}) {
        EXPECT_CALL(ok, 0, V_ApiNotification(7, wanted));
        EXPECT_EQ(model.subscribed(1, 7), wanted);
        EXPECT_FALSE(model.subscribed(2, 7));
    }
    EXPECT_CALL(ok, 0, V_Progress(42));
    EXPECT_EQ(person.percent, 42);
    EXPECT_CALL(ok, 0, V_ApiSleep(0));
    EXPECT_CALL(ok, 0, V_ApiUSleep(1));
    host.cancel();
    for (const IntT told : {1, 0})
        EXPECT_CALL(ok, told, V_ApiUserCancel());
    IntT nothing = 0;
    EXPECT_EQ(*api_vq_disconnect_from_session_1(&nothing, velt_client), ok);
    EXPECT_TRUE(calls.client.leaving);
}

// The procedures with an answer.
std::map<rpcproc_t, const char *> answers()
{
    return {
#define V_ANSWER(stub) {procedure::stub::number, #stub},
#include "velt/tables/answers.def"
    };
}

TEST_F(People, TheRestIsNotSupported)
{
    const auto known = answers();
    for (const Procedure &each : host_procedures()) {
        Message argument(each.argument), result(each.result);
        const IntT *status = each.result.status(result.address());
        if (known.contains(each.number) || !status)
            continue;
        EXPECT_EQ(clnt_call(velt_client, each.number, argument.routine(), argument.address(),
                            result.routine(), result.address(), {}),
                  RPC_SUCCESS);
        EXPECT_EQ(*status, not_supported) << each.name;
    }
}

// These need the process of a client: host/server_test.cpp has it.
constexpr rpcproc_t of_processes[] = {procedure::api_vq_call_client_1::number,
                                      procedure::api_vq_system_shell_1::number,
                                      procedure::api_vq_fork_and_exec_1::number};

// After all tests, unless only some were wanted.
class EveryAnswerWasGiven : public testing::Environment
{
    void TearDown() override
    {
        if (testing::GTEST_FLAG(filter) != "*")
            return;
        for (const auto &[number, name] : answers())
            EXPECT_NE(LibraryCalls::answered.contains(number),
                      std::ranges::count(of_processes, number) == 1)
                << name << " was never called with success";
    }
};
const auto *const every_answer = testing::AddGlobalTestEnvironment(new EveryAnswerWasGiven);

} // namespace
} // namespace velt::host
