/* Channels, which are open files, and items in either byte order.
 *
 * Sizes and offsets are in bytes, a count is one of items; a count or size below 1 moves nothing.
 * As with any stdio stream, seek or flush between reading and writing.
 */
#ifndef VELT_VDE_CHANNEL_H
#define VELT_VDE_CHANNEL_H

#include <stdio.h>

#include "velt/decl.h"
#include "velt/scalars.h"
#include "velt/vde/paths.h"

/* An open file. */
typedef struct V_ChannelT {
    IntT swapBytes; /* nonzero: the bytes of each item are reversed */
    StringT name;   /* internal name, owned */
    FILE *fp;
} V_ChannelT;

VELT_BEGIN_DECLS

/* Opens the file of a file path in a mode of fopen. Null when that fails. */
V_ChannelT *V_ChannelOpen(const V_FilePathT *path, const char *mode);
/* Creates a temporary file that only the user may read and write, open for both, for
 * V_ChannelCloseTmp. Null on failure. */
V_ChannelT *V_ChannelMakeTmp(void);

/* Close and release a channel: 0, or the error of fclose; -1 for null. Tmp: delete the file too.
 * The Vde routines set the variable, whose address must not be null, to null. */
IntT V_ChannelClose(V_ChannelT *ch);
IntT V_ChannelCloseTmp(V_ChannelT *ch);
IntT VdeChannelClose(V_ChannelT **chp);
IntT VdeChannelCloseTmp(V_ChannelT **chp);

/* Read and write items of a size in bytes; return the number of items. Nothing is read from a null
 * channel; data written to one goes to standard output. */
IntT V_ChannelRead(void *ptr, IntT size, IntT count, V_ChannelT *ch);
IntT V_ChannelWrite(const void *ptr, IntT size, IntT count, V_ChannelT *ch);
IntT V_ReadBytes(void *ptr, IntT count, V_ChannelT *ch);
IntT V_WriteBytes(const void *ptr, IntT count, V_ChannelT *ch);
/* Moves to an offset from the start (whence 0), from here (1) or from the end (2): 0, or -1. */
IntT V_ChannelSeek(V_ChannelT *ch, int64_t offset, IntT whence);
/* The offset from the start; -1 for null and on failure. */
int64_t V_ChannelTell(V_ChannelT *ch);
/* The size of the file; the channel stays where it is. -1 for null and on failure. */
int64_t V_ChannelSize(V_ChannelT *ch);
/* Appends to dst all from here to the end of src, another file: 0, or -1 when reading or writing
 * fails; what was written before stays. Neither channel may be null. */
IntT V_ChannelAppend(V_ChannelT *src, V_ChannelT *dst);
/* Writes out buffered data, for null that of standard output: 0, or EOF. */
IntT V_ChannelFlush(V_ChannelT *ch);
/* 1 if a read has met the end of the file, else 0; 0 for null. */
IntT V_ChannelEof(V_ChannelT *ch);

/* A null channel ends the process in the routines below. */

/* Items of the channel are little-endian from now on. */
void V_SetByteOrder(V_ChannelT *ch);
/* Items of the channel are big-endian from now on. */
void V_ResetByteOrder(V_ChannelT *ch);
/* Read, write, items of 2 and 4 bytes in the byte order of the channel, which is the machine's when
 * it is opened; return how many. */
IntT V_ReadShorts(void *ptr, IntT count, V_ChannelT *ch);
IntT V_ReadLongs(void *ptr, IntT count, V_ChannelT *ch);
IntT V_WriteShorts(const void *ptr, IntT count, V_ChannelT *ch);
IntT V_WriteLongs(const void *ptr, IntT count, V_ChannelT *ch);

VELT_END_DECLS

#endif
