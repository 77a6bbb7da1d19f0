/* The Velt API client library: everything that an extension client calls. */
#ifndef VELT_API_H
#define VELT_API_H

#include "velt/api/clipboard.h"
#include "velt/api/dialogs.h"
#include "velt/api/documents.h"
#include "velt/api/elements.h"
#include "velt/api/facts.h"
#include "velt/api/fonts.h"
#include "velt/api/menus.h"
#include "velt/api/objects.h"
#include "velt/api/prompts.h"
#include "velt/api/properties.h"
#include "velt/api/session.h"
#include "velt/api/system.h"
#include "velt/api/tables.h"
#include "velt/api/text.h"
#include "velt/api/values.h"

#endif
