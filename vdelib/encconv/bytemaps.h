// The maps of the Quire character set that convert whole texts.

#pragma once

#include <array>

#include "velt/scalars.h"

namespace velt
{

using ByteTable = std::array<UCharT, 256>;

// An entry is 0 where there is no equivalent.
extern const ByteTable xqtoa_map, xatoq_map;     // ASCII
extern const ByteTable xqtoiso_map, xisotoq_map; // ISO Latin-1
extern const ByteTable xqtomac_map, xmactoq_map; // Mac

// What VdeQToLower points to at first. It has the ASCII letters of either case alike.
extern const ByteTable standard_lower;

} // namespace velt
