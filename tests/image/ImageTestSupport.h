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
#include "VXSubImage.h"
#include "support/ResultText.h"

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

// A view of rect of parent.
inline std::shared_ptr<VXImage> subImage(const std::shared_ptr<VXImage>& parent, const VXRect& rect) {
    auto view = std::make_shared<VXSubImage>();
    const VXResult r = view->initialize(parent, rect);
    EXPECT_TRUE(r.isSuccess()) << r.message().toUtf8();
    return view;
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

template <typename Pixel>
Pixel get(const VXImage& image, int32_t x, int32_t y) {
    Pixel value = 0;
    std::memcpy(&value, at(image, x, y), sizeof(value));
    return value;
}
constexpr auto get32 = get<uint32_t>;
constexpr auto get16 = get<uint16_t>;

inline void set32(VXImage& image, int32_t x, int32_t y, uint32_t value) {
    std::memcpy(at(image, x, y), &value, 4);
}

}  // namespace imagetest
