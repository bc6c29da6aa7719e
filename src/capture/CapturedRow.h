// The one pixel test both screen readers make on captured rows: whether a row of 32-bit B,G,R,X
// pixels holds any colour (alpha ignored), which tells an all-black capture from a real one.
#pragma once

#include <cstdint>
#include <cstring>

inline bool capturedRowHasColor(const uint8_t* row, int32_t width) {
    constexpr uint32_t kColorBits = 0x00FFFFFF;
    for (int32_t x = 0; x < width; ++x) {
        uint32_t pixel = 0;
        std::memcpy(&pixel, row + static_cast<size_t>(x) * 4, sizeof(pixel));
        if ((pixel & kColorBits) != 0)
            return true;
    }
    return false;
}
