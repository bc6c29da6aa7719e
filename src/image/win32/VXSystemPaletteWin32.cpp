#include <windows.h>

#include "VXChecks.h"
#include "VXSystemPalette.h"

namespace {
constexpr const char16_t* kOperation = u"VXPlatformUtils::getSystemColorTable()";
}

VXResult VXPlatformUtils::getSystemColorTable(uint32_t* colorTable, uint32_t bufferBytes) {
    if (colorTable == nullptr || bufferBytes < kSystemPaletteEntries * sizeof(uint32_t)) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- buffer too small --", kOperation);
    }
    PALETTEENTRY entries[kSystemPaletteEntries] = {};
    HDC screen = GetDC(nullptr);
    const UINT got =
        screen != nullptr ? GetSystemPaletteEntries(screen, 0, kSystemPaletteEntries, entries) : 0;
    if (screen != nullptr)
        ReleaseDC(nullptr, screen);
    if (got == 0)
        return VX_ERROR(VXError::eUnexpected, u"%s -- failed to get system palette --", kOperation);
    for (uint32_t i = 0; i < kSystemPaletteEntries; ++i) {
        colorTable[i] = (static_cast<uint32_t>(entries[i].peRed) << 16) |
                        (static_cast<uint32_t>(entries[i].peGreen) << 8) | entries[i].peBlue;
    }
    return VXError::eNoError;
}
