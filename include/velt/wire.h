/* The wire: structures, XDR routines and stubs of both RPC programs, for hosts and tools. */
#ifndef VELT_WIRE_H
#define VELT_WIRE_H

#include "velt/wire/api_to_vq.h"
#include "velt/wire/connect.h"
#include "velt/wire/values.h"
#include "velt/wire/vq_to_api.h"

#endif
