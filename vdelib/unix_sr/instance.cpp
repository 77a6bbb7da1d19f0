#include "velt/vde/instance.h"

#include "velt/vde/memory.h"

VdeInstanceT *VdeInstance = nullptr;

void VdeInstanceInit()
{
    if (!VdeInstance)
        VdeInstance = static_cast<VdeInstanceT *>(V_Calloc(1, sizeof(VdeInstanceT), V_AllocFatal));
    VdeInstance->strictEnforcement = 1;
}

IntT V_FdeInit()
{
    return 0;
}
