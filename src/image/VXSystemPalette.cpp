#include "VXSystemPalette.h"

#include "VXChecks.h"

namespace {
constexpr const char16_t* kOperation = u"VXPlatformUtils::getSystemColorTable()";
}

VXResult VXPlatformUtils::getSystemColorTable(uint32_t* colorTable, uint32_t bufferBytes) {
    if (colorTable == nullptr || bufferBytes < kSystemPaletteEntries * sizeof(uint32_t)) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- buffer too small --", kOperation);
    }
    // No display palette outside Windows.
    return VX_ERROR(VXError::eUnexpected, u"%s -- failed to get system palette --", kOperation);
}
