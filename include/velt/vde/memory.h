/* Memory: blocks and movable handles, on the process heap.
 *
 * Bit 0 of the flags makes a failed allocation fatal: the exit handler runs and the process ends;
 * without it the result is null. A request of V_MaxBlockSize bytes or more ends the process, by
 * VdeFail, whatever the flags are.
 */
#ifndef VELT_VDE_MEMORY_H
#define VELT_VDE_MEMORY_H

#include "velt/decl.h"
#include "velt/scalars.h"
#include "velt/vde/failure.h"

enum {
    V_AllocFatal = 1,          /* allocation flag: a failure ends the process */
    V_MaxBlockSize = 100000000 /* bytes; every request is smaller */
};

/* A handle: a structure through which a block that may move is reached. */
typedef struct V_HandleT {
    UIntT lockCount; /* outstanding locks; 0 when the block may move */
    UIntT size;      /* bytes */
    void *block;
} V_HandleT;

VELT_BEGIN_DECLS

/* New block, its bytes not set. */
void *V_Alloc(UIntT size, UIntT flags);
/* New block of count * size zero bytes. */
void *V_Calloc(UIntT count, UIntT size, UIntT flags);
/* Resizes a block; bytes added are not set. Null gets a new block of zero bytes. On failure the old
 * block stays as it was. */
void *V_Realloc(void *pointer, UIntT size, UIntT flags);
/* Releases a block: 0, or -1 for null. */
IntT V_Free(void *pointer);
/* Releases the block and sets the variable to null: 0, or -1 when it is null already. */
IntT VdeFree(void **pointer);

/* Copies bytes; the blocks may overlap. 0, or -1 when either is null. */
IntT V_CopyPtr(const void *from, void *to, UIntT count);
IntT V_CopyBytes(const void *from, void *to, UIntT count);
/* Sets bytes to 0: 0, or -1 for null. */
IntT V_ClearPtr(void *pointer, UIntT count);
/* 1 when the first bytes are equal, else 0. Null reads as zero bytes. */
IntT V_PtrEqual(const void *a, const void *b, UIntT count);
/* New block that holds a copy of the first bytes; null for null. */
void *V_DuplicatePtr(const void *pointer, UIntT size, UIntT flags);

/* Installs the routine that runs before a failed allocation ends the process, or null. Returns the
 * previous one. */
VdeRoutineT V_SetDSExit(VdeRoutineT handler);

/* The handle routines end the process on a null handle. */

/* New handle, not locked, with a block of zero bytes. */
V_HandleT *V_AllocHandle(UIntT size, UIntT flags);
/* Releases the handle and its block, which must not be locked. Returns 0. */
IntT V_FreeHandle(V_HandleT *handle);
/* The same, and marks the variable with 0xDEADDEAD. */
IntT VdeFreeHandle(V_HandleT **handle);
/* Adds a lock; returns the block. */
void *V_LockHandle(V_HandleT *handle);
/* Removes a lock, if there is one; returns how many are left. */
UIntT V_UnlockHandle(V_HandleT *handle);
UIntT VdeHandleCountDec(V_HandleT *handle);
/* Resizes the block, which must not be locked; bytes added are not set. Returns the handle; null
 * when memory runs out, and the handle is as it was. */
V_HandleT *V_ReallocHandle(V_HandleT *handle, UIntT size, UIntT flags);
/* Size of the block in bytes. */
UIntT V_GetHandleSize(const V_HandleT *handle);
/* 1 when sizes and bytes are equal, else 0. */
IntT V_HandleEqual(const V_HandleT *a, const V_HandleT *b);
IntT V_HandlesAreEqual(const V_HandleT *a, const V_HandleT *b);
/* Copies as many bytes as both blocks have. Returns 0. */
IntT V_DuplicateHandle(const V_HandleT *from, V_HandleT *to);
/* Sets the whole block to 0. Returns 0. */
IntT V_ClearHandle(V_HandleT *handle);

VELT_END_DECLS

#endif
