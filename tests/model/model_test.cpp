// The model through the answers that clients get.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "apilib/memory.h"
#include "host/answers.h"

namespace velt::host
{
namespace
{

using namespace procedure;

struct SilentDesk : Desk {
    IntT alert(int, const std::string &, IntT type) override { return 40 + type; }
    void report(const std::string &) override {}
};

// A result that is released as the server does.
template <class Procedure>
struct Answered {
    typename Procedure::Result value{};
    Answered() = default;
    Answered(const Answered &) = delete;
    ~Answered() { velt::release(value); }
};

class ModelTest : public testing::Test
{
protected:
    Model model;
    SilentDesk desk;
    Caller caller{1, "client", ""};
    Context context{model, desk, caller};
    UIntT book = 0;
    std::vector<UIntT> reference; // the order as it should be

    void make_book(int components)
    {
        book = model.create(0, object_type::book, "Book");
        model.activate(book);
        for (int i = 0; i < components; i++)
            reference.push_back(
                model.create(book, object_type::component, "c" + std::to_string(i)));
    }

    template <class Procedure>
    IntT status(Procedure procedure, const typename Procedure::Argument &argument)
    {
        IntT result = 1234;
        answer(procedure, context, argument, result);
        return result;
    }
    UIntT id(UIntT doc, UIntT obj, IntT number)
    {
        ApiVqGetIdRetT result{};
        answer(api_vq_get_id_1{}, context, {doc, obj, {number, nullptr}}, result);
        EXPECT_EQ(result.status, ok) << "property " << number;
        return result.result;
    }
    IntT set_id(UIntT obj, IntT number, UIntT value)
    {
        return status(api_vq_set_id_1{}, {book, obj, {number, nullptr}, value});
    }
    // What clients read must agree with the reference in both directions.
    void check_order()
    {
        ASSERT_EQ(model.object(0, book).members, reference);
        for (std::size_t i = 0; i < reference.size(); i++) {
            EXPECT_EQ(id(book, reference[i], property::previous_component),
                      i == 0 ? 0 : reference[i - 1]);
            EXPECT_EQ(id(book, reference[i], property::next_component),
                      i + 1 == reference.size() ? 0 : reference[i + 1]);
        }
    }
};

TEST_F(ModelTest, EveryMoveInBothDirections)
{
    make_book(5);
    for (int direction = 0; direction < 2; direction++)
        for (std::size_t from = 0; from < 5; from++)
            for (std::size_t to = 0; to < 5; to++) {
                const UIntT moved = reference[from];
                const UIntT neighbour = reference[to];
                const IntT number =
                    direction ? property::previous_component : property::next_component;
                if (from == to) {
                    EXPECT_EQ(set_id(moved, number, neighbour), bad_value);
                } else {
                    EXPECT_EQ(set_id(moved, number, neighbour), ok);
                    reference.erase(reference.begin() + static_cast<std::ptrdiff_t>(from));
                    reference.insert(std::ranges::find(reference, neighbour) + direction, moved);
                }
                check_order();
            }
}

TEST_F(ModelTest, MovesThatCannotBe)
{
    make_book(3);
    const UIntT other = model.create(0, object_type::book, "Other");
    const UIntT stranger = model.create(other, object_type::component, "stranger");
    for (UIntT value : {0u, book, stranger, 4711u})
        EXPECT_EQ(set_id(reference[0], property::next_component, value), bad_value);
    EXPECT_EQ(
        status(api_vq_set_int_1{}, {book, reference[0], {property::next_component, nullptr}, 1}),
        wrong_kind);
    check_order();
}

TEST_F(ModelTest, DeletingAComponent)
{
    make_book(4);
    model.select(book, reference[1]);
    EXPECT_EQ(status(api_vq_delete_1{}, {book, reference[2]}), ok);
    reference.erase(reference.begin() + 2);
    check_order();
    EXPECT_EQ(id(0, book, property::selected_component), reference[1]);

    const UIntT gone = reference[1];
    EXPECT_EQ(status(api_vq_delete_1{}, {book, gone}), ok);
    reference.erase(reference.begin() + 1);
    check_order();
    EXPECT_EQ(id(0, book, property::selected_component), 0u);
    EXPECT_EQ(status(api_vq_delete_1{}, {book, gone}), no_such_object);
    EXPECT_EQ(status(api_vq_object_valid_1{}, {book, gone}), no_such_object);
    EXPECT_EQ(status(api_vq_object_valid_1{}, {0, reference[0]}), no_such_object);
    EXPECT_EQ(status(api_vq_object_valid_1{}, {4711, reference[0]}), no_such_document);

    EXPECT_EQ(status(api_vq_delete_1{}, {0, book}), ok);
    EXPECT_EQ(id(0, 0, property::active_book), 0u);
    EXPECT_FALSE(model.objects().contains(reference[0]));
    EXPECT_EQ(status(api_vq_delete_1{}, {0, 0}), not_permitted);
    EXPECT_EQ(status(api_vq_delete_1{}, {0, model.menu(book_context_menu)}), not_permitted);
}

TEST_F(ModelTest, PropertiesWithABehaviour)
{
    make_book(2);
    const UIntT other = model.create(0, object_type::book, "Other");
    EXPECT_EQ(id(0, 0, property::active_book), book);
    EXPECT_EQ(status(api_vq_set_id_1{}, {0, 0, {property::active_book, nullptr}, other}), ok);
    EXPECT_EQ(id(0, 0, property::active_book), other);
    EXPECT_EQ(status(api_vq_set_id_1{}, {0, 0, {property::active_book, nullptr}, reference[0]}),
              bad_value);
    EXPECT_EQ(status(api_vq_set_id_1{},
                     {0, other, {property::selected_component, nullptr}, reference[0]}),
              bad_value);
    EXPECT_EQ(status(api_vq_set_int_1{}, {0, 0, {property::language, nullptr}, 3}), not_permitted);
    EXPECT_EQ(status(api_vq_delete_prop_1{}, {book, reference[0], {property::moved, nullptr}}),
              not_permitted);

    model.set_dialog_encoding("VeltRoman");
    Answered<api_vq_get_string_1> encoding;
    answer(api_vq_get_string_1{}, context, {0, 0, {property::dialog_encoding, nullptr}},
           encoding.value);
    EXPECT_STREQ(encoding.value.result, "VeltRoman");

    Answered<api_vq_get_props_1> all;
    answer(api_vq_get_props_1{}, context, {book, reference[0]}, all.value);
    ASSERT_EQ(all.value.status, ok);
    ASSERT_EQ(all.value.params.len, 3u);
    EXPECT_EQ(all.value.params.val[1].propIdent.num, property::next_component);
    EXPECT_EQ(all.value.params.val[1].propVal.u.intVal, static_cast<IntT>(reference[1]));
}

char *chars(const char *text)
{
    return const_cast<char *>(text);
}

// One value of every kind, borrowed.
std::vector<V_TypedValT> samples()
{
    static StringT strings[] = {chars("a"), chars("")};
    static IntT ints[] = {1, -2, 3};
    static UIntT uints[] = {0xFFFFFFFF, 2};
    static UCharT bytes[] = {0, 255};
    static V_PointT points[] = {{1, 2}};
    static V_TabT tabs[] = {{5, 1, chars("."), ','}};
    static V_ElementCatalogEntryT catalog[] = {{7, 8}};
    static V_AttributeDefT definitions[] = {
        {chars("n"), 1, 2, 3, {2, strings}, {0, nullptr}, chars("s"), chars("t")}};
    static V_AttributeT attributes[] = {{chars("n"), {2, strings}, 1, 2}};
    static V_ElementRangeT range = {{1, 2, 3}, {4, 5, 6}};

    std::vector<V_TypedValT> all(20);
    for (IntT i = 1; i < 20; i++) {
        all[static_cast<std::size_t>(i)].valType = i;
        all[static_cast<std::size_t>(i)].u.intVal = 1000 + i;
    }
    all[kind::string].u.stringVal = chars("text");
    all[kind::metrics].u.metricsVal = {3, ints};
    all[kind::strings].u.stringsVal = {2, strings};
    all[kind::points].u.pointsVal = {1, points};
    all[kind::tabs].u.tabsVal = {1, tabs};
    all[kind::text_location].u.textLocVal = {3, 4};
    all[kind::text_range].u.textRangeVal = {{3, 4}, {5, 6}};
    all[kind::element_catalog].u.catalogVal = {1, catalog};
    all[kind::integers].u.intsVal = {3, ints};
    all[kind::bytes].u.ubytesVal = {2, bytes};
    all[kind::unsigned_integers].u.uintsVal = {2, uints};
    all[kind::attribute_definitions].u.attrDefsVal = {1, definitions};
    all[kind::attributes].u.attrsVal = {1, attributes};
    all[kind::element_range].u.elemRangeVal = &range;
    all.erase(all.begin());
    return all;
}

// Leaves of a value, one after the other, by a walk of its own.
struct Flatten {
    std::string &out;
    template <class T>
    bool operator()(const char *, T &field) const
    {
        if constexpr (std::is_same_v<T, StringT>) {
            out += field ? field : "(null)";
        } else if constexpr (std::is_pointer_v<T>) {
            out += field ? "&" : "null";
            if (field)
                fields(*field, *this);
        } else if constexpr (List<T>) {
            out += std::to_string(field.len) + "[";
            for (UIntT i = 0; i < field.len; i++)
                (*this)("", field.val[i]);
        } else if constexpr (Record<T>) {
            fields(field, *this);
        } else {
            out += std::to_string(field);
        }
        out += ";";
        return true;
    }
};

std::string flat(V_TypedValT value)
{
    std::string text;
    Flatten{text}("", value);
    return text;
}

TEST_F(ModelTest, EveryKindByNumberAndByName)
{
    make_book(1);
    const UIntT component = reference[0];
    for (const V_PropIdentT named : {V_PropIdentT{100, nullptr}, V_PropIdentT{0, chars("k")}})
        for (const V_TypedValT &sample : samples()) {
            V_PropIdentT key = named;
            const std::string name = "k" + std::to_string(sample.valType);
            if (key.num != 0)
                key.num += sample.valType;
            else
                key.name = chars(name.c_str());
            EXPECT_EQ(status(api_vq_set_val_1{}, {book, component, key, sample}), ok);
            Answered<api_vq_get_val_1> got;
            answer(api_vq_get_val_1{}, context, {book, component, key}, got.value);
            EXPECT_EQ(got.value.status, ok);
            EXPECT_EQ(flat(got.value.typedVal), flat(sample));

            // The kind stays; the value of another is refused and changes nothing.
            V_TypedValT other = samples()[sample.valType == 1 ? 1 : 0];
            EXPECT_EQ(status(api_vq_set_val_1{}, {book, component, key, other}), wrong_kind);
            Answered<api_vq_get_prop_1> kept;
            answer(api_vq_get_prop_1{}, context, {book, component, key}, kept.value);
            EXPECT_EQ(flat(kept.value.propVal.propVal), flat(sample));
            EXPECT_EQ(kept.value.propVal.propIdent.num, key.num);
            if (key.num == 0) {
                EXPECT_EQ(kept.value.propVal.propIdent.name, name);
            }

            EXPECT_EQ(status(api_vq_delete_prop_1{}, {book, component, key}), ok);
            EXPECT_EQ(status(api_vq_delete_prop_1{}, {book, component, key}), no_such_property);
        }
    for (IntT unknown : {0, 20, -1}) {
        V_TypedValT value{};
        value.valType = unknown;
        EXPECT_EQ(status(api_vq_set_val_1{}, {book, component, {100, nullptr}, value}), wrong_kind);
    }
    const V_TypedValT one = samples()[0];
    EXPECT_EQ(status(api_vq_set_val_1{}, {book, component, {0, nullptr}, one}), no_such_property);
}

// Each pair of typed calls reads what it wrote, and only the calls of that kind do.
TEST_F(ModelTest, EveryTypedGetterAgainstEveryKind)
{
    make_book(1);
    const UIntT component = reference[0];
    for (const V_TypedValT &sample : samples())
        ASSERT_EQ(
            status(api_vq_set_val_1{}, {book, component, {100 + sample.valType, nullptr}, sample}),
            ok);
    for (IntT each = 1; each < 20; each++) {
        const ApiVqGetPropArgT argument{book, component, {100 + each, nullptr}};
#define V_GETTER(stub, kind_name, member, field)                                                   \
    {                                                                                              \
        Answered<stub> got;                                                                        \
        answer(stub{}, context, argument, got.value);                                              \
        EXPECT_EQ(got.value.status, each == kind::kind_name ? ok : wrong_kind) << #stub << each;   \
        if (each == kind::kind_name) {                                                             \
            std::string is;                                                                        \
            Flatten{is}("", got.value.field);                                                      \
            EXPECT_NE(flat(samples()[static_cast<std::size_t>(each) - 1]).find(is), is.npos)       \
                << #stub;                                                                          \
        }                                                                                          \
    }
#include "host/answers.def"
        ApiVqGetIntRetT missing{};
        answer(api_vq_get_int_1{}, context, {book, component, {9999, nullptr}}, missing);
        EXPECT_EQ(missing.status, no_such_property);
    }
    V_ElementRangeT range{{9, 8, 7}, {6, 5, 4}};
    EXPECT_EQ(status(api_vq_set_element_range_1{}, {book, component, {119, nullptr}, range}), ok);
    ApiVqGetElementRangeRetT got{};
    answer(api_vq_get_element_range_1{}, context, {book, component, {119, nullptr}}, got);
    EXPECT_EQ(got.elemRange.beg.parentId, 9u);
    EXPECT_EQ(got.elemRange.end.offset, 4);
    EXPECT_EQ(status(api_vq_set_metric_1{}, {book, component, {102, nullptr}, -5}), ok);
    EXPECT_EQ(status(api_vq_set_metric_1{}, {book, component, {101, nullptr}, -5}), wrong_kind);
}

TEST_F(ModelTest, ListsOfPropertiesStopAtARefusal)
{
    make_book(1);
    V_PropValT list[3]{};
    list[0] = {{200, nullptr}, samples()[0]};
    list[1] = {{property::next_component, nullptr}, samples()[0]};
    list[2] = {{201, nullptr}, samples()[0]};
    EXPECT_EQ(status(api_vq_set_props_1{}, {book, reference[0], {3, list}}), wrong_kind);
    EXPECT_EQ(model.get(book, reference[0], PropertyKey(200)).get().u.intVal, 1001);
    EXPECT_THROW(model.get(book, reference[0], PropertyKey(201)), Refusal);
    EXPECT_EQ(status(api_vq_set_props_1{}, {book, 999, {0, nullptr}}), no_such_object);
}

TEST_F(ModelTest, ObjectsAreFoundAndMade)
{
    make_book(2);
    const auto make = [&](auto procedure, auto... arguments) {
        ApiVqObjRetT made{};
        answer(procedure, context, {arguments...}, made);
        return made.status == ok ? static_cast<IntT>(made.objId) : made.status;
    };
    const IntT third =
        make(api_vq_new_named_object_1{}, book, object_type::component, chars("third"));
    ASSERT_GT(third, 0);
    reference.push_back(static_cast<UIntT>(third));
    const IntT first = make(api_vq_new_series_object_1{}, book, object_type::component, 0u);
    reference.insert(reference.begin(), static_cast<UIntT>(first));
    const IntT second =
        make(api_vq_new_series_object_1{}, book, object_type::component, reference[0]);
    reference.insert(reference.begin() + 1, static_cast<UIntT>(second));
    check_order();

    EXPECT_EQ(make(api_vq_new_named_object_1{}, book, object_type::component, chars("third")),
              bad_value);
    EXPECT_EQ(make(api_vq_get_named_object_1{}, book, object_type::component, chars("third")),
              third);
    EXPECT_EQ(make(api_vq_get_named_object_1{}, book, 77, chars("third")), no_such_object);
    EXPECT_EQ(make(api_vq_get_named_object_1{}, 888u, 77, chars("third")), no_such_document);
    EXPECT_EQ(make(api_vq_get_unique_object_1{}, book, object_type::component, third), third);
    EXPECT_EQ(make(api_vq_get_unique_object_1{}, book, 77, third), no_such_object);
    EXPECT_EQ(make(api_vq_new_named_object_1{}, 0u, object_type::component, chars("x")),
              no_such_document);
    EXPECT_EQ(make(api_vq_new_named_object_1{}, book, object_type::session, chars("x")), bad_value);

    // What is inside goes with it.
    const IntT frame = make(api_vq_new_graphic_object_1{}, book, 77, static_cast<UIntT>(third));
    const IntT inner = make(api_vq_new_sub_object_1{}, book, static_cast<UIntT>(frame), 78);
    ASSERT_GT(inner, 0);
    EXPECT_EQ(status(api_vq_delete_1{}, {book, static_cast<UIntT>(third)}), ok);
    EXPECT_EQ(status(api_vq_object_valid_1{}, {book, static_cast<UIntT>(inner)}), no_such_object);
}

TEST_F(ModelTest, MenusAndCommands)
{
    ApiVqObjRetT menu{};
    answer(api_vq_get_named_object_1{}, context, {0, 55, chars("!BookContextMenu")}, menu);
    ASSERT_EQ(menu.status, ok);

    ApiVqObjRetT command{}, again{}, other{};
    answer(api_vq_define_and_add_command_1{}, context,
           {1, menu.objId, chars("Go"), chars("Go there"), chars("!x")}, command);
    answer(api_vq_define_and_add_command_1{}, context,
           {5, menu.objId, chars("Go"), chars("Gehen"), chars("")}, again);
    EXPECT_EQ(again.objId, command.objId);
    EXPECT_EQ(model.at(command.objId).label, "Gehen");
    EXPECT_EQ(model.at(command.objId).command, 5);
    EXPECT_EQ(model.at(menu.objId).members, std::vector<UIntT>{command.objId});
    caller.number = 2;
    answer(api_vq_define_command_1{}, context, {1, chars("Go"), chars("Go"), chars("!g")}, other);
    EXPECT_NE(other.objId, command.objId);
    EXPECT_EQ(model.at(other.objId).client, 2);
    EXPECT_EQ(status(api_vq_shortcut_exists_1{}, {chars("!g")}), 1);
    EXPECT_EQ(status(api_vq_shortcut_exists_1{}, {chars("")}), 0);

    // Refused before anything is defined.
    const std::size_t before = model.objects().size();
    ApiVqObjRetT refused{};
    answer(api_vq_define_and_add_command_1{}, context,
           {1, other.objId, chars("New"), chars("New"), chars("")}, refused);
    EXPECT_EQ(refused.status, wrong_kind);
    answer(api_vq_define_and_add_menu_1{}, context, {4711, chars("M"), chars("M")}, refused);
    EXPECT_EQ(refused.status, no_such_object);
    EXPECT_EQ(model.objects().size(), before);

    EXPECT_EQ(status(api_vq_add_menu_1{}, {chars("!MenuBar"), chars("Tools"), chars("Tools")}), ok);
    EXPECT_EQ(status(api_vq_menu_exists_1{}, {chars("Tools")}), 1);
    EXPECT_EQ(status(api_vq_menu_exists_1{}, {chars("None")}), 0);
    const UIntT tools = model.menu("Tools"), bar = model.menu(menu_bar);
    EXPECT_EQ(status(api_vq_add_command_to_menu_1{}, {tools, other.objId}), ok);
    EXPECT_EQ(status(api_vq_add_menu_to_menu_1{}, {tools, bar}), bad_value) << "no end";
    EXPECT_EQ(status(api_vq_add_menu_to_menu_1{}, {tools, tools}), bad_value);
    EXPECT_EQ(status(api_vq_add_menu_to_menu_1{}, {bar, other.objId}), wrong_kind);
    ApiVqObjRetT item{};
    answer(api_vq_menu_item_in_menu_1{}, context, {bar, other.objId, 0}, item);
    EXPECT_EQ(item.status, no_such_object);
    answer(api_vq_menu_item_in_menu_1{}, context, {bar, other.objId, 1}, item);
    EXPECT_EQ(item.objId, other.objId);
    EXPECT_EQ(status(api_vq_remove_menu_1{}, {chars("!MenuBar"), chars("Tools")}), ok);
    EXPECT_EQ(status(api_vq_remove_menu_1{}, {chars("!MenuBar"), chars("Tools")}), no_such_object);
    EXPECT_EQ(status(api_vq_delete_1{}, {0, command.objId}), ok);
    EXPECT_TRUE(model.at(menu.objId).members.empty());
}

TEST_F(ModelTest, NotificationsAndAlerts)
{
    EXPECT_EQ(status(api_vq_notification_1{}, {7, 1}), ok);
    EXPECT_TRUE(model.subscribed(1, 7));
    EXPECT_FALSE(model.subscribed(2, 7));
    EXPECT_EQ(status(api_vq_notification_1{}, {7, 0}), ok);
    EXPECT_FALSE(model.subscribed(1, 7));
    EXPECT_EQ(status(api_vq_alert_1{}, {chars("Sure?"), 2}), 42);
}

} // namespace
} // namespace velt::host
