/* The library's instance record. */
#ifndef VELT_VDE_INSTANCE_H
#define VELT_VDE_INSTANCE_H

#include "velt/decl.h"
#include "velt/scalars.h"
#include "velt/vde/failure.h"

/* Where a loaded resource string stands. */
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
    VdeRoutineT assertHandler; /* what VdeFail runs; may be null */
    VdeRoutineT dsExitHandler; /* what a fatal allocation failure runs; may be null */
} VdeInstanceT;

VELT_BEGIN_DECLS

/* Null until first needed, then there until the process ends. */
extern VdeInstanceT *VdeInstance;

/* Creates the record if there is none, and makes enforcement strict. */
void VdeInstanceInit(void);
/* For a client to call when it initialises. Returns 0. */
IntT V_FdeInit(void);

VELT_END_DECLS

#endif
