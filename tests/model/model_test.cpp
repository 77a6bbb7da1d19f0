// The model through the answers that clients get.

#include "api/samples.h"
#include "support/answered.h"

#include <algorithm>

namespace velt::host
{
namespace
{

struct SilentConsole : Console {
    Reply ask(const Question &question) override { return 40 + question.detail; }
    void report(const std::string &) override {}
};

// The identifier of a property by its number.
V_PropIdentT key(IntT number)
{
    return {number, nullptr};
}

class ModelRules : public testing::Test
{
protected:
    Model model;
    SilentConsole console;
    Documents documents{model};
    ModelResponder responder{{model, documents}};
    Host host{{}, responder, console};
    Client client;
    Context context{{model, documents}, host, client};
    ModelRules() { client.number = 1; }
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
    IntT status(Procedure, const typename Procedure::Argument &argument)
    {
        IntT result = 1234;
        Answer<Procedure>::answer(context, argument, result);
        return result;
    }
    // The object that a call makes or finds, or its status, which is negative.
    template <class Procedure>
    IntT object(Procedure, const typename Procedure::Argument &argument)
    {
        Answered<Procedure> made(context, argument);
        return made->status == ok ? static_cast<IntT>(made->objId) : made->status;
    }
    UIntT id(UIntT doc, UIntT obj, IntT number)
    {
        Answered<api_vq_get_id_1> got(context, {doc, obj, key(number)});
        EXPECT_EQ(got->status, ok) << "property " << number;
        return got->result;
    }
    IntT set_id(UIntT doc, UIntT obj, IntT number, UIntT value)
    {
        return status(api_vq_set_id_1{}, {doc, obj, key(number), value});
    }
    // What clients read must agree with the reference in both directions.
    void check_order()
    {
        ASSERT_EQ(model.components(book), reference);
        EXPECT_EQ(id(0, book, property::first_component), reference[0]);
        for (std::size_t i = 0; i < reference.size(); i++) {
            EXPECT_EQ(id(book, reference[i], property::previous_component),
                      i == 0 ? 0 : reference[i - 1]);
            EXPECT_EQ(id(book, reference[i], property::next_component),
                      i + 1 == reference.size() ? 0 : reference[i + 1]);
        }
    }
};

TEST_F(ModelRules, EveryMoveInBothDirections)
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
                    EXPECT_EQ(set_id(book, moved, number, neighbour), bad_value);
                } else {
                    EXPECT_EQ(set_id(book, moved, number, neighbour), ok);
                    reference.erase(reference.begin() + static_cast<std::ptrdiff_t>(from));
                    reference.insert(std::ranges::find(reference, neighbour) + direction, moved);
                }
                check_order();
            }
}

TEST_F(ModelRules, ComponentsGetNamesAndTheFirstPlace)
{
    make_book(3);
    const UIntT second = reference[1];
    const auto rename = [&](const char *name) {
        return status(api_vq_set_string_1{},
                      {book, second, key(property::name), const_cast<StringT>(name)});
    };
    EXPECT_EQ(set_id(0, book, property::first_component, second), ok);
    std::swap(reference[0], reference[1]);
    check_order();
    EXPECT_EQ(set_id(0, book, property::first_component, second), ok);
    for (UIntT wrong : {0u, book, 4711u})
        EXPECT_EQ(set_id(0, book, property::first_component, wrong), bad_value);
    check_order();

    EXPECT_EQ(rename("c2"), bad_value) << "another's";
    for (const char *name : {"c1", "new", "", "new"})
        EXPECT_EQ(rename(name), ok) << name;
    EXPECT_EQ(object(api_vq_get_named_object_1{},
                     {book, object_type::component, const_cast<StringT>("new")}),
              static_cast<IntT>(second));
    Answered<api_vq_get_string_1> name(context, {book, second, key(property::name)});
    EXPECT_STREQ(name->result, "new");

    const UIntT empty = model.create(0, object_type::book, "Empty");
    EXPECT_EQ(id(0, empty, property::first_component), 0u);
    EXPECT_EQ(set_id(0, empty, property::first_component, second), bad_value);
}

TEST_F(ModelRules, MovesThatCannotBe)
{
    make_book(3);
    const UIntT other = model.create(0, object_type::book, "Other");
    const UIntT stranger = model.create(other, object_type::component, "stranger");
    for (UIntT value : {0u, book, stranger, 4711u})
        EXPECT_EQ(set_id(book, reference[0], property::next_component, value), bad_value);
    EXPECT_EQ(status(api_vq_set_int_1{}, {book, reference[0], key(property::next_component), 1}),
              wrong_kind);
    check_order();
}

TEST_F(ModelRules, DeletingAComponent)
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
    EXPECT_THROW(model.at(reference[0]), std::out_of_range);
    EXPECT_EQ(status(api_vq_delete_1{}, {0, 0}), not_permitted);
    EXPECT_EQ(status(api_vq_delete_1{}, {0, model.menu(book_context_menu)}), not_permitted);
}

TEST_F(ModelRules, PropertiesWithABehaviour)
{
    make_book(2);
    const UIntT other = model.create(0, object_type::book, "Other");
    EXPECT_EQ(id(0, 0, property::active_book), book);
    EXPECT_EQ(set_id(0, 0, property::active_book, other), ok);
    EXPECT_EQ(id(0, 0, property::active_book), other);
    EXPECT_EQ(set_id(0, 0, property::active_book, reference[0]), bad_value);
    EXPECT_EQ(set_id(0, other, property::selected_component, reference[0]), bad_value);
    EXPECT_EQ(status(api_vq_set_int_1{}, {0, 0, key(property::language), 3}), not_permitted);
    EXPECT_EQ(status(api_vq_delete_prop_1{}, {book, reference[0], key(property::moved)}),
              not_permitted);

    model.set_dialog_encoding("VeltRoman");
    Answered<api_vq_get_string_1> encoding(context, {0, 0, key(property::dialog_encoding)});
    EXPECT_STREQ(encoding->result, "VeltRoman");

    Answered<api_vq_get_props_1> all(context, {book, reference[0]});
    ASSERT_EQ(all->status, ok);
    ASSERT_EQ(all->params.len, 5u);
    EXPECT_EQ(all->params.val[1].propIdent.num, property::next_component);
    EXPECT_EQ(all->params.val[1].propVal.u.intVal, static_cast<IntT>(reference[1]));
}

// Values of every kind, each with its lists and options empty and not.
class Samples
{
public:
    Samples()
    {
        for (IntT kind = 1; kind < 20; kind++)
            for (unsigned seed : {0U, 22U})
                values.push_back(sample<V_TypedValT>(static_cast<unsigned>(kind) + seed));
        for (V_TypedValT &value : values)
            if (value.valType == kind::id)
                value.u.intVal &= 0x7FFFFFFF; // a signed value, read as an unsigned one
    }
    ~Samples()
    {
        for (V_TypedValT &value : values)
            velt::release(value);
    }
    auto begin() const { return values.begin(); }
    auto end() const { return values.end(); }

private:
    std::vector<V_TypedValT> values;
};

V_TypedValT integer(IntT value)
{
    V_TypedValT made{kind::integer, {}};
    made.u.intVal = value;
    return made;
}

TEST_F(ModelRules, EveryKindByNumberAndByName)
{
    make_book(1);
    const UIntT component = reference[0];
    for (const V_PropIdentT name : {key(100), V_PropIdentT{0, str("k")}}) {
        for (const V_TypedValT &value : Samples()) {
            EXPECT_EQ(status(api_vq_set_val_1{}, {book, component, name, value}), ok);
            Answered<api_vq_get_val_1> got(context, {book, component, name});
            EXPECT_EQ(got->status, ok);
            EXPECT_EQ(tell(got->typedVal), tell(value));

            // The kind stays; the value of another is refused and changes nothing.
            V_TypedValT other = integer(3);
            other.valType += value.valType == kind::integer;
            EXPECT_EQ(status(api_vq_set_val_1{}, {book, component, name, other}), wrong_kind);
            Answered<api_vq_get_prop_1> kept(context, {book, component, name});
            EXPECT_EQ(tell(kept->propVal), tell(V_PropValT{name, value}));

            EXPECT_EQ(status(api_vq_delete_prop_1{}, {book, component, name}), ok);
            EXPECT_EQ(status(api_vq_delete_prop_1{}, {book, component, name}), no_such_property);
        }
    }
    for (IntT unknown : {0, 20, -1})
        EXPECT_EQ(status(api_vq_set_val_1{}, {book, component, key(100), {unknown, {}}}),
                  wrong_kind);
    EXPECT_EQ(status(api_vq_set_val_1{}, {book, component, key(0), integer(1)}), no_such_property);
}

// Each pair of typed calls reads what it wrote, and only the calls of that kind do.
TEST_F(ModelRules, EveryTypedGetterAgainstEveryKind)
{
    make_book(1);
    const UIntT component = reference[0];
    for (const V_TypedValT &value : Samples()) {
        const V_PropIdentT name = key(100 + value.valType);
        ASSERT_EQ(status(api_vq_set_val_1{}, {book, component, name, value}), ok);
        const bool absent = value.valType == kind::element_range && !value.u.elemRangeVal;
#define GETS(stub, kind, field)                                                                    \
    {                                                                                              \
        Answered<stub> got(context, {book, component, name});                                      \
        const bool fits = value.valType == (kind);                                                 \
        EXPECT_EQ(got->status, fits ? ok : wrong_kind) << #stub << value.valType;                  \
        if (fits && !absent) {                                                                     \
            EXPECT_NE(tell(value).find(tell(got->field)), std::string::npos) << #stub;             \
        }                                                                                          \
    }
        /* clang-format off */
        GETS(api_vq_get_int_1, 1, result)
        GETS(api_vq_get_id_1, 4, result)
        GETS(api_vq_get_metric_1, 2, result)
        GETS(api_vq_get_string_1, 3, result)
        GETS(api_vq_get_strings_1, 6, strings)
        GETS(api_vq_get_metrics_1, 5, metrics)
        GETS(api_vq_get_ints_1, 13, ints)
        GETS(api_vq_get_points_1, 7, points)
        GETS(api_vq_get_tabs_1, 8, tabs)
        GETS(api_vq_get_ubytes_1, 14, ubytes)
        GETS(api_vq_get_textloc_1, 9, textLoc)
        GETS(api_vq_get_textrange_1, 10, textRange)
        GETS(api_vq_get_element_catalog_1, 12, catalog)
        GETS(api_vq_get_attribute_defs_1, 17, attrDefs)
        GETS(api_vq_get_attributes_1, 18, attrs)
        GETS(api_vq_get_element_range_1, 19, elemRange)
        /* clang-format on */
    }
    Answered<api_vq_get_int_1> missing(context, {book, component, key(9999)});
    EXPECT_EQ(missing->status, no_such_property);
    V_ElementRangeT range{{9, 8, 7}, {6, 5, 4}};
    EXPECT_EQ(status(api_vq_set_element_range_1{}, {book, component, key(119), range}), ok);
    Answered<api_vq_get_element_range_1> got(context, {book, component, key(119)});
    EXPECT_EQ(tell(got->elemRange), tell(range));
    EXPECT_EQ(status(api_vq_set_metric_1{}, {book, component, key(102), -5}), ok);
    EXPECT_EQ(status(api_vq_set_metric_1{}, {book, component, key(101), -5}), wrong_kind);
}

TEST_F(ModelRules, ListsOfPropertiesAreWrittenWholeOrNotAtAll)
{
    make_book(2);
    const auto typed = [](IntT kind, IntT value) { return Value::integer(value, kind).get(); };
    const Value taken = Value::string("c1"), free = Value::string("new");
    const auto first = static_cast<IntT>(reference[0]), second = static_cast<IntT>(reference[1]);
    const struct {
        V_PropValT last;
        IntT status;
    } cases[] = {{{key(property::next_component), integer(second)}, wrong_kind},
                 {{key(property::next_component), typed(kind::id, first)}, bad_value},
                 {{key(property::document), typed(kind::id, 0)}, not_permitted},
                 {{key(property::name), taken.get()}, bad_value},
                 {{key(200), typed(kind::metric, 1)}, wrong_kind},
                 {{key(0), integer(1)}, no_such_property},
                 {{key(201), integer(1)}, ok}};
    for (const auto &[last, expected] : cases) {
        V_PropValT list[] = {{key(200), integer(1001)},
                             {key(property::name), free.get()},
                             {key(property::previous_component), typed(kind::id, second)},
                             last};
        EXPECT_EQ(status(api_vq_set_props_1{}, {book, reference[0], {4, list}}), expected);
        if (expected == ok)
            std::swap(reference[0], reference[1]);
        check_order();
        const auto moved = static_cast<UIntT>(first);
        EXPECT_EQ(model.at(moved).name, expected == ok ? "new" : "c0");
        EXPECT_EQ(model.at(moved).properties.contains(PropertyKey(200)), expected == ok);
    }
    EXPECT_EQ(status(api_vq_set_props_1{}, {book, 999, {0, nullptr}}), no_such_object);
}

TEST_F(ModelRules, ObjectsAreFoundAndMade)
{
    make_book(2);
    constexpr IntT component = object_type::component;
    const IntT third = object(api_vq_new_named_object_1{}, {book, component, str("third")});
    ASSERT_GT(third, 0);
    const auto third_id = static_cast<UIntT>(third);
    reference.push_back(third_id);
    for (std::ptrdiff_t i : {0, 1}) // first, then behind that one
        reference.insert(reference.begin() + i,
                         static_cast<UIntT>(object(api_vq_new_series_object_1{},
                                                   {book, component, i ? reference[0] : 0})));
    check_order();

    EXPECT_EQ(object(api_vq_new_named_object_1{}, {book, component, str("third")}), bad_value);
    EXPECT_EQ(object(api_vq_new_named_object_1{}, {0, component, str("x")}), no_such_document);
    EXPECT_EQ(object(api_vq_new_named_object_1{}, {book, object_type::session, str("x")}),
              bad_value);
    EXPECT_EQ(object(api_vq_get_named_object_1{}, {book, component, str("third")}), third);
    EXPECT_EQ(object(api_vq_get_named_object_1{}, {book, 77, str("third")}), no_such_object);
    EXPECT_EQ(object(api_vq_get_named_object_1{}, {888, 77, str("third")}), no_such_document);
    EXPECT_EQ(object(api_vq_get_unique_object_1{}, {book, component, third}), third);
    EXPECT_EQ(object(api_vq_get_unique_object_1{}, {book, 77, third}), no_such_object);

    // A document itself is (doc, doc), also for what is written into it and made in it.
    const UIntT doc = model.create_document("");
    V_TypedValT catalog{kind::element_catalog, {}};
    EXPECT_EQ(status(api_vq_set_val_1{}, {doc, doc, key(V_prop_element_catalog), catalog}), ok);
    EXPECT_TRUE(model.changed(doc));
    Answered<api_vq_get_element_catalog_1> got(context, {doc, doc, key(V_prop_element_catalog)});
    EXPECT_EQ(got->status, ok);
    const IntT flow = object(api_vq_new_sub_object_1{}, {doc, doc, object_type::flow});
    EXPECT_EQ(model.members(doc).back(), static_cast<UIntT>(flow));
    EXPECT_EQ(status(api_vq_delete_1{}, {doc, doc}), not_permitted);

    // What is inside goes with it.
    const auto frame =
        static_cast<UIntT>(object(api_vq_new_graphic_object_1{}, {book, 77, third_id}));
    const IntT inner = object(api_vq_new_sub_object_1{}, {book, frame, 78});
    ASSERT_GT(inner, 0);
    EXPECT_EQ(status(api_vq_delete_1{}, {book, third_id}), ok);
    EXPECT_EQ(status(api_vq_object_valid_1{}, {book, static_cast<UIntT>(inner)}), no_such_object);
}

TEST_F(ModelRules, NamesLeadToTheOldestThatHasThem)
{
    make_book(1);
    constexpr IntT component = object_type::component;
    const auto found = [&](const char *name) {
        const Object *one = model.find(book, component, name);
        return one ? one->id : 0;
    };
    const auto rename = [&](UIntT id, const char *name) {
        model.set(book, id, PropertyKey(property::name), Value::string(name).get());
    };
    const UIntT older = model.append(book, component, "twin");
    const UIntT younger = model.append(book, component, "twin");
    EXPECT_EQ(found("twin"), older);
    rename(older, "single");
    EXPECT_EQ(found("single"), older);
    EXPECT_EQ(found("twin"), younger);
    rename(older, "");
    EXPECT_EQ(found(""), older);
    model.remove(book, younger);
    EXPECT_EQ(found("twin"), 0u);
    EXPECT_GT(model.create(book, component, "twin"), younger);
}

TEST_F(ModelRules, MenusAndCommands)
{
    const UIntT menu = model.menu(book_context_menu);
    EXPECT_EQ(object(api_vq_get_named_object_1{}, {0, 55, str("!BookContextMenu")}),
              static_cast<IntT>(menu));

    const IntT command =
        object(api_vq_define_and_add_command_1{}, {1, menu, str("Go"), str("Go there"), str("!x")});
    EXPECT_EQ(
        object(api_vq_define_and_add_command_1{}, {5, menu, str("Go"), str("Gehen"), str("")}),
        command);
    const auto command_id = static_cast<UIntT>(command);
    EXPECT_EQ(model.at(command_id).label, "Gehen");
    EXPECT_EQ(model.at(command_id).command, 5);
    EXPECT_EQ(model.at(menu).items, std::vector<UIntT>{command_id});
    client.number = 2;
    const auto other =
        static_cast<UIntT>(object(api_vq_define_command_1{}, {1, str("Go"), str("Go"), str("!g")}));
    EXPECT_NE(other, command_id);
    EXPECT_EQ(model.at(other).client, 2);
    EXPECT_EQ(status(api_vq_shortcut_exists_1{}, {str("!g")}), 1);
    EXPECT_EQ(status(api_vq_shortcut_exists_1{}, {str("")}), 0);

    // Refused before anything is defined.
    EXPECT_EQ(
        object(api_vq_define_and_add_command_1{}, {1, other, str("New"), str("New"), str("")}),
        wrong_kind);
    EXPECT_EQ(object(api_vq_define_and_add_menu_1{}, {4711, str("M"), str("M")}), no_such_object);
    EXPECT_FALSE(model.find(0, object_type::command, "New"));
    EXPECT_FALSE(model.find(0, object_type::menu, "M"));

    EXPECT_EQ(status(api_vq_add_menu_1{}, {str("!MenuBar"), str("Tools"), str("Tools")}), ok);
    EXPECT_EQ(status(api_vq_menu_exists_1{}, {str("Tools")}), 1);
    EXPECT_EQ(status(api_vq_menu_exists_1{}, {str("None")}), 0);
    const UIntT tools = model.menu("Tools"), bar = model.menu(menu_bar);
    EXPECT_EQ(status(api_vq_add_command_to_menu_1{}, {tools, other}), ok);
    EXPECT_EQ(status(api_vq_add_menu_to_menu_1{}, {tools, bar}), bad_value) << "no end";
    EXPECT_EQ(status(api_vq_add_menu_to_menu_1{}, {tools, tools}), bad_value);
    EXPECT_EQ(status(api_vq_add_menu_to_menu_1{}, {bar, other}), wrong_kind);
    EXPECT_EQ(object(api_vq_menu_item_in_menu_1{}, {bar, other, 0}), no_such_object);
    EXPECT_EQ(object(api_vq_menu_item_in_menu_1{}, {bar, other, 1}), static_cast<IntT>(other));
    EXPECT_EQ(status(api_vq_remove_menu_1{}, {str("!MenuBar"), str("Tools")}), ok);
    EXPECT_EQ(status(api_vq_remove_menu_1{}, {str("!MenuBar"), str("Tools")}), no_such_object);
    EXPECT_EQ(status(api_vq_add_menu_to_menu_1{}, {menu, tools}), ok);
    EXPECT_EQ(status(api_vq_delete_1{}, {0, tools}), ok);
    EXPECT_EQ(status(api_vq_delete_1{}, {0, other}), ok);
    EXPECT_EQ(status(api_vq_shortcut_exists_1{}, {str("!g")}), 0);
    EXPECT_EQ(model.at(menu).items, std::vector<UIntT>{command_id});
    EXPECT_EQ(status(api_vq_delete_1{}, {0, command_id}), ok);
    EXPECT_TRUE(model.at(menu).items.empty());
}

TEST_F(ModelRules, NotificationsAndAlerts)
{
    EXPECT_EQ(status(api_vq_notification_1{}, {7, 1}), ok);
    EXPECT_TRUE(model.subscribed(1, 7));
    EXPECT_FALSE(model.subscribed(2, 7));
    EXPECT_EQ(status(api_vq_notification_1{}, {7, 0}), ok);
    EXPECT_FALSE(model.subscribed(1, 7));
    EXPECT_EQ(status(api_vq_alert_1{}, {str("Sure?"), 2}), 42);
}

} // namespace
} // namespace velt::host
