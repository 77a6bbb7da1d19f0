// The bytes of what the calls do not show, written by hand; damaged and hostile input; large
// values.

#include "api/samples.h"
#include "support/heap.h"

namespace
{

// Bytes and value are each other's encoding, in both directions.
template <class T>
void golden(const T &value, const std::string &digits)
{
    SCOPED_TRACE(digits);
    Bytes bytes = hex(digits);
    EXPECT_EQ(text(encode(value)), text(bytes));
    long before = heap::live();
    T decoded{};
    EXPECT_EQ(decode(bytes, decoded), static_cast<long>(bytes.size()));
    EXPECT_EQ(tell(decoded), tell(value));
    EXPECT_TRUE(velt::free_decoded(decoded));
    EXPECT_EQ(heap::live(), before);
}

template <class T>
V_TypedValT val(IntT kind, T V_ValUnionT::*member, T value)
{
    V_TypedValT made{kind, {}};
    made.u.*member = value;
    return made;
}

V_TypedValT int_val(IntT kind, IntT value)
{
    return val(kind, &V_ValUnionT::intVal, value);
}

V_TypedValT string_val(const char *s)
{
    return val(3, &V_ValUnionT::stringVal, str(s));
}

TEST(Golden, Scalars)
{
    golden<IntT>(-2, "fffffffe");
    golden<UIntT>(0x80000001, "80000001");
    golden<UCharT>(200, "000000c8");                   // a whole unit
    golden<StringT>(str("abc"), "00000003 61626300");  // length, bytes, padding
    golden<StringT>(str("abcd"), "00000004 61626364"); // no padding
    golden<StringT>(nullptr, "00000000");              // null is sent as empty
    StringT text_of_null = nullptr;
    decode(hex("00000000"), text_of_null);
    EXPECT_STREQ(text_of_null, ""); // and arrives as empty, not null
    std::free(text_of_null);
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

TEST(Golden, PropertyIdentifiers)
{
    golden(V_PropIdentT{5, str("unsent")}, "00000005");
    golden(V_PropIdentT{0, str("Name")}, "00000000 00000004 4e616d65");
    golden(V_PropIdentT{0, nullptr}, "00000000 00000000");
    golden(V_PropIdentT{-1, nullptr}, "ffffffff");
}

TEST(Golden, TextItems)
{
    TextItemUnionT number;
    number.value = 7;
    golden(TextItemDataT{1, {str("t")}}, "00000001 00000001 74000000");
    golden(TextItemDataT{2, number}, "00000002 00000007");
    golden(TextItemT{12, 0, number}, "0000000c 00000000 00000007");
}

TEST(Golden, Lists)
{
    V_PropValsT none{};
    golden(none, "00000000");
    EXPECT_EQ(none.val, nullptr);
    // Without its array a list of entries cannot be sent.
    V_IntsT broken{2, nullptr};
    char room[64];
    XDR xdrs;
    xdrmem_create(&xdrs, room, sizeof room, XDR_ENCODE);
    EXPECT_FALSE(xdr_V_IntsT(&xdrs, &broken));
}

TEST(Golden, ValueKinds)
{
    for (IntT kind : {0, 1, 2, 4, 11, 16, 20, 25, -1})
        golden(int_val(kind, -5), text(encode(kind)) + "fffffffb");
    golden(string_val("ab"), "00000003 00000002 61620000");
    golden(string_val(nullptr), "00000003 00000000");

    using U = V_ValUnionT;
    MetricT metrics[] = {7};
    golden(val(5, &U::metricsVal, list<V_MetricsT>(metrics)), "00000005 00000001 00000007");
    StringT strings[] = {str("s")};
    golden(val(6, &U::stringsVal, list<V_StringsT>(strings)),
           "00000006 00000001 00000001 73000000");
    V_PointT points[] = {{1, 2}};
    golden(val(7, &U::pointsVal, list<V_PointsT>(points)), "00000007 00000001 00000001 00000002");
    V_TabT tabs[] = {{1, 2, nullptr, 3}};
    golden(val(8, &U::tabsVal, list<V_TabsT>(tabs)),
           "00000008 00000001 00000001 00000002 00000000 00000003");
    golden(val(9, &U::textLocVal, {1, 2}), "00000009 00000001 00000002");
    golden(val(10, &U::textRangeVal, {{1, 2}, {3, 4}}),
           "0000000a 00000001 00000002 00000003 00000004");
    V_ElementCatalogEntryT entries[] = {{8, 9}};
    golden(val(12, &U::catalogVal, list<V_ElementCatalogEntriesT>(entries)),
           "0000000c 00000001 00000008 00000009");
    golden(val(13, &U::intsVal, list<V_IntsT>(metrics)), "0000000d 00000001 00000007");
    UCharT octets[] = {8, 9};
    golden(val(14, &U::ubytesVal, list<V_UBytesT>(octets)), "0000000e 00000002 00000008 00000009");
    UIntT uints[] = {0xffffffff};
    golden(val(15, &U::uintsVal, list<V_UIntsT>(uints)), "0000000f 00000001 ffffffff");
    V_AttributeDefT defs[] = {{nullptr, 1, 2, 3, {}, {}, nullptr, nullptr}};
    golden(val(17, &U::attrDefsVal, list<V_AttributeDefsT>(defs)),
           "00000011 00000001 00000000 00000001 00000002 00000003"
           "00000000 00000000 00000000 00000000");
    V_AttributeT attributes[] = {{nullptr, {}, 4, 5}};
    golden(val(18, &U::attrsVal, list<V_AttributesT>(attributes)),
           "00000012 00000001 00000000 00000000 00000004 00000005");
    V_ElementRangeT range{{1, 2, 3}, {4, 5, 6}};
    golden(val<V_ElementRangeT *>(19, &U::elemRangeVal, nullptr), "00000013 00000000"); // absent
    golden(val(19, &U::elemRangeVal, &range),
           "00000013 00000001 00000001 00000002 00000003 00000004 00000005 00000006");

    golden(V_PropValT{{0, str("Name")}, string_val("ab")},
           "00000000 00000004 4e616d65 00000003 00000002 61620000");
}

// One type, as the damage test drives it.
struct Type {
    const char *name;
    Bytes (*sample)(unsigned seed);
    // Decodes and frees; how many bytes the decoder took, or -1.
    long (*decode)(const Bytes &bytes);
};

template <class T>
Type type(const char *name)
{
    return {name,
            [](unsigned seed) {
                T value = ::sample<T>(seed);
                Bytes bytes = encode(value);
                velt::free_decoded(value);
                return bytes;
            },
            [](const Bytes &bytes) {
                T value{};
                long taken = ::decode(bytes, value);
                velt::free_decoded(value);
                return taken;
            }};
}

// Every prefix fails, and what it left behind can be freed; so can what damage leaves behind.
void damage(const Type &type, const Bytes &bytes)
{
    long before = heap::live();
    EXPECT_EQ(type.decode(bytes), static_cast<long>(bytes.size()));
    for (auto end = bytes.begin(); end != bytes.end(); end++)
        EXPECT_EQ(type.decode(Bytes(bytes.begin(), end)), -1) << end - bytes.begin();
    // A count, length, flag or kind gone wrong.
    for (std::size_t word = 0; word + 4 <= bytes.size(); word += 4)
        for (const char *wrong : {"ffffffff", "40000000", "00000007", "00000013"}) {
            Bytes damaged = bytes;
            std::ranges::copy(hex(wrong), damaged.begin() + static_cast<long>(word));
            type.decode(damaged);
        }
    EXPECT_EQ(heap::live(), before);
}

TEST(Damage, LeavesNothingBehindAndTakesNoMemory)
{
    const Type types[] = {
#define V_RECORD(name, fields) type<name>(#name),
#define V_LIST(name, element, plural) type<name>(#name),
#include "velt/tables/all_records.def"
        type<VqRpcApiConnectArgT>("VqRpcApiConnectArgT")};
    heap::largest();
    for (const Type &each : types)
        for (unsigned seed = 0; seed < 24; seed++) {
            SCOPED_TRACE(std::string(each.name) + " " + std::to_string(seed));
            damage(each, each.sample(seed));
        }
    EXPECT_LT(heap::largest(), 1U << 20);
}

// Strings of this size travel in the tests of calls.
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
