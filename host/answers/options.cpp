#include "host/answers/options.h"

#include <algorithm>
#include <iterator>

#include "host/values/kinds.h"

namespace velt::host
{

OptionList::OptionList(Operation operation, const V_PropValsT &given) : given_(given)
{
    static constexpr struct {
        Operation operation;
        IntT number, kind;
    } rows[] = {
#define V_OPTION(operation, number, kind_name, value) {operation, number, kind::kind_name},
#include "velt/tables/options.def"
#define V_HOST_OPTION(operation, number, name, kind_name, meaning)                                 \
    {operation, number, kind::kind_name},
#include "velt/tables/host_options.def"
#define V_FIND_OPTION(number, name, kind_name, meaning) {Find, number, kind::kind_name},
#include "velt/tables/find_options.def"
    };
    for (UIntT i = 0; i < given.len; i++) {
        const auto &[ident, value] = given.val[i];
        const auto *row = std::ranges::find_if(rows, [&, number = ident.num](const auto &each) {
            return each.operation == operation && each.number == number;
        });
        const std::string which = "option " + std::to_string(ident.num);
        if (row == std::end(rows))
            throw StatusError(no_such_property, "the operation has no " + which);
        if (row->kind != value.valType)
            throw StatusError(wrong_kind,
                              which + " has the kind " + std::string(name_of_kind(row->kind)));
    }
}

const V_TypedValT *OptionList::value(IntT number) const
{
    for (UIntT i = given_.len; i > 0; i--)
        if (given_.val[i - 1].propIdent.num == number)
            return &given_.val[i - 1].propVal;
    return nullptr;
}

} // namespace velt::host
