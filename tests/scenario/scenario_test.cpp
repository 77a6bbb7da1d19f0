// Scenarios in the process of the test: what calls are answered, and what is told of those that
// were not expected, or have not come.

#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

#include "common/replace_file.h"
#include "host/json/writer.h"
#include "host/scenario/pattern.h"
#include "host/scenario/player.h"
#include "host/scenario/recorder.h"
#include "support/host_in_process.h"

namespace velt::host
{
namespace
{

class Scenarios : public HostInProcess
{
protected:
    const SessionText text{V_language_usenglish};
    ScenarioPlayer player{responder, text};
    LibraryCalls played{host, player};

    void add(const std::string &json)
    {
        player.add(parse_scenario(json, "s", V_language_usenglish));
    }
    std::string failures()
    {
        std::string all;
        for (const std::string &each : player.failures())
            all += each + "\n";
        return all;
    }
};

TEST_F(Scenarios, StepsAnswerTheCallsThatTheyFit)
{
    add(R"({"others": "model", "steps": [
{"call": "api_vq_get_int_1", "arguments": {"propIdent": {"num": 3}}, "answer": {"result": 7}},
{"call": "api_vq_get_int_1", "arguments": {"propIdent": {"num": 3}}, "answer": {"result": 8}},
{"call": "api_vq_get_int_1", "nth": 2, "answer": {"status": "no-such-object"}},
{"call": "api_vq_get_int_1", "answer": {"status": -1}},
{"call": "api_vq_get_int_1", "answer": {"status": -1}},
{"call": "api_vq_get_strings_1", "answer": {"strings": ["a", "\u00c4"]}},
{"call": "api_vq_get_val_1", "answer": {"typedVal": {"valType": 3, "stringVal": "x"}}},
{"call": "api_vq_alert_1", "arguments": {"str1": "\u00c4"}, "answer": "error"},
{"call": "api_vq_close_1", "answer": "not-permitted"},
{"call": "api_client_name_1", "answer": "Me"}]})");
    EXPECT_CALL(ok, 7, V_ApiGetInt(0, 0, 3));
    EXPECT_CALL(-1, 0, V_ApiGetInt(0, 0, 4));
    EXPECT_CALL(ok, 8, V_ApiGetInt(0, 1, 3));
    EXPECT_CALL(no_such_object, 0, V_ApiGetInt(0, 0, 4));
    EXPECT_EQ(V_ApiClose(0, 0), not_permitted);
    EXPECT_CALL(-1, 0, V_ApiGetInt(0, 0, 3));
    StringT strings[] = {str("a"), str("\x80")};
    EXPECT_CALL(ok, (V_StringsT{2, strings}), V_ApiGetStrings(0, 0, 9));
    EXPECT_CALL(ok, string("x"), V_ApiGetVal(0, 0, 9));
    EXPECT_STATUS(-1, V_ApiAlert(str("\x80"), 1));
    EXPECT_CALL(ok, "Me", V_ApiClientName());
    EXPECT_CALL(no_such_document, 0, V_ApiGetInt(4711, 0, 3)); // they are used up
    EXPECT_EQ(failures(), "");

    // A later scenario comes first.
    add(R"({"format": 1.0, "steps": [{"call": "*", "times": "any", "answer": "close"}]})");
    EXPECT_STATUS(-1, V_ApiAlert(str("\x80"), 1));
}

TEST_F(Scenarios, ExpectationsHoldWhereTheModelAnswersTheRest)
{
    add(R"({"$schema": "scenario.schema.json", "others": "model", "order": "file", "steps": [
{"call": "api_vq_alert_1", "arguments": {"str1": {"contains": "a"}}},
{"call": "api_vq_get_int_1", "arguments": {"propIdent": {"num": 3}}, "times": 1},
{"call": "api_vq_get_id_1", "times": 0}]})");
    EXPECT_STATUS(no_such_document, V_ApiGetInt(4711, 0, 3));
    EXPECT_EQ(failures(), "s:2:1: api_vq_alert_1: expected once, came 0 times\n"
                          "s:3:1: api_vq_get_int_1: expected once, came 0 times; "
                          "it came before its turn\n");
    EXPECT_STATUS(ok, V_ApiAlert(str("b"), 1));
    EXPECT_EQ(
        failures().substr(0, 162),
        R"(s:2:1: api_vq_alert_1: expected once, came 0 times; the nearest call that came differs in
    str1:
      is       "b"
      expected {"contains":"a"}
s:3:1: api_)");
    // A step without an answer changes nothing for the client.
    EXPECT_STATUS(ok, V_ApiAlert(str("say"), 1));
    for (int i = 0; i < 2; i++)
        EXPECT_STATUS(no_such_document, V_ApiGetInt(4711, 0, 3));
    EXPECT_STATUS(no_such_document, V_ApiGetId(4711, 0, 3));
    EXPECT_EQ(
        failures(),
        R"(client 1 (tester): nothing expects api_vq_get_int_1(docId=4711, objId=0, propIdent={num=3})
  s:3:1: expected once, came once
client 1 (tester): nothing expects api_vq_get_id_1(docId=4711, objId=0, propIdent={num=3})
  s:4:1: must not come here
)");
}

TEST_F(Scenarios, WhatIsNotExpectedOrDoesNotComeIsTold)
{
    add(R"({"order": "file", "steps": [
{"call": "api_vq_get_int_1", "arguments": {"docId": 1, "propIdent": {"num": 3}}},
{"call": "api_vq_alert_1", "times": [0, 1]},
{"call": "api_vq_set_int_1"},
{"call": "*", "times": 0}]})");
    EXPECT_STATUS(-1, V_ApiAlert(str("early"), 1));
    EXPECT_STATUS(-1, V_ApiGetInt(2, 0, 5));
    EXPECT_STATUS(-1, V_ApiGetId(0, 0, 5));
    EXPECT_STATUS(ok, V_ApiGetInt(1, 0, 3));
    EXPECT_STATUS(ok, V_ApiAlert(str("in time"), 1));
    EXPECT_EQ(failures(), R"(client 1 (tester): nothing expects api_vq_alert_1(str1="early", int2=1)
  s:3:1: expected 0 to 1 times, came 0 times; it comes before its turn
client 1 (tester): nothing expects api_vq_get_int_1(docId=2, objId=0, propIdent={num=5})
  s:2:1: expected once, came 0 times; it is the nearest, and differs in
    docId:
      is       2
      expected 1
    propIdent.num:
      is       5
      expected 3
client 1 (tester): nothing expects api_vq_get_id_1(docId=0, objId=0, propIdent={num=5})
  no call of this procedure is expected here; do you mean "api_vq_get_int_1"?
  s:5:1: any call: must not come here
s:4:1: api_vq_set_int_1: expected once, came 0 times
)");
}

TEST_F(Scenarios, ACallOfTheHostWithOtherArgumentsIsTold)
{
    add(R"({"steps": [{"callback": "vq_api_command_1", "arguments": {"command": 9}}]})");
    VqApiCommandArgT chosen = {.command = 1};
    TraceEvent event = {};
    event.direction = Direction::to_client;
    event.number = callback::vq_api_command_1::number;
    event.arguments = {&shape_of<VqApiCommandArgT>, &chosen};
    player.observe(event);
    EXPECT_EQ(
        failures(),
        R"(s:1:12: the host has not called vq_api_command_1; the nearest call that came differs in
    command:
      is       1
      expected 9
)");
}

TEST_F(Scenarios, WhatIsNotHandedBackIsNotWhatTheClientEndsIn)
{
    add(R"({"steps": [{"callback": "vq4_api_notify_1"}]})");
    TraceEvent event = {};
    event.direction = Direction::to_client;
    event.number = callback::vq4_api_notify_1::number;
    player.observe(event);
    event.direction = Direction::from_client;
    event.number = callback::vq_api_quit_1::number;
    event.outcome = "exited with status 0";
    player.observe(event);
    EXPECT_EQ(failures(), "");
}

// Programs that read JSON read a recording whole. What somebody has removed from it is told.
TEST_F(Scenarios, ARecordingIsJson)
{
    Recorder recorder(OutputFile("recorded"), text, {});
    recorder.begin(V_language_usenglish);
    TraceEvent event = {};
    event.direction = Direction::from_client;
    for (int i = 0; i < 2; i++)
        recorder.write(event);
    recorder.end();
    recorder.check();
    recorder.check_place();
    JsonNode root;
    EXPECT_TRUE(parse_json(test::read("recorded"), root).empty());
    EXPECT_EQ(root.member("recorded")->members.size(), 2U);
    ASSERT_EQ(truncate("recorded", 9), 0);
    EXPECT_THROW(recorder.check_place(), std::runtime_error);
}

// What there is no room for at the very end is told, too.
TEST_F(Scenarios, ARecordingWithoutItsEndIsNotComplete)
{
    Recorder recorder(OutputFile("full"), text, {});
    recorder.begin(V_language_usenglish);
    recorder.write({});
    survive_file_size_limit();
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit all_used = {std::filesystem::file_size("full"), before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &all_used), 0);
    recorder.end();
    EXPECT_THROW(recorder.check(), std::runtime_error);
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
}

// What could not be read is not written: a time before the beginning, where a clock was set back,
// or a line that is too long, before which the recording is cut off.
TEST_F(Scenarios, WhatIsRecordedCanBeRead)
{
    struct Shortened {
        std::size_t before = std::exchange(longest_line, 1000);
        ~Shortened() { longest_line = before; }
    } shortened;
    Recorder recorder(OutputFile("cut"), text, {});
    recorder.begin(V_language_usenglish);
    TraceEvent event = {};
    event.direction = Direction::from_client;
    recorder.write(event);                          // in 1970
    const std::string name(longest_line / 6, '\1'); // each character takes six
    event.client_name = name;
    recorder.write(event);
    event.client_name = "";
    recorder.write(event);
    recorder.end();
    EXPECT_THROW(recorder.check(), std::runtime_error);
    Recording recording("cut");
    EXPECT_TRUE(recording.next());
    EXPECT_FALSE(recording.next());
    EXPECT_TRUE(recording.cut_off());
}

TEST(Redactions, WhatIsScrubbedIsReplacedInLongerTextsOrTold)
{
    const SessionText text{V_language_usenglish};
    Redaction redaction({{}, {"result"}}, Redaction::Texts::new_ones);
    const auto written = [&](std::string_view name, const std::string &json, bool is_answer) {
        const auto found = std::ranges::find(host_procedures(), name, &Procedure::name);
        const MessageType &type = is_answer ? found->result : found->argument;
        JsonNode node;
        parse_json(json, node);
        Message message(type);
        fill(type, message.address(), &node, text);
        JsonWriter out(JsonWriter::one_line);
        const auto from = is_answer ? Redaction::Sender::host : Redaction::Sender::client;
        redaction.write(*type.shape, message.address(), name, from, text, out);
        return out.take();
    };
    for (const char *each : {"The Tea", "The Teapot", "tea"})
        written("api_vq_get_string_1", std::string(R"({"result": ")") + each + "\"}", true);
    EXPECT_EQ(written("api_vq_alert_1", R"({"str1": "The Teapot, The Tea: ate"})", false),
              R"({"str1":"2xx xxxxxx, 1xx xxx: ate","int2":0})");
    EXPECT_TRUE(redaction.warnings().empty());
    for (const char *each : {"The Teas", "a tea"}) {
        const std::string said = std::string(R"({"str1":")") + each + R"(","int2":0})";
        EXPECT_EQ(written("api_vq_alert_1", said, false), said);
    }
    ASSERT_EQ(redaction.warnings().size(), 1U);
    EXPECT_EQ(redaction.warnings()[0],
              "scrubbed texts remain within 2 texts of api_vq_alert_1.str1; "
              "--scrub api_vq_alert_1.str1 replaces them");
}

TEST(ScenarioFiles, MistakesNameTheirPlaceAndWhatWasMeant)
{
    const std::pair<const char *, const char *> mistakes[] = {
        {R"({"format": 2, "steps": []})", "s:1:12: format: a newer version has written this file"},
        {R"({"$schema": 3, "steps": []})", "s:1:13: $schema: a text in quotes"},
        {R"({"step": []})", "s:1:1: \"steps\" is missing"},
        {R"({"steps": [{"call": "api_vq_get_itn_1"}]})", "do you mean \"api_vq_get_int_1\"?"},
        {R"({"steps": [{"call": "*", "arguments": {}}]})", "have no arguments alike"},
        {R"({"steps": [{"call": "*", "answer": {}}]})", "\"none\""},
        {R"({"steps": [{"call": "api_vq_alert_1", "arguments": {"str": "x"}}]})",
         "s:1:60: steps[0].arguments.str: unknown name \"str\"; do you mean \"str1\"?"},
        {R"({"steps": [{"call": "api_vq_get_int_1", "arguments": {"propIdent": {"num": 577, "name": "x"}}}]})",
         "propIdent.name: \"name\" is there when \"num\" is 0, and not when it is 577"},
        {R"({"steps": [{"call": "api_vq_get_val_1", "answer": {"typedVal": {"valType": 3, "intVal": 1}}}]})",
         R"("intVal" is there when "valType" is 1, and not when it is 3)"},
        {R"({"steps": [{"call": "api_vq_alert_1", "arguments": {"str1": "三"}}]})",
         "does not exist in Quire"},
        {R"({"steps": [{"call": "api_vq_alert_1", "times": [2, 1]}]})", "less than the least"},
        {R"({"steps": [{"call": "api_vq_alert_1", "delay": -1}]})", "a number of seconds"},
        {R"({"steps": [{"callback": "vq_api_quit_1", "arguments": {}}]})", "has none"},
        {R"({"steps": [{"call": "api_vq_alert_1", "callback": "vq_api_quit_1"}]})", "not both"},
        {R"({"steps": [{"call": "V_ApiAlert"}]})", "vqcall describe V_ApiAlert"},
        {R"({"steps": [{"call": "api_vq_alert_1", "times": "many"}]})", "[LEAST, MOST]"},
        {R"({"steps": [{"call": "api_vq_alert_1", "in": []}]})",
         "s:1:45: steps[0].in: only within api_vq_modal_dialog_1"},
        {R"({"steps": [{"call": "api_vq_init_ack_5_1"}]})", "comes up"},
        {R"({"steps": [{"call": "api_vq_close_1", "answer": "not-permited"}]})",
         "s:1:49: steps[0].answer: no status is called \"not-permited\"; do you mean"},
        {R"({"steps": [{"call": "api_vq_open_1", "answer": {"status": "x"}}]})", "vqhost(1) lists"},
        {R"({"steps": [{"call": "api_vq_alert_1", "nth": 2, "times": 0}]})", "not both"},
        {R"({"steps": [{"call": "api_vq_alert_1", "delay": 30}]})", "shorter than the time limit"},
        {R"({"steps": [{"cal": "api_vq_alert_1"}]})",
         R"(a step needs "call" or "callback", not "cal"; do you mean "call"?)"},
        {R"({"steps": [{"call": "api_vq_alert_1", "before": [{"callback": "vq_api_quit_1", "end": "any"}]}]})",
         "s:1:87: steps[0].before[0].end: the client takes"},
        {R"({"steps": [{"callback": "vq4_api_notify_1", "steps": []}]})",
         "a client does not answer"},
        {R"({"steps": [{"callback": "vq_api_message_1", "arguments": {"message": {"contains": "x"}}}]})",
         "a text in quotes is"},
        {R"({"steps": [{"call": "api_vq_alert_1", "arguments": {"str1": {"contain": "x"}}}]})",
         R"(a text in quotes, or {"contains": TEXT})"},
        {R"({"steps": [{"call": "api_vq_alert_1", "arguments": {"str1": {"contains": ""}}}]})",
         "contains an empty one"},
        {R"({"steps": [{}]})", "a step needs \"call\" or \"callback\""},
    };
    for (const auto &[json, told] : mistakes) {
        try {
            parse_scenario(json, "s", V_language_usenglish, std::chrono::seconds(30));
            ADD_FAILURE() << json;
        } catch (const Error &error) {
            EXPECT_NE(std::string(error.what()).find(told), std::string::npos) << error.what();
        }
    }
}

} // namespace
} // namespace velt::host
