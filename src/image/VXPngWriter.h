// VXPngWriter: encodes 32-bit B,G,R,A pixel rows as a PNG file (zlib only, no image library).
// Captures come from X8R8G8B8 surfaces whose fourth byte means nothing, so RGB is the default.
#pragma once

#include <cstdint>
#include <vector>

#include "VXResult.h"
#include "VXString.h"

class VXPngWriter {
public:
    enum class Channels { eRGB, eRGBA };

    // rows: the first row's pixels; stride: bytes from one row to the next.
    static VXResult encode(const uint8_t* rows, uint32_t width, uint32_t height, int64_t stride,
                           Channels channels, std::vector<uint8_t>& png);
    static VXResult writeFile(const VXString& path, const std::vector<uint8_t>& png);
};
