// Updated regions checked against a plain comparison of two packed 32-bit frames, tile by tile.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "FrameDiff.h"
#include "VXRect.h"

namespace testsupport {

constexpr int32_t kTile = Vistrel::FrameDiff::kTileSize;

inline std::vector<uint8_t> emptyTileMask(int32_t width, int32_t height) {
    return std::vector<uint8_t>(
        static_cast<size_t>(((width + kTile - 1) / kTile) * ((height + kTile - 1) / kTile)));
}

// Tiles whose pixels differ.
inline std::vector<uint8_t> changedTiles(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b,
                                         int32_t width, int32_t height) {
    std::vector<uint8_t> mask = emptyTileMask(width, height);
    const int32_t tilesX = (width + kTile - 1) / kTile;
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            const size_t at = (static_cast<size_t>(y) * width + x) * 4;
            if (std::memcmp(&a[at], &b[at], 4) != 0)
                mask[static_cast<size_t>((y / kTile) * tilesX + x / kTile)] = 1;
        }
    }
    return mask;
}

// Tiles the region covers; an empty or overlapping rectangle, or one off the grid, fails the test.
inline std::vector<uint8_t> coveredTiles(const std::vector<VXRect>& region, int32_t width, int32_t height) {
    std::vector<uint8_t> mask = emptyTileMask(width, height);
    const int32_t tilesX = (width + kTile - 1) / kTile;
    for (const VXRect& r : region) {
        SCOPED_TRACE(r.toString().toUtf8());
        EXPECT_TRUE(r.isNotEmpty() && VXRect(0, 0, width, height).isEnclosing(r));
        EXPECT_TRUE(r.getLeft() % kTile == 0 && r.getTop() % kTile == 0);
        EXPECT_TRUE(r.getRight() % kTile == 0 || r.getRight() == width);
        EXPECT_TRUE(r.getBottom() % kTile == 0 || r.getBottom() == height);
        for (int32_t ty = r.getTop() / kTile; ty * kTile < r.getBottom() && ty * kTile < height; ++ty) {
            for (int32_t tx = r.getLeft() / kTile; tx * kTile < r.getRight() && tx * kTile < width; ++tx) {
                uint8_t& tile = mask[static_cast<size_t>(ty * tilesX + tx)];
                EXPECT_EQ(tile, 0) << "tiles overlap at " << tx << "," << ty;
                tile = 1;
            }
        }
    }
    return mask;
}

}  // namespace testsupport
