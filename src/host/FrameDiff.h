// Vistrel::FrameDiff: copies a 32-bit frame over the previous one and, in the same pass, finds
// which 32 x 32 tiles changed. Encoders work far less when told what changed, and comparing
// while copying costs one read of the old pixels instead of a second pass over the frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "VXRect.h"

namespace Vistrel {

class FrameDiff {
public:
    static constexpr int32_t kTileSize = 32;
    static constexpr int32_t kBytesPerPixel = 4;

    // Copies width x height pixels from source into target, which holds the previous frame of
    // the same size, and sets region to the tiles whose pixels differed. Tiles are 32 x 32 on a
    // grid anchored at (0,0), clipped to the frame; changed tiles side by side in a tile row
    // form one rectangle, and a rectangle grows downwards while the next tile row has a run of
    // the same extent. The rectangles do not overlap. Unchanged tile rows are only read, never
    // written. Strides are in bytes; source and target must not overlap.
    void copyChanged(const uint8_t* source, size_t sourceStride, uint8_t* target, size_t targetStride,
                     int32_t width, int32_t height, std::vector<VXRect>& region);

    // Copies everything and reports the whole frame: for a first frame, or when the previous
    // one is unknown.
    static void copyAll(const uint8_t* source, size_t sourceStride, uint8_t* target, size_t targetStride,
                        int32_t width, int32_t height, std::vector<VXRect>& region);

    // Pixels covered by the region; its rectangles never overlap.
    static int64_t area(const std::vector<VXRect>& region);

private:
    static void copyRows_(const uint8_t* source, size_t sourceStride, uint8_t* target, size_t targetStride,
                          size_t rowBytes, int32_t rows);
    void addRuns_(int32_t top, int32_t bottom, int32_t width, std::vector<VXRect>& region);

    std::vector<uint8_t> _changed;      // per tile of the current tile row
    std::vector<size_t> _previousRuns;  // indices in region of the rectangles ending at the row above
    std::vector<size_t> _currentRuns;
};

}  // namespace Vistrel
