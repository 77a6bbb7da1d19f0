/* The Velt API client library: everything that an extension client calls. */
#ifndef VELT_API_H
#define VELT_API_H

#include "velt/api/clients.h"
#include "velt/api/dialogs.h"
#include "velt/api/objects.h"
#include "velt/api/session.h"
#include "velt/api/values.h"

#endif
