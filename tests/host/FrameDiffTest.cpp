#include "FrameDiff.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "support/TileMasks.h"

namespace {

using testsupport::changedTiles;
using testsupport::coveredTiles;
using Vistrel::FrameDiff;

struct Change {
    int32_t x;
    int32_t y;
    int32_t byte;  // 0..3 within the pixel: the comparison must see every byte, X included
};

struct Case {
    const char* name;
    int32_t width;
    int32_t height;
    std::vector<Change> changes;
    bool everything = false;
    int32_t randomChanges = 0;
    size_t expectedRects;  // merging: a full change is one rectangle, not one per tile row
};

TEST(FrameDiff, RegionCoversExactlyTheChangedTiles) {
    const std::vector<Case> cases = {
        {"unchanged", 100, 70, {}, false, 0, 0},
        {"one pixel inside a tile", 100, 70, {{40, 40, 1}}, false, 0, 1},
        {"only the X byte", 64, 64, {{63, 63, 3}}, false, 0, 1},
        {"both sides of a tile border", 128, 96, {{31, 31, 0}, {32, 32, 2}}, false, 0, 2},
        {"neighbours in a row merge", 128, 96, {{31, 5, 0}, {32, 5, 0}}, false, 0, 1},
        {"a column of tiles merges", 128, 96, {{70, 0, 0}, {70, 40, 0}, {70, 95, 0}}, false, 0, 1},
        {"last partial tile", 100, 70, {{99, 69, 0}}, false, 0, 1},
        {"narrower than a tile", 5, 3, {{4, 2, 0}}, false, 0, 1},
        {"scattered", 257, 130, {}, false, 40, 0},
        {"everything", 100, 70, {}, true, 0, 1},
    };
    std::mt19937 random(7);
    FrameDiff diff;  // one instance across frames of different sizes, as a host reuses it
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const size_t packed = static_cast<size_t>(c.width) * 4;
        // The target's stride need not be packed; packed rows take a faster path.
        const size_t padding = c.everything ? 0 : 12;
        const size_t targetStride = packed + padding;
        std::vector<uint8_t> previous(packed * c.height);
        for (size_t i = 0; i < previous.size(); ++i)
            previous[i] = static_cast<uint8_t>(random());
        std::vector<uint8_t> next = previous;
        for (const Change& change : c.changes)
            next[(static_cast<size_t>(change.y) * c.width + change.x) * 4 + change.byte] ^= 0x01;
        for (int32_t i = 0; i < c.randomChanges; ++i)
            next[random() % next.size()] ^= 0x80;
        if (c.everything) {
            for (uint8_t& byte : next)
                byte = static_cast<uint8_t>(~byte);
        }

        std::vector<uint8_t> target(targetStride * c.height, 0xEE);
        for (int32_t y = 0; y < c.height; ++y)
            std::memcpy(&target[y * targetStride], &previous[y * packed], packed);
        std::vector<VXRect> region;
        diff.copyChanged(next.data(), packed, target.data(), targetStride, c.width, c.height, region);

        for (int32_t y = 0; y < c.height; ++y) {
            ASSERT_EQ(std::memcmp(&target[y * targetStride], &next[y * packed], packed), 0) << "row " << y;
            if (padding > 0) {
                ASSERT_EQ(target[y * targetStride + packed], 0xEE) << "padding written, row " << y;
            }
        }
        EXPECT_EQ(coveredTiles(region, c.width, c.height), changedTiles(previous, next, c.width, c.height));
        if (c.randomChanges == 0) {
            EXPECT_EQ(region.size(), c.expectedRects);
        }
    }
}

TEST(FrameDiff, CopyAllReportsTheWholeFrame) {
    const int32_t width = 45;
    const int32_t height = 33;
    std::vector<uint8_t> source(static_cast<size_t>(width) * 4 * height);
    for (size_t i = 0; i < source.size(); ++i)
        source[i] = static_cast<uint8_t>(i * 31);
    for (const size_t targetStride : {size_t{width} * 4, size_t{width} * 4 + 4}) {
        std::vector<uint8_t> target(targetStride * height);
        std::vector<VXRect> region = {VXRect(1, 2, 3, 4)};
        FrameDiff::copyAll(source.data(), width * 4, target.data(), targetStride, width, height, region);
        ASSERT_EQ(region, std::vector<VXRect>{VXRect(0, 0, width, height)});
        EXPECT_EQ(FrameDiff::area(region), int64_t{width} * height);
        for (int32_t y = 0; y < height; ++y)
            EXPECT_EQ(std::memcmp(&target[y * targetStride], &source[y * width * 4], width * 4), 0);
    }
}

}  // namespace
