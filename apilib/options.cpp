// The default options of the host's operations, the status that these return, and dictionaries.

#include "apilib/wire/memory.h"
#include "velt/api.h"

namespace
{

enum class Operation { Spell, Open, Save, Import, Export };

struct Default {
    IntT integer = 0;
    const char *string = nullptr;

    constexpr Default(IntT value) : integer(value) {}
    constexpr Default(const char *value) : string(value) {}
};

struct Option {
    Operation operation;
    IntT number;
    IntT kind;
    Default value;
};

constexpr Option options[] = {
#define V_OPTION(operation, number, kind, value)                                                   \
    {Operation::operation, number, V_kind_##kind, value},
#include "velt/tables/options.def"
};

V_PropValsT default_list(Operation operation)
{
    UIntT count = 0;
    for (const Option &option : options)
        count += option.operation == operation;
    auto list = velt::allocate<V_PropValsT>(count);
    V_PropValT *entry = list.val;
    for (const Option &option : options) {
        if (!entry || option.operation != operation)
            continue;
        *entry = {{option.number, nullptr}, {option.kind, {}}};
        if (option.value.string)
            entry->propVal.u.stringVal = V_ApiCopyString(option.value.string);
        else if (option.kind == V_kind_integer)
            entry->propVal.u.intVal = option.value.integer;
        entry++;
    }
    return list;
}

constexpr IntT status_parameter = 3;

} // namespace

// clang-format off
V_PropValsT V_ApiGetSpellDefaultParams(void) { return default_list(Operation::Spell); }
V_PropValsT V_ApiGetOpenDefaultParams(void) { return default_list(Operation::Open); }
V_PropValsT V_ApiGetSaveDefaultParams(void) { return default_list(Operation::Save); }
V_PropValsT V_ApiGetImportDefaultParams(void) { return default_list(Operation::Import); }
V_PropValsT V_ApiGetExportDefaultParams(void) { return default_list(Operation::Export); }
// clang-format on

IntT V_ApiCheckStatus(const V_PropValsT *returned, IntT statusBit)
{
    constexpr UIntT word_bits = 32;
    IntT index = V_ApiGetPropIndex(returned, status_parameter);
    if (index < 0) {
        VA_errno = V_error_no_status;
        return 0;
    }
    // The value is read as a list whatever its kind; a null array has no bits.
    const V_IntsT &words = returned->val[index].propVal.u.intsVal;
    auto bit = static_cast<UIntT>(statusBit);
    if (!words.val || bit / word_bits >= words.len) {
        VA_errno = V_error_no_such_entry;
        return 0;
    }
    auto word = static_cast<UIntT>(words.val[bit / word_bits]);
    return static_cast<IntT>(word & 1U << bit % word_bits);
}

IntT V_ApiDictionaryOperation(V_ObjHandleT id1, const char *str2, IntT int3, IntT operation)
{
    if (operation == V_dictionary_read_out)
        return VA_errno = V_error_reads_out;
    V_StringsT unused;
    IntT result = V_ApiDictionary(id1, str2, int3, operation, &unused);
    V_ApiDeallocateStrings(&unused);
    return result;
}

V_StringsT V_ApiGetDictionaryStrings(V_ObjHandleT id1, IntT int2)
{
    V_StringsT list;
    V_ApiDictionary(id1, nullptr, int2, V_dictionary_read_out, &list);
    return list;
}
