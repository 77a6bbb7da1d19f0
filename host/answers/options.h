// The lists of options that clients pass to operations.
#pragma once

#include "host/answers/answers.h"

namespace velt::host
{

// The options of one operation. The host knows those of its default list and its own.
class OptionList
{
public:
    enum Operation { Spell, Open, Save, Import, Export, Close, Returned, Find };

    // Refuses options that the host does not know, or of another kind than they have.
    OptionList(Operation operation, const V_PropValsT &given);

    // Returns the value of the option that was given last; null when there is none.
    const V_TypedValT *value(IntT number) const;
    bool flag(IntT number) const
    {
        const V_TypedValT *given = value(number);
        return given && given->u.intVal != 0;
    }
    std::string text(IntT number) const
    {
        const V_TypedValT *given = value(number);
        return given ? host::text(given->u.stringVal) : "";
    }

private:
    const V_PropValsT &given_;
};

} // namespace velt::host
