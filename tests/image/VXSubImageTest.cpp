#include <gtest/gtest.h>

#include <cstring>

#include "ImageTestSupport.h"
#include "VXImageUtils.h"
#include "VXSubImage.h"
#include "support/LogCapture.h"

namespace {

constexpr auto pixel = imagetest::get32;

class VXSubImageTest : public testing::Test {
protected:
    void SetUp() override {
        parent = imagetest::makeImage(8, 6, 32);
        for (int32_t y = 0; y < 6; ++y)
            for (int32_t x = 0; x < 8; ++x)
                imagetest::set32(*parent, x, y, 0xFF000000u | static_cast<uint32_t>(y << 8 | x));
    }
    std::shared_ptr<VXImage> parent;
};

TEST_F(VXSubImageTest, ViewSharesTheParentsBitsStepsByItsStrideAndWritesThrough) {
    VXSubImage sub;
    ASSERT_TRUE(sub.initialize(parent, VXRect(2, 1, 5, 4)).isSuccess());
    EXPECT_EQ(sub.getBits(), parent->getPixelPtr(2, 1));
    EXPECT_EQ(pixel(sub, 0, 0), 0xFF000102u);
    EXPECT_EQ(pixel(sub, 2, 2), 0xFF000304u);
    EXPECT_EQ(sub.getPixelPtr(3, 0), nullptr);  // bounded by the view, not the parent

    const uint32_t marker = 0x12345678;
    std::memcpy(sub.getPixelPtr(1, 2), &marker, 4);
    EXPECT_EQ(pixel(*parent, 3, 3), marker);
}

// A parent whose row 0 is the last row in memory, as a bottom-up DIB keeps it.
class BottomUpImage : public VXImage {
public:
    using VXImage::getPixelPtr;
    using VXImage::VXImage;
    uint8_t* getLinePtr(int32_t y) const override {
        uint8_t* bottom = VXImage::getLinePtr(_height - 1 - y);
        return y >= 0 && y < _height ? bottom : nullptr;
    }
    VXResult getPixelPtr(int32_t x, int32_t y, uint8_t*& pointer) const override {
        pointer = nullptr;
        if (x < 0 || x >= _width || y < 0 || y >= _height)
            return VXError::eBadIndex;
        pointer = getLinePtr(y) + 4 * x;
        return VXError::eNoError;
    }
};

TEST_F(VXSubImageTest, ViewOfABottomUpParentFollowsTheParentsRowsAndKeepsItsPixels) {
    auto upward = std::make_shared<BottomUpImage>(8, 6, 32);
    ASSERT_TRUE(upward->allocate().isSuccess());
    ASSERT_TRUE(VXImageUtils::copy(upward, VXRect(0, 0, 8, 6), parent, VXRect(0, 0, 8, 6)).isSuccess());
    auto view = std::make_shared<VXSubImage>();
    ASSERT_TRUE(view->initialize(upward, VXRect(2, 1, 7, 6)).isSuccess());
    std::shared_ptr<VXImage> copy;
    ASSERT_TRUE(VXImageUtils::createImage(VXSize(5, 5), 32, nullptr, copy).isSuccess());
    ASSERT_TRUE(VXImageUtils::copy(copy, VXRect(0, 0, 5, 5), view, VXRect(0, 0, 5, 5)).isSuccess());
    for (int32_t y = 0; y < 5; ++y) {
        for (int32_t x = 0; x < 5; ++x)
            ASSERT_EQ(pixel(*copy, x, y), 0xFF000000u | static_cast<uint32_t>((y + 1) << 8 | (x + 2)))
                << x << "," << y;
    }
    // The view neither owns nor replaces its parent's pixels.
    uint8_t* other = VXImage::newBits(16);
    EXPECT_EQ(view->setBits(other, true).code(), VXError::eNotInitialized);
    EXPECT_EQ(view->getBits(), upward->getPixelPtr(2, 1));
    VXImage::freeBits(other);
}

TEST_F(VXSubImageTest, RectOutsideTheParentAndParentsWithoutPixelsAreRefused) {
    LogCapture log;
    VXSubImage sub;
    const VXResult r = sub.initialize(parent, VXRect(6, 1, 9, 3));
    EXPECT_EQ(r.code(), VXError::eBadParameter);
    EXPECT_TRUE(log.contains("VXSubImage::initialize() -- parent rect[0,0,8,6] does not enclose[6,1,9,3]"));
    EXPECT_EQ(sub.getBits(), nullptr);
    std::shared_ptr<VXImage> unallocated;
    ASSERT_TRUE(VXImage::create(8, 6, 32, unallocated).isSuccess());
    EXPECT_EQ(sub.initialize(unallocated, VXRect(0, 0, 2, 2)).code(), VXError::ePreconditionFailed);
    EXPECT_EQ(sub.initialize(nullptr, VXRect(0, 0, 2, 2)).code(), VXError::ePreconditionFailed);
    EXPECT_EQ(sub.getBits(), nullptr);
}

TEST_F(VXSubImageTest, ViewKeepsItsParentAlive) {
    const int32_t remaining = VXImage::remainingCount();
    const int32_t subRemaining = VXSubImage::remainingCount();
    {
        auto sub = std::make_shared<VXSubImage>();
        ASSERT_TRUE(sub->initialize(parent, VXRect(1, 1, 2, 2)).isSuccess());
        parent.reset();
        EXPECT_EQ(pixel(*sub, 0, 0), 0xFF000101u);  // still readable: the view holds the parent
    }
    EXPECT_EQ(VXImage::remainingCount(), remaining - 1);  // the view and the parent are gone
    EXPECT_EQ(VXSubImage::remainingCount(), subRemaining);
}

}  // namespace
