// The objects of the model and their properties, through the calls of clients.

#include "support/host_in_process.h"

namespace velt::host
{
namespace
{

class ModelRules : public HostInProcess
{
protected:
    UIntT book = 0;
    std::vector<UIntT> reference; // the order as it should be

    void make_book(int components)
    {
        book = V_ApiNewNamedObject(0, V_type_book, "Book");
        model.activate(book);
        for (int i = 0; i < components; i++)
            reference.push_back(
                V_ApiNewNamedObject(book, V_type_component, ("c" + std::to_string(i)).c_str()));
    }
    // What clients read must agree with the reference in both directions.
    void check_order()
    {
        ASSERT_EQ(model.components(book), reference);
        EXPECT_CALL(ok, reference[0], V_ApiGetId(0, book, V_prop_first_component));
        for (std::size_t i = 0; i < reference.size(); i++) {
            const UIntT before = i == 0 ? 0 : reference[i - 1];
            const UIntT after = i + 1 == reference.size() ? 0 : reference[i + 1];
            EXPECT_CALL(ok, before, V_ApiGetId(book, reference[i], V_prop_previous_component));
            EXPECT_CALL(ok, after, V_ApiGetId(book, reference[i], V_prop_next_component));
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
                const IntT number = direction ? V_prop_previous_component : V_prop_next_component;
                EXPECT_STATUS(from == to ? bad_value : ok,
                              V_ApiSetId(book, moved, number, neighbour));
                if (from != to) {
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
    EXPECT_STATUS(ok, V_ApiSetId(0, book, V_prop_first_component, second));
    std::swap(reference[0], reference[1]);
    check_order();
    EXPECT_STATUS(ok, V_ApiSetId(0, book, V_prop_first_component, second));
    const UIntT empty = V_ApiNewNamedObject(0, V_type_book, "Empty");
    const UIntT stranger = V_ApiNewNamedObject(0, V_type_book, "Other");
    for (const UIntT wrong : {UIntT{0}, book, stranger, UIntT{4711}}) {
        EXPECT_STATUS(bad_value, V_ApiSetId(0, book, V_prop_first_component, wrong));
        EXPECT_STATUS(bad_value, V_ApiSetId(book, second, V_prop_next_component, wrong));
    }
    EXPECT_STATUS(wrong_kind, V_ApiSetInt(book, second, V_prop_next_component, 1));
    check_order();

    EXPECT_STATUS(bad_value, V_ApiSetString(book, second, V_prop_name, "c2"));
    for (const char *name : {"c1", "new", "", "new"})
        EXPECT_STATUS(ok, V_ApiSetString(book, second, V_prop_name, name));
    EXPECT_CALL(ok, second, V_ApiGetNamedObject(book, V_type_component, "new"));
    EXPECT_CALL(ok, "new", V_ApiGetString(book, second, V_prop_name));
    EXPECT_CALL(ok, 0, V_ApiGetId(0, empty, V_prop_first_component));
    EXPECT_STATUS(bad_value, V_ApiSetId(0, empty, V_prop_first_component, second));
}

TEST_F(ModelRules, DeletingAComponent)
{
    make_book(4);
    model.select(book, reference[1]);
    EXPECT_CALL(ok, 0, V_ApiDelete(book, reference[2]));
    reference.erase(reference.begin() + 2);
    check_order();
    EXPECT_CALL(ok, reference[1], V_ApiGetId(0, book, V_prop_selected_component));

    const UIntT gone = reference[1];
    EXPECT_CALL(ok, 1, V_ApiObjectValid(book, gone));
    EXPECT_CALL(ok, 0, V_ApiDelete(book, gone));
    reference.erase(reference.begin() + 1);
    check_order();
    EXPECT_CALL(ok, 0, V_ApiGetId(0, book, V_prop_selected_component));
    EXPECT_CALL(no_such_object, no_such_object, V_ApiDelete(book, gone));
    EXPECT_CALL(no_such_object, 0, V_ApiObjectValid(book, gone));

    EXPECT_CALL(ok, 0, V_ApiDelete(0, book));
    EXPECT_CALL(ok, 0, V_ApiGetId(0, 0, V_prop_active_book));
    EXPECT_THROW(model.at(reference[0]), std::out_of_range);
    EXPECT_STATUS(not_permitted, V_ApiDelete(0, 0));
    EXPECT_STATUS(not_permitted, V_ApiDelete(0, model.menu(book_context_menu)));
}

TEST_F(ModelRules, PropertiesWithABehaviour)
{
    make_book(2);
    const UIntT other = V_ApiNewNamedObject(0, V_type_book, "Other");
    EXPECT_CALL(ok, book, V_ApiGetId(0, 0, V_prop_active_book));
    EXPECT_STATUS(ok, V_ApiSetId(0, 0, V_prop_active_book, other));
    EXPECT_CALL(ok, other, V_ApiGetId(0, 0, V_prop_active_book));
    EXPECT_STATUS(bad_value, V_ApiSetId(0, 0, V_prop_active_book, reference[0]));
    EXPECT_STATUS(bad_value, V_ApiSetId(0, other, V_prop_selected_component, reference[0]));
    EXPECT_STATUS(not_permitted, V_ApiSetInt(0, 0, V_prop_language, 3));
    EXPECT_THROW(model.remove_property(book, reference[0], PropertyKey(property::moved)),
                 StatusError);
    model.set_dialog_encoding("VeltRoman");
    EXPECT_CALL(ok, "VeltRoman", V_ApiGetString(0, 0, V_prop_dialog_encoding));

    V_PropValsT all = V_ApiGetProps(book, reference[0]);
    ASSERT_EQ(all.len, 5u);
    EXPECT_EQ(tell(all.val[1]),
              tell(property_of(V_prop_next_component,
                               integer(static_cast<IntT>(reference[1]), V_kind_id))));
    V_ApiDeallocatePropVals(&all);
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

TEST_F(ModelRules, EveryKindByNumberAndByName)
{
    make_book(1);
    const UIntT component = reference[0];
    for (const V_TypedValT &value : Samples()) {
        const IntT number = 100 + value.valType;
        const V_PropValT named{{0, str("k")}, value};
        V_TypedValT other = integer(3);
        other.valType += value.valType == V_kind_integer;
        const V_PropValT other_named{{0, str("k")}, other};
        EXPECT_STATUS(ok, V_ApiSetVal(book, component, number, &value));
        EXPECT_STATUS(ok, V_ApiSetPropVal(book, component, &named));
        // The kind stays; the value of another is refused and changes nothing.
        EXPECT_STATUS(wrong_kind, V_ApiSetVal(book, component, number, &other));
        EXPECT_STATUS(wrong_kind, V_ApiSetPropVal(book, component, &other_named));
        EXPECT_CALL(ok, value, V_ApiGetVal(book, component, number));
        EXPECT_CALL(ok, property_of(number, value), V_ApiGetPropVal(book, component, number));
        const std::string all = outcome([&] { return V_ApiGetProps(book, component); });
        EXPECT_NE(all.find(tell(named)), all.npos) << all;
        EXPECT_STATUS(ok, V_ApiDeletePropByName(book, component, "k"));
        EXPECT_STATUS(no_such_property, V_ApiDeletePropByName(book, component, "k"));
        model.remove_property(book, component, PropertyKey(number));
    }
    const V_TypedValT one = integer(1);
    EXPECT_STATUS(no_such_property, V_ApiSetVal(book, component, 0, &one));
}

template <class T>
auto passed(const T &value)
{
    if constexpr (std::is_scalar_v<T>)
        return value;
    else
        return &value;
}

TEST_F(ModelRules, EveryTypedCallAgainstEveryKind)
{
    make_book(1);
    const UIntT c = reference[0];
    for (const V_TypedValT &value : Samples()) {
        const IntT from = 100 + value.valType, to = 200;
        EXPECT_STATUS(ok, V_ApiSetVal(book, c, from, &value));
        const auto pair = [&](IntT of_kind, auto get, auto set) {
            VA_errno = 0;
            auto got = get(from);
            const IntT status = value.valType == of_kind ? ok : wrong_kind;
            EXPECT_EQ(VA_errno, status) << of_kind << ' ' << value.valType;
            EXPECT_STATUS(status, set(status == ok ? to : from, passed(got)));
            if (status == ok) {
                if (of_kind != V_kind_element_range || value.u.elemRangeVal) // else it is zero now
                    EXPECT_CALL(ok, value, V_ApiGetVal(book, c, to));
                model.remove_property(book, c, PropertyKey(to));
            }
            velt::release(got);
        };
#define PAIR(kind, name)                                                                           \
    pair(                                                                                          \
        kind, [&](IntT number) { return V_ApiGet##name(book, c, number); },                        \
        [&](IntT number, auto given) { V_ApiSet##name(book, c, number, given); })
        PAIR(V_kind_integer, Int);
        PAIR(V_kind_metric, Metric);
        PAIR(V_kind_string, String);
        PAIR(V_kind_id, Id);
        PAIR(V_kind_metrics, Metrics);
        PAIR(V_kind_strings, Strings);
        PAIR(V_kind_points, Points);
        PAIR(V_kind_tabs, Tabs);
        PAIR(V_kind_text_location, TextLoc);
        PAIR(V_kind_text_range, TextRange);
        PAIR(V_kind_integers, Ints);
        PAIR(V_kind_element_range, ElementRange);
        EXPECT_CALL(ok, value, V_ApiGetVal(book, c, from));
    }
}

TEST_F(ModelRules, TypedCallsOfPropertiesThatTheyName)
{
    make_book(1);
    const UIntT c = reference[0];
    auto bytes = sample<V_UBytesT>(7);
    auto definitions = sample<V_AttributeDefsT>(7);
    auto attributes = sample<V_AttributesT>(7);
    auto catalog = sample<V_ElementCatalogEntriesT>(7);
    EXPECT_STATUS(ok, V_ApiSetUBytesByName(book, c, "b", &bytes));
    EXPECT_CALL(ok, bytes, V_ApiGetUBytesByName(book, c, "b"));
    EXPECT_STATUS(ok, V_ApiSetAttributeDefs(book, c, &definitions));
    EXPECT_CALL(ok, definitions, V_ApiGetAttributeDefs(book, c));
    EXPECT_STATUS(ok, V_ApiSetAttributes(book, c, &attributes));
    EXPECT_CALL(ok, attributes, V_ApiGetAttributes(book, c));
    EXPECT_STATUS(ok, V_ApiSetIntByName(book, c, "i", -2));
    EXPECT_CALL(ok, -2, V_ApiGetIntByName(book, c, "i"));
    EXPECT_CALL(wrong_kind, 0, V_ApiGetMetricByName(book, c, "i"));
    EXPECT_CALL(no_such_property, "[] ", V_ApiGetUBytesByName(book, c, "none"));
    V_TypedValT value{V_kind_element_catalog, {}};
    value.u.catalogVal = catalog;
    const UIntT doc = model.create_document("");
    EXPECT_STATUS(ok, V_ApiSetVal(doc, doc, V_prop_element_catalog, &value));
    EXPECT_CALL(ok, catalog, V_ApiGetElementCatalog(doc));
    velt::release(bytes);
    velt::release(definitions);
    velt::release(attributes);
    velt::release(catalog);
}

TEST_F(ModelRules, ListsOfPropertiesAreWrittenWholeOrNotAtAll)
{
    make_book(2);
    const UIntT moved = reference[0];
    const auto id = [](UIntT of) { return integer(static_cast<IntT>(of), V_kind_id); };
    const std::pair<V_PropValT, IntT> cases[] = {
        {property_of(V_prop_next_component, integer(1)), wrong_kind},
        {property_of(V_prop_next_component, id(moved)), bad_value},
        {property_of(V_prop_document, id(0)), not_permitted},
        {property_of(V_prop_name, string("c1")), bad_value},
        {property_of(200, integer(1, V_kind_metric)), wrong_kind},
        {property_of(0, integer(1)), no_such_property},
        {property_of(201, integer(1)), ok}};
    for (const auto &each : cases) {
        std::vector<V_PropValT> all{
            property_of(200, integer(1001)), property_of(V_prop_name, string("new")),
            property_of(V_prop_previous_component, id(reference[1])), each.first};
        const V_PropValsT list = list_of(all);
        EXPECT_STATUS(each.second, V_ApiSetProps(book, moved, &list));
        if (each.second == ok)
            std::swap(reference[0], reference[1]);
        check_order();
        EXPECT_EQ(model.at(moved).name, each.second == ok ? "new" : "c0");
        EXPECT_STATUS(each.second == ok ? ok : no_such_property, V_ApiGetInt(book, moved, 200));
    }
}

TEST_F(ModelRules, ObjectsAreFoundAndMade)
{
    make_book(2);
    constexpr IntT component = V_type_component;
    const UIntT third = V_ApiNewNamedObject(book, component, "third");
    reference.push_back(third);
    for (std::ptrdiff_t i : {0, 1}) // first, then behind that one
        reference.insert(reference.begin() + i,
                         V_ApiNewSeriesObject(book, component, i ? reference[0] : 0));
    check_order();

    EXPECT_CALL(bad_value, 0, V_ApiNewNamedObject(book, component, "third"));
    EXPECT_CALL(no_such_document, 0, V_ApiNewNamedObject(0, component, "x"));
    EXPECT_CALL(bad_value, 0, V_ApiNewNamedObject(book, V_type_session, "x"));
    EXPECT_CALL(ok, third, V_ApiGetNamedObject(book, component, "third"));
    EXPECT_CALL(no_such_object, 0, V_ApiGetNamedObject(book, 77, "third"));
    EXPECT_CALL(ok, third, V_ApiGetUniqueObject(book, component, static_cast<IntT>(third)));
    EXPECT_CALL(no_such_object, 0, V_ApiGetUniqueObject(book, 77, static_cast<IntT>(third)));

    // A document itself is (doc, doc), also for what is written into it and made in it.
    const UIntT doc = model.create_document("");
    const UIntT flow = V_ApiNewSubObject(doc, doc, V_type_flow);
    EXPECT_EQ(model.members(doc).back(), flow);
    EXPECT_TRUE(model.changed(doc));
    EXPECT_STATUS(not_permitted, V_ApiDelete(doc, doc));

    // What is inside goes with it.
    const UIntT frame = V_ApiNewGraphicObject(book, 77, third);
    const UIntT inner = V_ApiNewSubObject(book, frame, 78);
    EXPECT_CALL(ok, 1, V_ApiObjectValid(book, inner));
    EXPECT_CALL(ok, 0, V_ApiDelete(book, third));
    EXPECT_CALL(no_such_object, 0, V_ApiObjectValid(book, inner));
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
    EXPECT_EQ(found(""), 0u);
    model.remove(book, younger);
    EXPECT_EQ(found("twin"), 0u);
    EXPECT_GT(model.create(book, component, "twin"), younger);
}

TEST_F(ModelRules, MenusAndCommands)
{
    const UIntT menu = model.menu(book_context_menu), bar = model.menu(menu_bar);
    EXPECT_CALL(ok, menu, V_ApiGetNamedObject(0, V_type_menu, "!BookContextMenu"));
    const UIntT command = V_ApiDefineAndAddCommand(1, menu, "Go", "Go there", "!x");
    EXPECT_CALL(ok, command, V_ApiDefineAndAddCommand(5, menu, "Go", "Gehen", ""));
    EXPECT_EQ(model.at(command).label, "Gehen");
    EXPECT_EQ(model.at(command).command, 5);
    EXPECT_EQ(model.at(menu).items, std::vector<UIntT>{command});
    calls.client.number = 2;
    const UIntT other = V_ApiDefineCommand(1, "Go", "Go", "!g");
    EXPECT_NE(other, command);
    EXPECT_EQ(model.at(other).client, 2);
    EXPECT_CALL(ok, 1, V_ApiShortcutExists("!g"));
    EXPECT_CALL(ok, 0, V_ApiShortcutExists(""));

    // Refused before anything is defined.
    EXPECT_CALL(wrong_kind, 0, V_ApiDefineAndAddCommand(1, other, "New", "New", ""));
    EXPECT_CALL(no_such_object, 0, V_ApiDefineAndAddMenu(4711, "M", "M"));
    EXPECT_CALL(no_such_object, no_such_object, V_ApiAddCommand(1, "M", "New", "New", ""));
    EXPECT_FALSE(model.find(0, V_type_command, "New"));
    EXPECT_FALSE(model.find(0, V_type_menu, "M"));

    EXPECT_CALL(ok, 0, V_ApiAddMenu("!MenuBar", "Tools", "Tools"));
    EXPECT_CALL(ok, 1, V_ApiMenuExists("Tools"));
    EXPECT_CALL(ok, 0, V_ApiMenuExists("None"));
    EXPECT_CALL(ok, 0, V_ApiAddCommand(8, "Tools", "Run", "Run", ""));
    const UIntT tools = model.menu("Tools"), run = model.at(tools).items.at(0);
    EXPECT_EQ(model.at(run).command, 8);
    const UIntT more = V_ApiDefineMenu("More", "More...");
    EXPECT_EQ(model.at(more).label, "More...");
    EXPECT_CALL(bad_value, 0, V_ApiDefineMenu("More", ""));
    const UIntT last = V_ApiDefineAndAddMenu(more, "Last", "");
    EXPECT_EQ(model.at(more).items, std::vector<UIntT>{last});
    EXPECT_CALL(ok, 0, V_ApiAddCommandToMenu(tools, other));
    EXPECT_CALL(wrong_kind, wrong_kind, V_ApiAddCommandToMenu(tools, bar));
    EXPECT_CALL(bad_value, bad_value, V_ApiAddMenuToMenu(tools, bar));
    EXPECT_CALL(bad_value, bad_value, V_ApiAddMenuToMenu(tools, tools));
    EXPECT_CALL(wrong_kind, wrong_kind, V_ApiAddMenuToMenu(bar, other));
    EXPECT_CALL(no_such_object, 0, V_ApiMenuItemInMenu(bar, other, 0));
    EXPECT_CALL(ok, other, V_ApiMenuItemInMenu(bar, other, 1));
    EXPECT_CALL(ok, 0, V_ApiRemoveMenu("!MenuBar", "Tools"));
    EXPECT_CALL(no_such_object, no_such_object, V_ApiRemoveMenu("!MenuBar", "Tools"));
    EXPECT_CALL(ok, 0, V_ApiAddMenuToMenu(menu, tools));
    EXPECT_CALL(ok, 0, V_ApiDelete(0, tools));
    EXPECT_CALL(ok, 0, V_ApiDelete(0, other));
    EXPECT_CALL(ok, 0, V_ApiShortcutExists("!g"));
    EXPECT_EQ(model.at(menu).items, std::vector<UIntT>{command});
    EXPECT_CALL(ok, 0, V_ApiDelete(0, command));
    EXPECT_TRUE(model.at(menu).items.empty());
}

} // namespace
} // namespace velt::host
