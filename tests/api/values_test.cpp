// Copies, releases and property lists; memory that runs out; the arguments of file filters.

#include "support/heap.h"
#include "support/samples.h"
#include "velt/vde/memory.h"

namespace
{

// Copies by `copier`, then damages and releases the source: the copy still holds what it held.
// A release leaves nothing, twice; every failed allocation leaves a value fit to be released.
template <class T, class Copier, class Releaser>
void deep(const char *name, Copier copier, Releaser releaser)
{
    for (unsigned seed = 0; seed < 24; seed++) {
        SCOPED_TRACE(std::string(name) + " " + std::to_string(seed));
        long before = heap::live();
        T source = sample<T>(seed);
        std::string held = tell(source);
        long owned = heap::live() - before;

        T made = copier(&source);
        EXPECT_EQ(heap::live() - before, 2 * owned);
        EXPECT_EQ(tell(made), held);

        long n = 0;
        do {
            T poor;
            const bool failed = heap::fails(n++, [&] { poor = copier(&source); });
            EXPECT_EQ(heap::live() - before - 2 * owned < owned, failed);
            releaser(&poor);
            EXPECT_EQ(heap::live() - before, 2 * owned);
        } while (n <= owned);

        releaser(&source);
        EXPECT_EQ(tell(made), held);
        releaser(&made);
        std::string empty = tell(made);
        releaser(&made);
        EXPECT_EQ(tell(made), empty);
        EXPECT_EQ(heap::live(), before);
    }
}

TEST(Values, CopiesAreDeepAndReleasesComplete)
{
#define V_LIST(name, element, plural)                                                              \
    if constexpr (!std::is_same_v<name, TextItemsT>)                                               \
        deep<name>(#name, V_ApiCopy##plural, V_ApiDeallocate##plural);
#include "velt/tables/values.def"
    deep<V_TypedValT>("V_TypedValT", V_ApiCopyVal, V_ApiDeallocateVal);
    deep<V_PropValT>("V_PropValT", V_ApiCopyPropVal, V_ApiDeallocatePropVal);
    deep<V_TabT>("V_TabT", V_ApiCopyTab, V_ApiDeallocateTab);
    deep<V_AttributeDefT>("V_AttributeDefT", V_ApiCopyAttributeDef, V_ApiDeallocateAttributeDef);
    deep<V_AttributeT>("V_AttributeT", V_ApiCopyAttribute, V_ApiDeallocateAttribute);
    deep<TextItemT>("TextItemT", V_ApiCopyTextItem, V_ApiDeallocateTextItem);
}

TEST(Values, TextItemsKeepAnArray)
{
    long before = heap::live();
    TextItemT items[] = {{1, 1, {str("a")}}, {2, 2, {}}};
    TextItemsT source{2, items};
    TextItemsT made = V_ApiCopyTextItems(&source);
    EXPECT_EQ(tell(made), tell(source));
    EXPECT_NE(made.val[0].u.text, items[0].u.text);
    for (int i = 0; i < 2; i++)
        V_ApiDeallocateTextItems(&made);
    TextItemsT none = V_ApiAllocateTextItems(0);
    EXPECT_EQ(none.len, 0U);
    ASSERT_NE(none.val, nullptr);
    EXPECT_EQ(none.val->offset, 0);
    V_ApiDeallocateTextItems(&none);
    heap::fails(0, [&] { none = V_ApiAllocateTextItems(2); });
    EXPECT_EQ(none.len, 0U);
    EXPECT_EQ(none.val, nullptr);
    EXPECT_EQ(heap::live(), before);
}

TEST(Values, ReleasesEmptyAndIgnoreNull)
{
    V_TypedValT value = sample<V_TypedValT>(3);
    ASSERT_EQ(value.valType, 3);
    V_ApiDeallocateVal(&value);
    EXPECT_EQ(value.valType, 3); // the kind stays
    EXPECT_EQ(value.u.stringVal, nullptr);
    V_StringsT arrayless{3, nullptr};
    V_ApiDeallocateStrings(&arrayless);
    EXPECT_EQ(arrayless.len, 0U);
#define V_LIST(name, element, plural) V_ApiDeallocate##plural(nullptr);
#include "velt/tables/values.def"
    V_ApiDeallocateVal(nullptr);
    V_ApiDeallocatePropVal(nullptr);
    V_ApiDeallocateTab(nullptr);
    V_ApiDeallocateAttribute(nullptr);
    V_ApiDeallocateString(nullptr);
    V_ApiFree(nullptr);
}

TEST(Values, CopiesOfNothing)
{
    EXPECT_EQ(tell(V_ApiCopyPropVal(nullptr)), tell(V_PropValT{{0, nullptr}, {1, {}}}));
    EXPECT_EQ(tell(V_ApiCopyTextItem(nullptr)), tell(TextItemT{0, 1, {}}));
    EXPECT_EQ(tell(V_ApiCopyPropVals(nullptr)), "[] ");
    // A property list without its array counts as empty; other lists keep their length.
    const V_PropValsT arrayless{3, nullptr};
    EXPECT_EQ(tell(V_ApiCopyPropVals(&arrayless)), "[] ");
    const V_IntsT holes{3, nullptr};
    V_IntsT ints = V_ApiCopyInts(&holes);
    EXPECT_EQ(tell(ints), "[0 0 0 ] ");
    V_ApiDeallocateInts(&ints);
    const V_TypedValT absent{19, {}};
    EXPECT_EQ(V_ApiCopyVal(&absent).u.elemRangeVal, nullptr);
    // A name is kept beside a number.
    const V_PropValT both{{7, str("n")}, {1, {}}};
    V_PropValT made = V_ApiCopyPropVal(&both);
    EXPECT_STREQ(made.propIdent.name, "n");
    EXPECT_NE(made.propIdent.name, both.propIdent.name);
    V_ApiDeallocatePropVal(&made);
}

TEST(Values, Strings)
{
    EXPECT_EQ(V_ApiStringLen(nullptr), 0);
    EXPECT_EQ(V_ApiStringLen("\xff x"), 3);
    StringT made = V_ApiCopyString(nullptr);
    EXPECT_STREQ(made, "");
    for (int i = 0; i < 2; i++) {
        V_ApiDeallocateString(&made);
        EXPECT_EQ(made, nullptr);
    }
    heap::fails(0, [] { EXPECT_EQ(V_ApiCopyString("x"), nullptr); });
}

TEST(PropertyLists, AppendReplaceAndFind)
{
    long before = heap::live();
    V_PropValsT list{};
    EXPECT_EQ(V_ApiGetPropIndex(nullptr, 0), -4);
    EXPECT_EQ(V_ApiGetPropIndex(&list, 7), -4);
    heap::largest();
    for (IntT n = 1; n <= 17; n++) {
        V_ApiAppendIntProp(&list, n, 10 * n);
        std::size_t capacity = n <= 8 ? 8 : n <= 16 ? 16 : 32;
        EXPECT_EQ(heap::largest(), capacity * sizeof(V_PropValT)) << n;
    }
    EXPECT_EQ(list.len, 17U);
    EXPECT_EQ(V_ApiGetPropIndex(&list, 17), 16);
    EXPECT_EQ(list.val[16].propVal.u.intVal, 170);
    V_ApiAppendStringProp(&list, 3, "three");
    EXPECT_EQ(list.len, 17U);
    EXPECT_EQ(list.val[2].propVal.valType, 3);
    EXPECT_STREQ(list.val[2].propVal.u.stringVal, "three");
    // A value that stands in the entry that it replaces.
    V_ApiAppendVal(&list, 3, &list.val[2].propVal);
    EXPECT_STREQ(list.val[2].propVal.u.stringVal, "three");
    // The first of two; a named one is found by 0, and loses its name when replaced.
    list.val[1].propIdent.num = 1;
    EXPECT_EQ(V_ApiGetPropIndex(&list, 1), 0);
    list.val[1].propIdent = {0, V_ApiCopyString("named")};
    EXPECT_EQ(V_ApiGetPropIndex(&list, 0), 1);
    V_ApiAppendIntProp(&list, 0, 5);
    EXPECT_EQ(list.val[1].propIdent.name, nullptr);
    EXPECT_EQ(list.len, 17U);
    V_ApiDeallocatePropVals(&list);

    V_PropValsT zeroed = V_ApiAllocatePropVals(2);
    ASSERT_EQ(zeroed.len, 2U);
    EXPECT_EQ(zeroed.val[1].propIdent.name, nullptr);
    V_ApiDeallocatePropVals(&zeroed);
    EXPECT_EQ(heap::live(), before);
}

TEST(PropertyLists, StayAsTheyWereWithoutMemory)
{
    long before = heap::live();
    V_PropValsT list{};
    V_ApiAppendStringProp(&list, 1, "one");
    std::string held = tell(list);
    // The copy of the string is the first request, the array the second.
    heap::fails(1, [&] { V_ApiAppendStringProp(&list, 2, "two"); });
    EXPECT_EQ(tell(list), held);
    V_ApiDeallocatePropVals(&list);
    heap::fails(0, [] { EXPECT_EQ(V_ApiAllocatePropVals(3).len, 0U); });
    EXPECT_EQ(heap::live(), before);
}

TEST(FilterArguments, AreUnpackedInOrder)
{
    const std::pair<std::string, std::string> cases[] = {
        {"", ",-,-,-,-,-,"},
        {"a|b|c", "a,b,c,-,-,-,"},
        {"a||", "a,,,-,-,-,"},
        {"1|2|3|4|5|6|7|8", "1,2,3,4,5,6,+7+8"},
        {std::string(45, '|'), ",,,,,," + std::string(40, '+')},
    };
    const long before = heap::live();
    for (const auto &[arguments, expected] : cases) {
        std::string packed = arguments, held;
        std::ranges::replace(packed, '|', '\x1e');
        long n = 0;
        for (bool failed = true; failed;) {
            V_FilterArgsT *record = nullptr;
            failed = heap::fails(n++, [&] { record = VdeApiExpandFilterArgs(packed.c_str()); });
            ASSERT_TRUE(record || failed);
            if (!failed) {
                for (StringT argument : record->args)
                    held += argument ? argument + std::string(",") : "-,";
                for (UIntT i = 0; i < record->extraArgs.len; i++)
                    held += std::string("+") + record->extraArgs.val[i];
            }
            for (int i = 0; record && i < 2; i++) {
                VdeApiDeallocateFilterArgs(record);
                EXPECT_EQ(record->args[0], nullptr);
                EXPECT_EQ(record->extraArgs.len, 0U);
            }
            V_Free(record);
            EXPECT_EQ(heap::live(), before);
        }
        EXPECT_EQ(held, expected);
    }
}

} // namespace
