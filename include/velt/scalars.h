/* The scalar types of the interface. */
#ifndef VELT_SCALARS_H
#define VELT_SCALARS_H

#include <stdint.h>

typedef int32_t IntT;          /* signed integer */
typedef uint32_t UIntT;        /* unsigned integer */
typedef int32_t MetricT;       /* length, in the host's units */
typedef uint8_t UCharT;        /* byte */
typedef uint32_t V_ObjHandleT; /* object id; 0 is no object */
typedef char *StringT;         /* NUL-terminated bytes; may be null */

#endif
