#include "velt/vde/failure.h"

#include <cstdlib>

#include "velt/vde/instance.h"

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
    if (VdeInstance && VdeInstance->assertHandler && VdeInstance->assertHandler != defaultHandler)
        VdeInstance->assertHandler();
    V_Abort();
}

IntT VdeEnforcement()
{
    if (!VdeInstance || VdeInstance->strictEnforcement != 0)
        VdeFail();
    return 1;
}

VdeRoutineT V_SetAssert(VdeRoutineT handler)
{
    VdeInstanceInit();
    const VdeRoutineT previous = VdeInstance->assertHandler;
    VdeInstance->assertHandler = handler ? handler : defaultHandler;
    return previous ? previous : defaultHandler;
}

IntT VdeSetStrictEnforcement(IntT flag)
{
    VdeInstanceInit();
    const IntT previous = VdeInstance->strictEnforcement;
    VdeInstance->strictEnforcement = flag != 0;
    return previous;
}
