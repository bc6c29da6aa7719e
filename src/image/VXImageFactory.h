// VXImageFactory: lets a platform substitute its own image class (on Windows, images whose
// pixels live in a DIB section) for everything created through VXImage::create.
#pragma once

#include <cstdint>
#include <memory>

class VXImage;

class VXImageFactory {
public:
    virtual ~VXImageFactory() = default;
    // An image with the stride rule applied and no pixels yet; null when it cannot be made.
    virtual std::shared_ptr<VXImage> createImage(int32_t width, int32_t height, int32_t bitDepth) = 0;
    // An empty image: every field 0, owning its (absent) bits.
    virtual std::shared_ptr<VXImage> createImage() = 0;
};
