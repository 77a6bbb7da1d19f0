/* The Velt support library. */
#ifndef VELT_VDE_H
#define VELT_VDE_H

#include "velt/vde/builder.h"
#include "velt/vde/channel.h"
#include "velt/vde/chinese.h"
#include "velt/vde/encodings.h"
#include "velt/vde/failure.h"
#include "velt/vde/files.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/formatted.h"
#include "velt/vde/instance.h"
#include "velt/vde/japanese.h"
#include "velt/vde/language.h"
#include "velt/vde/memory.h"
#include "velt/vde/paths.h"
#include "velt/vde/quire.h"
#include "velt/vde/resources.h"
#include "velt/vde/strings.h"
#include "velt/vde/unicode.h"

#endif
