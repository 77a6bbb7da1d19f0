/* The state of the library's only instance. */
#ifndef VELT_VDE_INSTANCE_H
#define VELT_VDE_INSTANCE_H

#include "velt/decl.h"
#include "velt/scalars.h"
#include "velt/vde/failure.h"

/* The place of a loaded resource string. */
typedef struct VdeSrIndexT {
    int16_t id;
    uint32_t offset; /* in the string pool */
} VdeSrIndexT;

/* State that the parts of the library share. */
typedef struct VdeInstanceT {
    StringT language;          /* of the loaded strings */
    VdeSrIndexT *srIndex;      /* sorted by id; null while no strings are loaded */
    IntT srCount;              /* entries of the index */
    UCharT *srPool;            /* the strings */
    UCharT strictEnforcement;  /* 1: VdeEnforcement ends the process */
    VdeRoutineT assertHandler; /* the routine that VdeFail runs; may be null */
    VdeRoutineT dsExitHandler; /* the routine that a fatal allocation failure runs; may be null */
} VdeInstanceT;

VELT_BEGIN_DECLS

/* Null until the library first needs it; it then exists until the process ends. */
extern VdeInstanceT *VdeInstance;

/* Creates the instance if there is none, and makes enforcement strict. */
void VdeInstanceInit(void);
/* For a client to call when it initialises. Returns 0. */
IntT V_FdeInit(void);

VELT_END_DECLS

#endif
