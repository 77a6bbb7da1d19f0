// The bytes of what the calls do not show, written by hand; damaged and hostile input; large
// values.

#include "support/heap.h"
#include "support/samples.h"

namespace
{

// Bytes and value are each other's encoding, in both directions.
template <class T>
void golden(const T &value, const std::string &digits)
{
    SCOPED_TRACE(digits);
    Bytes bytes = hex(digits);
    EXPECT_EQ(text(encode(value)), text(bytes));
    for (const From from : {From::memory, From::record, From::odd_record}) {
        long before = heap::live();
        T decoded{};
        EXPECT_EQ(decode(bytes, decoded, from), static_cast<long>(bytes.size()));
        EXPECT_EQ(tell(decoded), tell(value));
        EXPECT_TRUE(velt::free_decoded(decoded));
        EXPECT_EQ(heap::live(), before);
    }
}

TEST(Golden, Scalars)
{
    golden<IntT>(-2, "fffffffe");
    golden<UIntT>(0x80000001, "80000001");
    golden<UCharT>(200, "000000c8");                   // a whole unit
    golden<StringT>(str("abc"), "00000003 61626300");  // length, bytes, padding
    golden<StringT>(str("abcd"), "00000004 61626364"); // no padding
    golden<StringT>(nullptr, "00000000");              // null is sent as empty
    for (std::size_t length = 1; length < 70; length++) {
        Bytes long_text;
        while (long_text.size() < length)
            long_text += static_cast<char>('0' + long_text.size());
        Bytes padding = long_text;
        padding.resize((length + 3) / 4 * 4);
        golden<StringT>(str(long_text.c_str()),
                        text(encode(static_cast<UIntT>(length))) + text(padding));
    }
    StringT text_of_null = nullptr;
    decode(hex("00000000"), text_of_null);
    EXPECT_STREQ(text_of_null, ""); // and arrives as empty, not null
    std::free(text_of_null);
}

// xdr_free of the RPC library sets the direction of its stream alone; the rest is what an earlier
// stream may have left there.
TEST(Golden, ReleasesWhateverTheStreamWas)
{
    Bytes stale = hex("00000007 00000007 00000007 00000007");
    for (const XDR::xdr_ops *left :
         {&velt::whole_record_operations, &velt::record_writer_operations}) {
        V_TypedValT value{V_kind_string, {strdup("text")}};
        XDR xdrs;
        velt::open_whole_record(xdrs, stale.data(), stale.size());
        xdrs.x_ops = const_cast<XDR::xdr_ops *>(left);
        xdrs.x_op = XDR_FREE;
        EXPECT_TRUE(velt::code(&xdrs, value));
        EXPECT_EQ(value.valType, V_kind_string);
        EXPECT_EQ(stale, hex("00000007 00000007 00000007 00000007"));
    }
}

TEST(Golden, IntoWhatTheCallerGives)
{
    char room[8] = "before";
    StringT string = room;
    EXPECT_EQ(decode(hex("00000003 61626300"), string), 8);
    EXPECT_EQ(string, room);
    EXPECT_STREQ(room, "abc");
    StringT array[2] = {room, nullptr};
    V_StringsT strings{0, array};
    EXPECT_EQ(decode(hex("00000002 00000002 78790000 00000001 7a000000"), strings), 20);
    EXPECT_EQ(strings.val, array);
    EXPECT_EQ(array[0], room);
    EXPECT_EQ(tell(strings), "[\"xy\" \"z\" ] ");
    std::free(array[1]);
    IntT numbers[2] = {7, 7};
    V_IntsT ints{2, numbers};
    EXPECT_EQ(decode(hex("00000001 00000009"), ints), 8);
    EXPECT_EQ(tell(ints), "[9 ] ");
    EXPECT_EQ(ints.val, numbers);
}

TEST(Golden, Structs)
{
    golden(V_PropIdentT{5, str("unsent")}, "00000005");
    golden(V_PropIdentT{0, nullptr}, "00000000 00000000");
    golden(V_PropIdentT{-1, nullptr}, "ffffffff");
    TextItemUnionT number;
    number.value = 7;
    golden(TextItemDataT{1, {str("t")}}, "00000001 00000001 74000000");
    golden(TextItemDataT{2, number}, "00000002 00000007");
    golden(TextItemT{12, 0, number}, "0000000c 00000000 00000007");
    golden(V_PropValsT{}, "00000000");
    IntT five[] = {1, 0x01020304, -2, 4, 0x50000000}; // more than a vector of them
    golden(V_IntsT{5, five}, "00000005 00000001 01020304 fffffffe 00000004 50000000");
    // Without its array a list of entries cannot be sent.
    V_IntsT broken{2, nullptr};
    char room[64];
    XDR xdrs;
    xdrmem_create(&xdrs, room, sizeof room, XDR_ENCODE);
    EXPECT_FALSE(xdr_V_IntsT(&xdrs, &broken));
}

// Which field holds a value of a kind; the bytes of the fields' types, the calls show.
TEST(Golden, ValueKinds)
{
    const struct {
        const char *digits, *field;
    } values[] = {
        {"00000003 00000002 61620000", "stringVal=\"ab\""},
        {"00000005 00000001 00000007", "metricsVal=[7 ]"},
        {"00000006 00000001 00000001 73000000", "stringsVal=[\"s\" ]"},
        {"00000007 00000001 00000001 00000002", "pointsVal=[{x=1 y=2 } ]"},
        {"00000008 00000001 00000001 00000002 00000000 00000003", "tabsVal=[{position=1 "},
        {"00000009 00000001 00000002", "textLocVal={objId=1 offset=2 }"},
        {"0000000a 00000001 00000002 00000003 00000004", "textRangeVal={beg={objId=1 "},
        {"0000000c 00000001 00000008 00000009", "catalogVal=[{defId=8 flags=9 } ]"},
        {"0000000d 00000001 00000007", "intsVal=[7 ]"},
        {"0000000e 00000002 00000008 00000009", "ubytesVal=[8 9 ]"},
        {"0000000f 00000001 ffffffff", "uintsVal=[4294967295 ]"},
        {"00000011 00000000", "attrDefsVal=[]"},
        {"00000012 00000000", "attrsVal=[]"},
        {"00000013 00000000", "elemRangeVal=null"},
    };
    for (const auto &[digits, field] : values) {
        const Bytes bytes = hex(digits);
        V_TypedValT value{};
        EXPECT_EQ(decode(bytes, value), static_cast<long>(bytes.size()));
        EXPECT_EQ(text(encode(value)), text(bytes));
        EXPECT_TRUE(
            tell(value).starts_with("{valType=" + std::to_string(value.valType) + " " + field))
            << tell(value);
        velt::free_decoded(value);
    }
    V_TypedValT other{};
    for (IntT kind : {0, 1, 2, 4, 11, 16, 20, 25, -1}) {
        other = {kind, {}};
        other.u.intVal = -5;
        golden(other, text(encode(kind)) + "fffffffb");
    }
    golden(V_TypedValT{3, {nullptr}}, "00000003 00000000");
    V_ElementRangeT range{{1, 2, 3}, {4, 5, 6}};
    other.valType = 19;
    other.u.elemRangeVal = &range;
    golden(other, "00000013 00000001 00000001 00000002 00000003 00000004 00000005 00000006");
}

// How many bytes of these the decoder takes, or -1; what it leaves behind is freed.
template <class T>
long taken(const Bytes &bytes)
{
    long size = 0;
    for (const From from : {From::memory, From::record}) {
        T value{};
        const long before = std::exchange(size, decode(bytes, value, from));
        velt::free_decoded(value);
        EXPECT_TRUE(from == From::memory || size == before);
    }
    return size;
}

template <class T>
void damage(const char *name)
{
    for (unsigned seed = 0; seed < 24; seed++) {
        SCOPED_TRACE(std::string(name) + " " + std::to_string(seed));
        T value = sample<T>(seed);
        const Bytes bytes = encode(value);
        velt::free_decoded(value);
        const long before = heap::live();
        EXPECT_EQ(taken<T>(bytes), static_cast<long>(bytes.size()));
        for (std::size_t size = 0; size < bytes.size(); size++)
            EXPECT_EQ(taken<T>(bytes.substr(0, size)), -1) << size;
        // A count, length, flag or kind gone wrong.
        for (std::size_t word = 0; word + 4 <= bytes.size(); word += 4)
            for (const char *wrong : {"ffffffff", "40000000", "00000007", "00000013"})
                taken<T>(Bytes(bytes).replace(word, 4, hex(wrong)));
        EXPECT_EQ(heap::live(), before);
    }
}

TEST(DamageSweep, LeavesNothingBehindAndTakesNoMemory)
{
    heap::largest();
#define V_RECORD(name, fields) damage<name>(#name);
#define V_LIST(name, element, plural) damage<name>(#name);
#include "velt/tables/all_records.def"
    damage<VqRpcApiConnectArgT>("VqRpcApiConnectArgT");
    EXPECT_LT(heap::largest(), 1U << 20);
}

// Strings of this size travel in the tests of the transport.
TEST(Large, ListOfEightMegabytes)
{
    std::vector<MetricT> numbers(2 << 20);
    for (UIntT i = 0; i < numbers.size(); i++)
        numbers[i] = static_cast<MetricT>(i * 2654435761U);
    V_MetricsT metrics{2 << 20, numbers.data()};
    V_MetricsT back{};
    EXPECT_EQ(decode(encode(metrics, (8 << 20) + 100), back), (8 << 20) + 4L);
    EXPECT_TRUE(std::equal(numbers.begin(), numbers.end(), back.val));
    velt::free_decoded(back);
}

} // namespace
