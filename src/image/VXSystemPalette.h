// The platform seam for the system palette: palette colour infos (4 and 8 bits) start from
// the first 256 entries of the display's palette. Windows reads them from GDI; elsewhere
// there is no system palette and the call fails.
#pragma once

#include <cstdint>

#include "VXResult.h"

namespace VXPlatformUtils {

constexpr uint32_t kSystemPaletteEntries = 256;

// Fills colorTable with 256 entries 0x00RRGGBB. 2005 when bufferBytes is below 1024,
// 2020 when the palette cannot be read.
VXResult getSystemColorTable(uint32_t* colorTable, uint32_t bufferBytes);

}  // namespace VXPlatformUtils
