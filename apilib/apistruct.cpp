// Property lists; copy and release of every value and list; the arguments of file filters.

#include <iterator>

#include "apilib/wire/memory.h"
#include "velt/api/facts.h"

namespace
{

template <class T>
T copy_or(const T *value, const T &fallback)
{
    return value ? velt::copy(*value) : fallback;
}

template <class T>
void release_at(T *value)
{
    if (value)
        velt::release(*value);
}

UIntT room(IntT count)
{
    return count > 0 ? static_cast<UIntT>(count) : 0;
}

} // namespace

#define V_LIST(name, element, plural)                                                              \
    name V_ApiCopy##plural(const name *list)                                                       \
    {                                                                                              \
        return list ? velt::copy(*list) : velt::allocate<name>(0);                                 \
    }                                                                                              \
    void V_ApiDeallocate##plural(name *list)                                                       \
    {                                                                                              \
        release_at(list);                                                                          \
    }
#include "velt/tables/values.def"

// clang-format off
V_TypedValT V_ApiCopyVal(const V_TypedValT *value) { return copy_or(value, {}); }
void V_ApiDeallocateVal(V_TypedValT *value) { release_at(value); }

V_PropValT V_ApiCopyPropVal(const V_PropValT *entry) { return copy_or(entry, {{0, nullptr}, {V_kind_integer, {}}}); }
void V_ApiDeallocatePropVal(V_PropValT *entry) { release_at(entry); }

TextItemT V_ApiCopyTextItem(const TextItemT *item) { return copy_or(item, {0, 1, {}}); }
void V_ApiDeallocateTextItem(TextItemT *item) { release_at(item); }

V_TabT V_ApiCopyTab(const V_TabT *tab) { return copy_or(tab, {}); }
void V_ApiDeallocateTab(V_TabT *tab) { release_at(tab); }

V_AttributeDefT V_ApiCopyAttributeDef(const V_AttributeDefT *def) { return copy_or(def, {}); }
void V_ApiDeallocateAttributeDef(V_AttributeDefT *def) { release_at(def); }

V_AttributeT V_ApiCopyAttribute(const V_AttributeT *attribute) { return copy_or(attribute, {}); }
void V_ApiDeallocateAttribute(V_AttributeT *attribute) { release_at(attribute); }

V_PropValsT V_ApiAllocatePropVals(IntT count) { return velt::allocate<V_PropValsT>(room(count)); }
TextItemsT V_ApiAllocateTextItems(IntT count) { return velt::allocate<TextItemsT>(room(count)); }
// clang-format on

IntT V_ApiGetPropIndex(const V_PropValsT *list, IntT propNum)
{
    if (list && list->val)
        for (UIntT i = 0; i < list->len; i++)
            if (list->val[i].propIdent.num == propNum)
                return static_cast<IntT>(i);
    return V_error_no_such_entry;
}

void V_ApiAppendVal(V_PropValsT *list, IntT propNum, const V_TypedValT *value)
{
    // The value is copied first, because it may be part of the entry that it replaces.
    V_TypedValT made = V_ApiCopyVal(value);
    IntT index = V_ApiGetPropIndex(list, propNum);
    if (index >= 0) {
        velt::release(list->val[index]);
    } else {
        if (!list->val)
            list->len = 0;
        std::size_t capacity = 8;
        while (capacity <= list->len)
            capacity *= 2;
        auto *grown =
            static_cast<V_PropValT *>(VapiRealloc(list->val, capacity * sizeof(V_PropValT)));
        if (!grown) {
            velt::release(made);
            return;
        }
        list->val = grown;
        index = static_cast<IntT>(list->len++);
    }
    list->val[index] = {{propNum, nullptr}, made};
}

void V_ApiAppendIntProp(V_PropValsT *list, IntT propNum, IntT value)
{
    V_TypedValT typed{V_kind_integer, {}};
    typed.u.intVal = value;
    V_ApiAppendVal(list, propNum, &typed);
}

void V_ApiAppendStringProp(V_PropValsT *list, IntT propNum, const char *value)
{
    V_TypedValT typed{V_kind_string, {}};
    typed.u.stringVal = const_cast<StringT>(value);
    V_ApiAppendVal(list, propNum, &typed);
}

namespace
{

constexpr char argument_separator = 30;

StringT copy_bytes(const char *from, std::size_t count)
{
    auto *made = static_cast<StringT>(VapiMalloc(count + 1));
    if (made) {
        std::memcpy(made, from, count);
        made[count] = '\0';
    }
    return made;
}

} // namespace

void addfstr(V_StringsT *list, StringT s)
{
    constexpr UIntT step = 16;
    if (list->len % step == 0) {
        auto *grown = static_cast<StringT *>(VapiCalloc(list->len + step, sizeof(StringT)));
        if (!grown)
            return;
        if (list->val)
            std::memcpy(grown, list->val, list->len * sizeof(StringT));
        V_ApiFree(list->val);
        list->val = grown;
    }
    list->val[list->len++] = s;
}

V_FilterArgsT *VdeApiExpandFilterArgs(const char *packed)
{
    auto *arguments = static_cast<V_FilterArgsT *>(VapiCalloc(1, sizeof(V_FilterArgsT)));
    if (!arguments)
        return nullptr;
    std::size_t slot = 0;
    for (const char *start = packed ? packed : "";; start++) {
        const char *end = start;
        while (*end && *end != argument_separator)
            end++;
        StringT argument = copy_bytes(start, static_cast<std::size_t>(end - start));
        if (slot < std::size(arguments->args)) {
            arguments->args[slot++] = argument;
        } else {
            UIntT before = arguments->extraArgs.len;
            addfstr(&arguments->extraArgs, argument);
            if (arguments->extraArgs.len == before)
                V_ApiFree(argument);
        }
        if (!*end)
            return arguments;
        start = end;
    }
}

void VdeApiDeallocateFilterArgs(V_FilterArgsT *arguments)
{
    for (StringT &argument : arguments->args)
        V_ApiDeallocateString(&argument);
    V_ApiDeallocateStrings(&arguments->extraArgs);
}
