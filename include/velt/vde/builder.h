/* The character builder: the growable byte buffer that the encoding converters append to.
 *
 * A null pointer or a builder that was not initialised ends the process, and so does running out of
 * memory. The routines that append return the new length less 1.
 */
#ifndef VELT_VDE_BUILDER_H
#define VELT_VDE_BUILDER_H

#include "velt/decl.h"
#include "velt/scalars.h"

enum {
    VdeClMagic = 0x4368726E,

    /* Bits of the flags. */
    VdeClCallersBuffer = 0x1, /* the buffer belongs to the caller */
    VdeClFixed = 0x2,         /* the buffer may not be resized */
    VdeClOverflow = 0x4       /* VdeClSetSize or VdeClTrim was to resize a fixed buffer */
};

/* A builder. The caller owns the structure; the buffer is the builder's, V_Free it, unless the
 * flags say that it is the caller's. */
typedef struct VdeClT {
    UIntT magic; /* VdeClMagic once initialised */
    IntT size;   /* capacity in bytes; the buffer has one more, for a terminator */
    IntT len;    /* bytes in use; a 0 follows them once anything was added */
    IntT growBy; /* capacity grows to multiples of this many bytes; 0: never */
    UIntT flags;
    UCharT *buf; /* null before the first allocation */
} VdeClT;

VELT_BEGIN_DECLS

/* Makes an empty builder. A growBy below 1 ends the process. */
void VdeClInit(VdeClT *cl, IntT growBy);
/* Makes an empty builder over the caller's buffer of bufSize bytes, terminator included. When that
 * is full, a buffer of the builder's own takes its place, and the caller's is left alone; for a
 * growBy below 1 the buffer is fixed, and what does not fit is dropped. A null buffer and a size
 * below 1 end the process. */
void VdeClInitWithBuffer(VdeClT *cl, UCharT *buf, IntT bufSize, IntT growBy);
/* Resizes the buffer to a capacity in bytes; 0 releases it. The length stays. Only marks a fixed
 * buffer as overflowed; a caller's buffer is never made smaller. A negative size ends the process.
 */
void VdeClSetSize(VdeClT *cl, IntT newSize);
/* 1 when VdeClSetSize or VdeClTrim was to resize a fixed buffer, else 0; bytes that were appended
 * to a full one, and dropped, do not count. */
IntT VdeClOverflowed(const VdeClT *cl);
/* Appends a byte n times. */
IntT VdeClAdd1CharNTimes(VdeClT *cl, UCharT ch, IntT n);
/* Appends a string; null appends nothing. */
IntT VdeClAddString(VdeClT *cl, const char *s);
/* Appends n bytes; nothing for null. */
IntT VdeClAddNChars(VdeClT *cl, const char *chars, IntT n);
/* Makes the capacity the length. */
void VdeClTrim(VdeClT *cl);
/* Shortens the contents to a length in bytes; a greater or negative length does nothing. */
void VdeClSetLen(VdeClT *cl, IntT newLen);

VELT_END_DECLS

#endif
