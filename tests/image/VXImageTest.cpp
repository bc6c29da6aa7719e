#include <gtest/gtest.h>

#include "VXImage.h"
#include "support/LogCapture.h"

namespace {

struct Layout {
    int32_t width, bitDepth, bytesPerPixel, padding, stride;
};

TEST(VXImage, StrideRulePadsRowsToFourBytesOnlyWholeWordRowsAreAllocatedAndAccessStaysInside) {
    // Sub-byte and 15-bit rows pad from the floor of the bit count: the odd strides 5 and 9 are kept.
    const Layout layouts[] = {
        {1, 24, 3, 1, 4}, {3, 16, 2, 2, 8}, {32, 15, 1, 0, 64}, {5, 8, 1, 3, 8},
        {8, 4, 0, 0, 4},  {64, 1, 0, 0, 8}, {10, 1, 0, 3, 5},   {3, 15, 1, 3, 9},
    };
    for (const Layout& l : layouts) {
        const VXImage image(l.width, 7, l.bitDepth);
        SCOPED_TRACE(testing::Message() << l.width << " pixels of " << l.bitDepth << " bits");
        EXPECT_EQ(image.getBytesPerPixel(), l.bytesPerPixel);
        EXPECT_EQ(image.getPadding(), l.padding);
        EXPECT_EQ(image.getBytesPerLine(), l.stride);
        EXPECT_EQ(image.getImageSize(), int64_t{l.stride} * 7);
    }

    LogCapture log;
    VXImage odd(10, 1, 1);  // stride 5
    const VXResult r = odd.allocate();
    EXPECT_EQ(r.code(), VXError::eBadParameter);
    EXPECT_THAT(text(r.message()), HasSubstr("Error returned at VXImage::allocate"));
    EXPECT_TRUE(log.contains("VXImage::allocate(): image size is not DWORD aligned"));

    uint8_t* pointer = nullptr;
    VXImage image(3, 2, 24);  // stride 12 (9 + 3)
    ASSERT_TRUE(image.allocate().isSuccess());
    uint8_t* const bits = image.getBits();
    EXPECT_EQ(image.getLinePtr(1), bits + 12);
    EXPECT_EQ(image.getLinePtr(2), nullptr);
    EXPECT_EQ(image.getLinePtr(-1), nullptr);
    ASSERT_TRUE(image.getPixelPtr(2, 1, pointer).isSuccess());
    EXPECT_EQ(pointer, bits + 12 + 6);

    const struct { int32_t x, y; } outside[] = {{3, 0}, {0, 2}, {-1, 0}, {0, -1}};
    for (const auto& p : outside) {
        pointer = bits;
        EXPECT_EQ(image.getPixelPtr(p.x, p.y, pointer).code(), VXError::eBadIndex) << p.x << "," << p.y;
        EXPECT_EQ(pointer, nullptr);
    }
}

// Depths between the laid-out ones get rows of no bytes: a 4 x 4 image of 20 bits would get
// 8 bytes, and its last pixel would lie past them.
TEST(VXImage, DepthsTheStrideRuleCannotLayOutAreRefusedWhereImagesAreMadeOrAllocated) {
    for (const int32_t depth : {0, 9, 14, 17, 20, 23, 25, 31, 33, 64}) {
        SCOPED_TRACE(testing::Message() << depth << " bits");
        std::shared_ptr<VXImage> made;
        const VXResult created = VXImage::create(4, 4, depth, made);
        EXPECT_EQ(created.code(), VXError::eBadParameter);
        EXPECT_THAT(text(created), HasSubstr("VXImage::create() -- unsupported image bpp ["));
        VXImage image(4, 4, depth);
        const VXResult allocated = image.allocate();
        EXPECT_EQ(allocated.code(), VXError::eBadParameter);
        if (allocated.isSuccess())
            *image.getPixelPtr(3, 3) = 0;
    }
    for (const int32_t depth : {1, 2, 4, 8, 15, 16, 24, 32}) {
        VXImage image(4, 4, depth);
        EXPECT_TRUE(image.allocate().isSuccess()) << depth;
    }
}

}  // namespace
