// Every remote call against a host of plain sockets: its procedure, its exact argument bytes, and
// what it returns when the host answers, refuses, or gives no answer that can be read.

#include "api/raw_host.h"
#include "apilib/memory.h"
#include "velt/api.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include <unistd.h>

void V_ApiInitialize(IntT) {}

void V_ApiCommand(IntT) {}

namespace
{

// A result as text, released.
template <class T>
std::string told(T value)
{
    std::string out;
    if constexpr (std::is_same_v<T, StringT>)
        out = value ? value : "null";
    else
        out = tell(value);
    velt::release(value);
    return out;
}

enum class Shape {
    status, // the host's status
    quiet,  // a setter: the status is in VA_errno alone
    value,  // a status, then the value
    plain,  // an integer without a status
    bare,   // a string without a status
    valid,  // a status as a truth value
};

struct Row {
    const char *name;
    Shape shape;
    UIntT procedure;
    std::string arguments;
    std::string answer; // after the status, where there is one
    std::string result;
    std::string failure;
    std::function<std::string()> call;
};

template <class Call>
Row row(const char *name, Shape shape, UIntT procedure, std::string arguments, std::string answer,
        std::string result, Call call)
{
    using T = decltype(call());
    Row made{name, shape, procedure, std::move(arguments), std::move(answer), std::move(result),
             "",   {}};
    if constexpr (std::is_void_v<T>) {
        made.call = [call] { return call(), std::string(); };
    } else {
        made.failure = told(T{});
        made.call = [call] { return told(call()); };
    }
    if (shape == Shape::status || shape == Shape::plain)
        made.failure = "-1 ";
    return made;
}

// Document 1, object 2, property 5, by number and by name.
const std::string object = "00000001 00000002";
const std::string number = object + "00000005";
const std::string named = object + "00000000 00000002 6e6d0000";
const std::string a = "00000001 61000000";
const std::string b = "00000001 62000000";
const std::string c = "00000001 63000000";
const std::string d = "00000001 64000000";
const std::string empty = "00000000";

V_TextLocT loc{3, 4};
V_TextRangeT range{{3, 4}, {5, 6}};
V_ElementRangeT elements{{1, 2, 3}, {4, 5, 6}};
StringT string_array[] = {str("a"), nullptr};
V_StringsT strings{2, string_array};
IntT int_array[] = {7, -1};
V_IntsT ints{2, int_array};
V_MetricsT metrics{2, int_array};
V_PointT point_array[] = {{1, 2}};
V_PointsT points{1, point_array};
V_TabT tab_array[] = {{1, 2, str("a"), 3}};
V_TabsT tabs{1, tab_array};
UCharT byte_array[] = {1, 2, 3};
V_UBytesT ubytes{3, byte_array};
V_TypedValT typed{3, {str("a")}};
V_PropValT property{{0, str("nm")}, {3, {str("a")}}};
V_PropValsT properties{1, &property};

const std::string loc_bytes = "00000003 00000004";
const std::string range_bytes = "00000003 00000004 00000005 00000006";
const std::string element_bytes = "00000001 00000002 00000003 00000004 00000005 00000006";
const std::string strings_bytes = "00000002" + a + empty;
const std::string ints_bytes = "00000002 00000007 ffffffff";
const std::string points_bytes = "00000001 00000001 00000002";
const std::string tabs_bytes = "00000001 00000001 00000002" + a + "00000003";
const std::string ubytes_bytes = "00000003 00000001 00000002 00000003";
const std::string typed_bytes = "00000003" + a;
const std::string property_bytes = "00000000 00000002 6e6d0000" + typed_bytes;
const std::string properties_bytes = "00000001" + property_bytes;

using enum Shape;

// clang-format off
const Row rows[] = {
    row("V_ApiClientNumber", plain, 1340, "", "00000006", "6 ", [] { return V_ApiClientNumber(); }),
    row("V_ApiClientName", bare, 1341, "", a, "a", [] { return V_ApiClientName(); }),
    row("V_ApiClientName, empty", bare, 1341, "", empty, "", [] { return V_ApiClientName(); }),
    row("V_ApiClientDir", bare, 1342, "", b, "b", [] { return V_ApiClientDir(); }),
    row("V_ApiSetClientDir", plain, 1344, a, "00000005", "5 ", [] { return V_ApiSetClientDir("a"); }),
    row("V_ApiCallClient", value, 1016, a + b, "fffffffe", "-2 ", [] { return V_ApiCallClient("a", "b"); }),
    row("V_ApiMenuExists", plain, 1003, a, "00000001", "1 ", [] { return V_ApiMenuExists("a"); }),
    row("V_ApiShortcutExists", plain, 1004, a, "00000001", "1 ", [] { return V_ApiShortcutExists("a"); }),
    row("V_ApiAddMenu", status, 1005, a + b + c, "", "0 ", [] { return V_ApiAddMenu("a", "b", "c"); }),
    row("V_ApiRemoveMenu", status, 1006, a + b, "", "0 ", [] { return V_ApiRemoveMenu("a", "b"); }),
    row("V_ApiAddCommand", status, 1007, "00000009" + a + b + c + d, "", "0 ", [] { return V_ApiAddCommand(9, "a", "b", "c", "d"); }),
    row("V_ApiDefineCommand", value, 1250, "00000009" + a + b + c, "00000007", "7 ", [] { return V_ApiDefineCommand(9, "a", "b", "c"); }),
    row("V_ApiDefineMenu", value, 1251, a + b, "00000007", "7 ", [] { return V_ApiDefineMenu("a", "b"); }),
    row("V_ApiAddCommandToMenu", status, 1252, object, "", "0 ", [] { return V_ApiAddCommandToMenu(1, 2); }),
    row("V_ApiAddMenuToMenu", status, 1253, object, "", "0 ", [] { return V_ApiAddMenuToMenu(1, 2); }),
    row("V_ApiDefineAndAddCommand", value, 1254, object + a + b + empty, "00000007", "7 ", [] { return V_ApiDefineAndAddCommand(1, 2, "a", "b", nullptr); }),
    row("V_ApiDefineAndAddMenu", value, 1255, "00000001" + a + b, "00000007", "7 ", [] { return V_ApiDefineAndAddMenu(1, "a", "b"); }),
    row("V_ApiLoadMenuCustomizationFile", status, 1256, a + "00000002", "", "0 ", [] { return V_ApiLoadMenuCustomizationFile("a", 2); }),
    row("V_ApiAnimateMenu", status, 1257, object + "00000003" + a + "00000005 00000006", "", "0 ", [] { return V_ApiAnimateMenu(1, 2, 3, "a", 5, 6); }),
    row("V_ApiMenuItemInMenu", value, 1258, object + "00000003", "00000007", "7 ", [] { return V_ApiMenuItemInMenu(1, 2, 3); }),
    row("V_ApiNotification", status, 1015, object, "", "0 ", [] { return V_ApiNotification(1, 2); }),

    row("V_ApiAlert", plain, 1008, a + "00000002", "00000001", "1 ", [] { return V_ApiAlert("a", 2); }),

    row("V_ApiGetInt", value, 1064, number, "ffffffff", "-1 ", [] { return V_ApiGetInt(1, 2, 5); }),
    row("V_ApiGetIntByName", value, 1064, named, "00000003", "3 ", [] { return V_ApiGetIntByName(1, 2, "nm"); }),
    row("V_ApiSetInt", quiet, 1065, number + "fffffffe", "", "", [] { V_ApiSetInt(1, 2, 5, -2); }),
    row("V_ApiSetIntByName", quiet, 1065, named + "fffffffe", "", "", [] { V_ApiSetIntByName(1, 2, "nm", -2); }),
    row("V_ApiGetId", value, 1066, number, "80000000", "2147483648 ", [] { return V_ApiGetId(1, 2, 5); }),
    row("V_ApiSetId", quiet, 1067, number + "80000000", "", "", [] { V_ApiSetId(1, 2, 5, 0x80000000); }),
    row("V_ApiGetMetric", value, 1068, number, "00010000", "65536 ", [] { return V_ApiGetMetric(1, 2, 5); }),
    row("V_ApiGetMetricByName", value, 1068, named, "00010000", "65536 ", [] { return V_ApiGetMetricByName(1, 2, "nm"); }),
    row("V_ApiSetMetric", quiet, 1069, number + "00010000", "", "", [] { V_ApiSetMetric(1, 2, 5, 65536); }),
    row("V_ApiSetMetricByName", quiet, 1069, named + "00010000", "", "", [] { V_ApiSetMetricByName(1, 2, "nm", 65536); }),
    row("V_ApiGetString", value, 1070, number, a, "a", [] { return V_ApiGetString(1, 2, 5); }),
    row("V_ApiGetString, empty", value, 1070, number, empty, "", [] { return V_ApiGetString(1, 2, 5); }),
    row("V_ApiSetString", quiet, 1071, number + a, "", "", [] { V_ApiSetString(1, 2, 5, "a"); }),
    row("V_ApiSetString, null", quiet, 1071, number + empty, "", "", [] { V_ApiSetString(1, 2, 5, nullptr); }),
    row("V_ApiGetTextLoc", value, 1268, number, loc_bytes, tell(loc), [] { return V_ApiGetTextLoc(1, 2, 5); }),
    row("V_ApiSetTextLoc", quiet, 1269, number + loc_bytes, "", "", [] { V_ApiSetTextLoc(1, 2, 5, &loc); }),
    row("V_ApiGetTextRange", value, 1266, number, range_bytes, tell(range), [] { return V_ApiGetTextRange(1, 2, 5); }),
    row("V_ApiSetTextRange", quiet, 1267, number + range_bytes, "", "", [] { V_ApiSetTextRange(1, 2, 5, &range); }),
    row("V_ApiGetElementRange", value, 1404, number, element_bytes, tell(elements), [] { return V_ApiGetElementRange(1, 2, 5); }),
    row("V_ApiSetElementRange", quiet, 1405, number + element_bytes, "", "", [] { V_ApiSetElementRange(1, 2, 5, &elements); }),
    row("V_ApiGetStrings", value, 1072, number, strings_bytes, tell(strings), [] { return V_ApiGetStrings(1, 2, 5); }),
    row("V_ApiSetStrings", quiet, 1073, number + strings_bytes, "", "", [] { V_ApiSetStrings(1, 2, 5, &strings); }),
    row("V_ApiGetMetrics", value, 1074, number, ints_bytes, tell(metrics), [] { return V_ApiGetMetrics(1, 2, 5); }),
    row("V_ApiSetMetrics", quiet, 1075, number + ints_bytes, "", "", [] { V_ApiSetMetrics(1, 2, 5, &metrics); }),
    row("V_ApiGetInts", value, 1092, number, ints_bytes, tell(ints), [] { return V_ApiGetInts(1, 2, 5); }),
    row("V_ApiSetInts", quiet, 1093, number + ints_bytes, "", "", [] { V_ApiSetInts(1, 2, 5, &ints); }),
    row("V_ApiGetPoints", value, 1076, number, points_bytes, tell(points), [] { return V_ApiGetPoints(1, 2, 5); }),
    row("V_ApiSetPoints", quiet, 1077, number + points_bytes, "", "", [] { V_ApiSetPoints(1, 2, 5, &points); }),
    row("V_ApiGetTabs", value, 1078, number, tabs_bytes, tell(tabs), [] { return V_ApiGetTabs(1, 2, 5); }),
    row("V_ApiSetTabs", quiet, 1079, number + tabs_bytes, "", "", [] { V_ApiSetTabs(1, 2, 5, &tabs); }),
    row("V_ApiGetUBytesByName", value, 1083, named, ubytes_bytes, tell(ubytes), [] { return V_ApiGetUBytesByName(1, 2, "nm"); }),
    row("V_ApiSetUBytesByName", quiet, 1084, named + ubytes_bytes, "", "", [] { V_ApiSetUBytesByName(1, 2, "nm", &ubytes); }),
    row("V_ApiGetVal", value, 1098, number, typed_bytes, tell(typed), [] { return V_ApiGetVal(1, 2, 5); }),
    row("V_ApiSetVal", quiet, 1099, number + typed_bytes, "", "", [] { V_ApiSetVal(1, 2, 5, &typed); }),
    row("V_ApiGetPropVal", value, 1060, number, property_bytes, tell(property), [] { return V_ApiGetPropVal(1, 2, 5); }),
    row("V_ApiSetPropVal", quiet, 1061, object + property_bytes, "", "", [] { V_ApiSetPropVal(1, 2, &property); }),
    row("V_ApiGetProps", value, 1062, object, properties_bytes, tell(properties), [] { return V_ApiGetProps(1, 2); }),
    row("V_ApiSetProps", quiet, 1063, object + properties_bytes, "", "", [] { V_ApiSetProps(1, 2, &properties); }),
    row("V_ApiDeletePropByName", quiet, 1082, named, "", "", [] { V_ApiDeletePropByName(1, 2, "nm"); }),
    row("V_ApiGetTextVal", value, 1298, "00000001" + loc_bytes + "00000005", typed_bytes, tell(typed), [] { return V_ApiGetTextVal(1, &loc, 5); }),
    row("V_ApiGetTextPropVal", value, 1300, "00000001" + loc_bytes + "00000005", property_bytes, tell(property), [] { return V_ApiGetTextPropVal(1, &loc, 5); }),
    row("V_ApiGetTextProps", value, 1302, "00000001" + loc_bytes, properties_bytes, tell(properties), [] { return V_ApiGetTextProps(1, &loc); }),
    row("V_ApiSetTextVal", quiet, 1299, "00000001" + range_bytes + "00000005" + typed_bytes, "", "", [] { V_ApiSetTextVal(1, &range, 5, &typed); }),
    row("V_ApiSetTextPropVal", quiet, 1301, "00000001" + range_bytes + "00000000 00000000" + property_bytes, "", "", [] { V_ApiSetTextPropVal(1, &range, &property); }),
    row("V_ApiSetTextProps", quiet, 1303, "00000001" + range_bytes + properties_bytes, "", "", [] { V_ApiSetTextProps(1, &range, &properties); }),
    row("V_ApiGetNamedObject", value, 1051, object + a, "00000007", "7 ", [] { return V_ApiGetNamedObject(1, 2, "a"); }),
    row("V_ApiGetUniqueObject", value, 1089, number, "00000007", "7 ", [] { return V_ApiGetUniqueObject(1, 2, 5); }),
    row("V_ApiNewGraphicObject", value, 1052, number, "00000007", "7 ", [] { return V_ApiNewGraphicObject(1, 2, 5); }),
    row("V_ApiNewNamedObject", value, 1053, object + a, "00000007", "7 ", [] { return V_ApiNewNamedObject(1, 2, "a"); }),
    row("V_ApiNewAnchoredObject", value, 1054, object + loc_bytes, "00000007", "7 ", [] { return V_ApiNewAnchoredObject(1, 2, &loc); }),
    row("V_ApiNewAnchoredFormattedObject", value, 1090, object + a + loc_bytes, "00000007", "7 ", [] { return V_ApiNewAnchoredFormattedObject(1, 2, "a", &loc); }),
    row("V_ApiNewSubObject", value, 1113, number, "00000007", "7 ", [] { return V_ApiNewSubObject(1, 2, 5); }),
    row("V_ApiNewSeriesObject", value, 1055, number, "00000007", "7 ", [] { return V_ApiNewSeriesObject(1, 2, 5); }),
    row("V_ApiObjectValid", valid, 1091, object, "", "1 ", [] { return V_ApiObjectValid(1, 2); }),
    row("V_ApiDelete", status, 1050, object, "", "0 ", [] { return V_ApiDelete(1, 2); }),
};
// clang-format on

class Calls : public testing::Test
{
protected:
    Calls()
    {
        VA_TimeOut = {20, 0};
        VA_errno = 0;
        std::string description = "536871168.1 " + std::to_string(host_program) + "." +
                                  std::to_string(host_version) + " " + std::to_string(getpid()) +
                                  ".-1.calls";
        setenv("VQAPIX", description.c_str(), 1);
        EXPECT_STREQ(V_ApiStartUp(nullptr), nullptr);
        std::optional<HostCall> acknowledgement = host.next();
        EXPECT_TRUE(acknowledgement && acknowledgement->procedure == 1000);
        EXPECT_EQ(acknowledgement->arguments, words({static_cast<UIntT>(getpid())}));
        EXPECT_EQ(acknowledgement->program, host_program);
        EXPECT_EQ(acknowledgement->version, host_version);
    }
    ~Calls() override { V_ApiShutDown(); }

    void answer(Bytes body)
    {
        host.answer([body = std::move(body)](const HostCall &) { return HostReply{{}, body}; });
    }

    // What the call returns, and VA_errno after it, which success leaves alone.
    static constexpr IntT untouched = 99;
    void expect(const Row &row, const std::string &result, IntT error)
    {
        VA_errno = untouched;
        EXPECT_EQ(row.call(), result);
        EXPECT_EQ(VA_errno, error);
        std::optional<HostCall> call = host.next();
        ASSERT_TRUE(call);
        EXPECT_EQ(call->procedure, row.procedure);
        EXPECT_EQ(text(call->arguments), text(hex(row.arguments)));
    }

    RawHost host;
};

TEST_F(Calls, EachWithItsArgumentsAndOutcomes)
{
    for (const Row &each : rows) {
        SCOPED_TRACE(each.name);
        bool has_status = each.shape != plain && each.shape != bare;
        Bytes body = hex((has_status ? "00000000" : "") + each.answer);
        answer(body);
        expect(each, each.result, untouched);
        if (has_status) {
            answer(hex("0000000d" + each.answer));
            expect(each, each.shape == Shape::status ? "13 " : each.failure, 13);
        }

        // Answers that end too early, and an error of the RPC layer; the session goes on.
        for (std::size_t length = 0; length < body.size(); length += 4) {
            answer(Bytes(body.begin(), body.begin() + static_cast<long>(length)));
            expect(each, each.failure, -1);
        }
        host.answer([](const HostCall &) { return HostReply{{}, {}, 3}; });
        expect(each, each.failure, -1);
    }
    EXPECT_TRUE(host.idle());
}

TEST_F(Calls, OfEightMegabytesBothWays)
{
    std::string big(8 << 20, 'x');
    answer(hex("00000000"));
    V_ApiSetString(1, 2, 5, big.c_str());
    EXPECT_EQ(VA_errno, 0);
    Bytes body = hex("00000000 00800000");
    body.insert(body.end(), big.begin(), big.end());
    std::optional<HostCall> call = host.next();
    ASSERT_TRUE(call);
    ASSERT_EQ(call->arguments.size(), 12 + body.size() - 4);
    EXPECT_TRUE(std::equal(body.begin() + 4, body.end(), call->arguments.begin() + 12));
    answer(body);
    StringT back = V_ApiGetString(1, 2, 5);
    ASSERT_NE(back, nullptr);
    EXPECT_TRUE(big == back);
    V_ApiDeallocateString(&back);
}

// The last segment of a large argument must not wait for an acknowledgement, which takes 40 ms.
TEST_F(Calls, OfOneMegabyteDoNotStall)
{
    std::string large(1 << 20, 'x');
    answer(hex("00000000"));
    std::vector<std::chrono::nanoseconds> taken;
    for (int i = 0; i < 21; i++) {
        auto start = std::chrono::steady_clock::now();
        std::clock_t busy = std::clock();
        V_ApiSetString(1, 2, 5, large.c_str());
        // Waiting alone counts: a checker makes the work itself slow.
        taken.push_back(
            std::chrono::steady_clock::now() - start -
            std::chrono::microseconds((std::clock() - busy) * 1'000'000 / CLOCKS_PER_SEC));
    }
    std::ranges::sort(taken);
    // Were there such a wait, every call would have it; a busy machine delays only some.
    EXPECT_LT(taken[0], std::chrono::milliseconds(35));
}

TEST_F(Calls, DisconnectEndsTheSession)
{
    answer(hex("00000005"));
    EXPECT_EQ(V_ApiTakeControl(), 0);
    VA_errno = 0;
    EXPECT_EQ(V_ApiDisconnectFromSession(), 5);
    EXPECT_EQ(VA_errno, 0);
    EXPECT_EQ(VA_bailout, 1);
    EXPECT_EQ(velt_client, nullptr);
    VA_bailout = 0;
    for (UIntT procedure : {1343U, 1376U, 1002U}) {
        std::optional<HostCall> call = host.next();
        ASSERT_TRUE(call);
        EXPECT_EQ(call->procedure, procedure);
        EXPECT_EQ(text(call->arguments), procedure == 1002 ? "00000000" : "");
    }
}

TEST_F(Calls, DisconnectWithoutAnAnswerEndsItToo)
{
    host.answer([](const HostCall &) { return HostReply{HostReply::hang_up, {}}; });
    EXPECT_EQ(V_ApiDisconnectFromSession(), -1);
    EXPECT_EQ(VA_errno, -1);
    EXPECT_EQ(VA_bailout, 1);
    EXPECT_EQ(velt_client, nullptr);
    VA_bailout = 0;
    V_ApiShutDown();
}

} // namespace
