#include "velt/vde/failure.h"

#include "velt/vde/instance.h"

#include <cstdlib>

namespace
{

void defaultHandler()
{
    V_Abort();
}

} // namespace

void V_Abort()
{
    std::abort();
}

void VdeFail()
{
    if (VdeInstance != nullptr && VdeInstance->assertHandler != nullptr &&
        VdeInstance->assertHandler != defaultHandler)
        VdeInstance->assertHandler();
    V_Abort();
}

IntT VdeEnforcement()
{
    if (VdeInstance == nullptr || VdeInstance->strictEnforcement != 0)
        VdeFail();
    return 1;
}

VdeRoutineT V_SetAssert(VdeRoutineT handler)
{
    VdeInstanceInit();
    const VdeRoutineT previous = VdeInstance->assertHandler;
    VdeInstance->assertHandler = handler != nullptr ? handler : defaultHandler;
    return previous != nullptr ? previous : defaultHandler;
}

IntT VdeSetStrictEnforcement(IntT flag)
{
    VdeInstanceInit();
    const IntT previous = VdeInstance->strictEnforcement;
    VdeInstance->strictEnforcement = flag != 0;
    return previous;
}
