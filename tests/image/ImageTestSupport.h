// Shared set-up for the image tests: images made through VXImageUtils and filled with
// reproducible contents, and direct pixel access that does not go through the code under test.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>

#include "VXImage.h"
#include "VXImageUtils.h"

namespace imagetest {

inline std::shared_ptr<VXImage> makeImage(int32_t width, int32_t height, int32_t bitDepth,
                                          std::shared_ptr<VXColorInfo> colorInfo = nullptr) {
    if (!colorInfo && bitDepth == 8)
        colorInfo = VXColorInfo::createFixed256ColorInfo();  // no system palette off Windows
    std::shared_ptr<VXImage> image;
    const VXResult r = VXImageUtils::createImage(VXSize(width, height), bitDepth, colorInfo, image);
    EXPECT_TRUE(r.isSuccess()) << r.message().toUtf8();
    return image;
}

// Every byte of every row (padding included) from a seeded generator.
inline void fillRandom(VXImage& image, uint32_t seed) {
    std::mt19937 generator(seed);
    for (int32_t y = 0; y < image.getHeight(); ++y) {
        uint8_t* row = image.getBits() + static_cast<int64_t>(image.getBytesPerLine()) * y;
        for (int32_t i = 0; i < image.getBytesPerLine(); ++i)
            row[i] = static_cast<uint8_t>(generator());
    }
}

inline void fillBytes(VXImage& image, uint8_t value) {
    std::memset(image.getBits(), value, static_cast<size_t>(image.getImageSize()));
}

inline uint8_t* at(const VXImage& image, int32_t x, int32_t y) {
    return image.getBits() + static_cast<int64_t>(image.getBytesPerLine()) * y +
           static_cast<int64_t>(image.getBytesPerPixel()) * x;
}

inline uint32_t get32(const VXImage& image, int32_t x, int32_t y) {
    uint32_t value = 0;
    std::memcpy(&value, at(image, x, y), 4);
    return value;
}

inline void set32(VXImage& image, int32_t x, int32_t y, uint32_t value) {
    std::memcpy(at(image, x, y), &value, 4);
}

inline uint16_t get16(const VXImage& image, int32_t x, int32_t y) {
    uint16_t value = 0;
    std::memcpy(&value, at(image, x, y), 2);
    return value;
}

inline bool contains(const VXResult& result, const char* text) {
    return result.message().toUtf8().find(text) != std::string::npos;
}

}  // namespace imagetest
