// Every remote call against a host of plain sockets: its procedure, its exact argument bytes, and
// what it returns when the host answers, refuses, or gives no answer that can be read.

#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <set>

#include "apilib/wire/memory.h"
#include "support/heap.h"
#include "support/raw_host.h"
#include "velt/api.h"

void V_ApiInitialize(IntT) {}

void V_ApiCommand(IntT) {}

namespace
{

std::string n(auto... numbers)
{
    return text(words({static_cast<UIntT>(numbers)...}));
}

// What success leaves in VA_errno, and what the prompts leave in their answers.
constexpr IntT untouched = 99;

struct Row {
    const char *name;
    UIntT procedure;
    std::string arguments;
    std::string success; // the bodies of the answers
    std::string refusal; // none for a procedure without a status
    std::string result, refused, unanswered;
    std::function<std::string()> call;
    IntT refused_error = 13;
    IntT unanswered_error = -1;

    Row with_errors(IntT on_refusal, IntT on_silence) &&
    {
        refused_error = on_refusal;
        unanswered_error = on_silence;
        return *this;
    }
};

// The shapes of calls, each by what is particular to a call. 13 is the host's refusal.
// clang-format off
#define FULL(procedure, arguments, success, refusal, result, refused, unanswered, ...) \
    Row{#__VA_ARGS__, procedure, arguments, success, refusal, result, refused, unanswered, \
        [] { return outcome([] { return __VA_ARGS__; }); }}
#define STATUS(procedure, arguments, ...) FULL(procedure, arguments, n(0), n(13), "0 ", "13 ", "-1 ", __VA_ARGS__)
#define STATUS_0(procedure, arguments, ...) FULL(procedure, arguments, n(0), n(13), "0 ", "13 ", "0 ", __VA_ARGS__)
#define VALID(procedure, arguments, ...) FULL(procedure, arguments, n(0), n(13), "1 ", "0 ", "0 ", __VA_ARGS__)
#define SET(procedure, arguments, ...) FULL(procedure, arguments, n(0), n(13), "", "", "", __VA_ARGS__)
#define PLAIN(procedure, arguments, ...) FULL(procedure, arguments, n(5), "", "5 ", "", "-1 ", __VA_ARGS__)
#define PLAIN_0(procedure, arguments, ...) FULL(procedure, arguments, n(5), "", "5 ", "", "0 ", __VA_ARGS__)
#define BARE(procedure, answer, result, ...) FULL(procedure, "", answer, "", result, "", "null", __VA_ARGS__)
#define EMPTY(procedure, arguments, result, unanswered, ...) FULL(procedure, arguments, "", "", result, "", unanswered, __VA_ARGS__)
#define VALUE(procedure, arguments, answer, result, ...) FULL(procedure, arguments, n(0) + answer, n(13) + answer, result, \
    told(decltype(__VA_ARGS__){}), told(decltype(__VA_ARGS__){}), __VA_ARGS__)
#define PROPERTY(getter, setter, bytes, value, name) VALUE(getter, number, bytes, tell(value), V_ApiGet##name(1, 2, 5)), \
    SET(setter, number + bytes, V_ApiSet##name(1, 2, 5, &value))
#define ID(procedure, arguments, ...) VALUE(procedure, arguments, n(7), "7 ", __VA_ARGS__)
#define LISTED(procedure, arguments, result, refused, ...) FULL(procedure, arguments, n(0, 7, 1) + properties_bytes, \
    n(13, 7, 0), result + tell(properties), refused "[] ", "0 none", \
    listed([](V_PropValsT **returned) { return __VA_ARGS__; }))
#define PROMPT(procedure, arguments, answer, result, ...) FULL(procedure, arguments, n(0) + answer, n(13) + answer, \
    "0 " result, "-1 as before", "-1 as before", asked(__VA_ARGS__)).with_errors(untouched, -1)
// clang-format on

// The answer of the prompt that was made last.
IntT number_asked = untouched;
StringT string_asked;

std::string asked(IntT result)
{
    const IntT number = std::exchange(number_asked, untouched);
    StringT string = std::exchange(string_asked, nullptr);
    return told(result) + (string                ? told(string)
                           : number != untouched ? told(number)
                                                 : "as before");
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
TextItemT item_array[] = {{7, 1, {str("a")}}};
TextItemsT items{1, item_array};
V_ElementCatalogEntryT entry_array[] = {{8, 9}};
V_ElementCatalogEntriesT catalog{1, entry_array};
V_AttributeDefT definition_array[] = {{str("a"), 1, 2, 3, strings, {}, nullptr, str("b")}};
V_AttributeDefsT definitions{1, definition_array};
V_AttributeT attribute_array[] = {{str("a"), strings, 4, 5}};
V_AttributesT attributes{1, attribute_array};
V_FontT font{1, 2, 3, 4};
V_FontsT fonts{1, &font};
V_CombinedFontT combined_font{4, 3, 2, 1};
V_CombinedFontsT combined_fonts{1, &combined_font};

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
const std::string items_bytes = n(1, 7, 1) + a;
const std::string definitions_bytes = n(1) + a + n(1, 2, 3) + strings_bytes + n(0, 0) + b;
const std::string attributes_bytes = n(1) + a + strings_bytes + n(4, 5);
const std::string zero_range = tell(V_TextRangeT{});
const std::string four_lists = tell(strings) + "[] [] " + tell(strings);

std::string parameters()
{
    return tell(loc) + tell(range) + tell(elements) + tell(strings) + tell(ints) + tell(metrics) +
           tell(points) + tell(tabs) + tell(ubytes) + tell(typed) + tell(properties) +
           tell(definitions) + tell(attributes) + tell(font);
}

std::string told_all(auto... results)
{
    return (told(results) + ...);
}

std::string spell()
{
    IntT answered = untouched;
    V_StringsT list{};
    const V_TextRangeT found = V_ApiSpell(1, &loc, &properties, &answered, &list);
    return told_all(found, answered, list);
}

std::string dictionary()
{
    V_StringsT list{};
    const IntT status = V_ApiDictionary(1, "a", 2, 3, &list);
    return told_all(status, list);
}

std::string thesaurus()
{
    V_StringsT lists[4]{};
    const IntT status = V_ApiThesaurus(1, "a", &lists[0], &lists[1], &lists[2], &lists[3]);
    return told_all(status, lists[0], lists[1], lists[2], lists[3]);
}

std::string compare()
{
    const V_CompareRetT ids = V_ApiCompare(1, 2, 5, "a", nullptr, "c", 9);
    return told_all(ids.firstId, ids.secondId);
}

std::string listed(auto operation)
{
    V_PropValsT *returned = nullptr;
    const std::string result = told(operation(&returned));
    return result + (returned ? told(std::exchange(*returned, {})) : "none");
}

const Row rows[] = {
#include "api/calls.def"
};

class Calls : public testing::Test
{
protected:
    Calls()
    {
        VA_TimeOut = {20, 0};
        VA_errno = 0;
        setenv("VQAPIX", identity(getpid(), "-1.calls").c_str(), 1);
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

    // What the call returns, and VA_errno after it. Nothing stays allocated, and what the caller
    // passes stays as it was.
    void expect(const Row &row, const std::string &result, IntT error)
    {
        const std::string passed = parameters();
        VA_errno = untouched;
        const long before = heap::live();
        EXPECT_EQ(row.call(), result);
        EXPECT_EQ(heap::live(), before);
        EXPECT_EQ(VA_errno, error);
        EXPECT_EQ(parameters(), passed);
        std::optional<HostCall> call = host.next();
        ASSERT_TRUE(call);
        EXPECT_EQ(call->procedure, row.procedure);
        EXPECT_EQ(text(call->arguments), text(hex(row.arguments)));
    }

    RawHost host;
};

TEST_F(Calls, EachWithItsArgumentsAndOutcomes)
{
    // Those of the session itself; without a call; told apart below.
    std::set<UIntT> called{1000, 1002, 1343, 1376};
    for (const Row &each : rows) {
        SCOPED_TRACE(each.name);
        called.insert(each.procedure);
        const Bytes body = hex(each.success);
        answer(body);
        expect(each, each.result, untouched);
        if (!each.refusal.empty()) {
            answer(hex(each.refusal));
            expect(each, each.refused, each.refused_error);
        }

        // Answers that end too early, and an error of the RPC layer; the session goes on.
        for (std::size_t length = 0; length < body.size(); length += 4) {
            answer(body.substr(0, length));
            expect(each, each.unanswered, each.unanswered_error);
        }
        host.answer([](const HostCall &) { return HostReply{{}, {}, 3}; });
        expect(each, each.unanswered, each.unanswered_error);
    }
    EXPECT_TRUE(host.idle());
#define V_STUB_ONLY(number, stub, argument, result)
#define V_PROCEDURE(number, stub, argument, result) EXPECT_TRUE(called.contains(number)) << #stub;
#include "velt/tables/procedures.def"
}

// It comes even when the host refuses.
TEST_F(Calls, AReturnedListTakesThePlaceOfTheOneBefore)
{
    V_PropValsT *returned = nullptr;
    const auto open = [&](const std::string &answered) {
        answer(hex(answered));
        V_ApiOpen("a", &properties, &returned);
        return returned;
    };
    const long before = heap::live();
    V_PropValsT *const kept = open(n(0, 7, 1) + properties_bytes);
    for (const std::string &answered : {n(13, 7, 1, 1, 8, 1, 9), std::string()}) {
        ASSERT_EQ(open(answered), kept);
        ASSERT_EQ(kept->len, 1U);
        EXPECT_EQ(kept->val->propIdent.num, 8);
    }
    returned = nullptr;                        // who does not keep it loses no memory
    EXPECT_EQ(tell(*open(n(0, 7, 0))), "[] "); // an absent list is an empty one
    EXPECT_EQ(heap::live(), before);
}

// The last segment of a large argument must not wait for an acknowledgement, which takes 40 ms.
TEST_F(Calls, DoNotWaitForAcknowledgements)
{
    int fd = -1;
    ASSERT_TRUE(clnt_control(velt_client, CLGET_FD, reinterpret_cast<char *>(&fd)));
    int immediate = 0;
    socklen_t size = sizeof immediate;
    ASSERT_EQ(getsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &immediate, &size), 0);
    EXPECT_NE(immediate, 0);
}

TEST_F(Calls, WithoutAnAnswerAreToldOfOnce)
{
    const std::string words = "the host does not answer calls any more";
    host.answer([](const HostCall &) { return HostReply{HostReply::hang_up, {}}; });
    testing::internal::CaptureStderr();
    EXPECT_EQ(V_ApiGetInt(1, 2, 3), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    testing::internal::CaptureStderr();
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(V_ApiGetInt(1, 2, 3), 0);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_NE(told.find(words), told.npos);
    EXPECT_EQ(told.find(words), told.rfind(words));
}

TEST(Call, WithoutASessionIsUnanswered)
{
    CLIENT *const session = std::exchange(velt_client, nullptr);
    VA_errno = 0;
    EXPECT_EQ(V_ApiGetInt(1, 2, 3), 0);
    EXPECT_EQ(VA_errno, -1);
    velt_client = session;
}

TEST(Options, OfTheHost)
{
    const struct {
        V_PropValsT (*list)();
        UIntT count;
        std::string first, last, other; // number, kind, value
        UIntT at;
    } cases[] = {
        {V_ApiGetSpellDefaultParams, 7, n(1005, 1, 1),
         n(1006, 3, 14) + "726573756c7466696c652e6463740000", n(1000, 1, 6137), 1},
        {V_ApiGetOpenDefaultParams, 41, n(1, 1, 0), n(41, 1, 0), n(31, 3, 0), 32},
        {V_ApiGetSaveDefaultParams, 20, n(1, 1, 0), n(21, 1, 0), n(13, 1, 0666), 9},
        {V_ApiGetImportDefaultParams, 36, n(1, 1, 0), n(36, 1, 0), n(15, 1, 72), 14},
        {V_ApiGetExportDefaultParams, 16, n(1, 1, 0), n(16, 3, 0), n(6, 10, 0, 0, 0, 0), 4},
    };
    for (const auto &each : cases) {
        const long before = heap::live();
        V_PropValsT list = each.list();
        ASSERT_EQ(list.len, each.count);
        EXPECT_EQ(text(encode(list.val[0])), text(hex(each.first)));
        EXPECT_EQ(text(encode(list.val[list.len - 1])), text(hex(each.last)));
        EXPECT_EQ(text(encode(list.val[each.at])), text(hex(each.other)));
        V_ApiDeallocatePropVals(&list);
        heap::fails(0, [&] { EXPECT_EQ(each.list().len, 0U); });
        EXPECT_EQ(heap::live(), before);
    }
}

TEST(Facts, EveryErrorHasItsLine)
{
    std::set<std::string> lines;
    for (IntT error : {0, -1, -2, -3, -4, -5, -6, -7, -8, -9, -20, -22, -43, -60, 13})
        EXPECT_TRUE(lines.insert(V_ApiErrorText(error)).second) << error;
    EXPECT_STREQ(V_ApiVersion(), VELT_VERSION);
}

TEST(Options, TheirStatusBitByBit)
{
    IntT status[] = {32, INT32_MIN};
    V_PropValT entries[] = {{{1, nullptr}, {1, {}}}, {{3, nullptr}, {13, {}}}};
    entries[1].propVal.u.intsVal = {2, status};
    V_PropValsT list{2, entries};
    const struct {
        IntT bit, result, error;
    } cases[] = {{5, 32, 0}, {4, 0, 0}, {63, INT32_MIN, 0}, {64, 0, -4}, {-1, 0, -4}};
    for (const auto &[bit, result, error] : cases) {
        VA_errno = 0;
        EXPECT_EQ(V_ApiCheckStatus(&list, bit), result) << bit;
        EXPECT_EQ(VA_errno, error) << bit;
    }
    list.len = 1;
    EXPECT_EQ(V_ApiCheckStatus(&list, 0), 0);
    EXPECT_EQ(VA_errno, -5);
    EXPECT_EQ(V_ApiCheckStatus(nullptr, 0), 0);
}

TEST_F(Calls, ReadOutOfADictionaryIsNoOperationOnIt)
{
    EXPECT_EQ(V_ApiDictionaryOperation(1, "a", 2, 9), -43);
    EXPECT_EQ(VA_errno, -43);
    EXPECT_TRUE(host.idle());
}

// Disconnecting ends the session, whatever the host says.
void disconnect(IntT result, IntT error)
{
    VA_errno = 0;
    EXPECT_EQ(V_ApiDisconnectFromSession(), result);
    EXPECT_EQ(VA_errno, error);
    EXPECT_EQ(std::exchange(VA_bailout, 0), 1);
    EXPECT_EQ(velt_client, nullptr);
}

TEST_F(Calls, DisconnectAfterTakingControl)
{
    answer(hex("00000005"));
    EXPECT_EQ(V_ApiTakeControl(), 0);
    disconnect(5, 0);
    for (UIntT procedure : {1343U, 1376U, 1002U}) {
        std::optional<HostCall> call = host.next();
        ASSERT_TRUE(call);
        EXPECT_EQ(call->procedure, procedure);
        EXPECT_EQ(text(call->arguments), procedure == 1002 ? "00000000" : "");
    }
}

TEST_F(Calls, DisconnectWithoutAnAnswer)
{
    host.answer([](const HostCall &) { return HostReply{HostReply::hang_up, {}}; });
    disconnect(-1, -1);
}

} // namespace
