#include <gtest/gtest.h>

#include <cstring>

#include "ImageTestSupport.h"
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

TEST_F(VXSubImageTest, ViewNeedsAParentThatEnclosesItSharesItsBitsWritesThroughAndKeepsItAlive) {
    // A rectangle outside the parent and parents without pixels are refused.
    LogCapture log;
    VXSubImage refused;
    EXPECT_EQ(refused.initialize(parent, VXRect(6, 1, 9, 3)).code(), VXError::eBadParameter);
    EXPECT_TRUE(log.contains("VXSubImage::initialize() -- parent rect[0,0,8,6] does not enclose[6,1,9,3]"));
    std::shared_ptr<VXImage> unallocated;
    ASSERT_TRUE(VXImage::create(8, 6, 32, unallocated).isSuccess());
    EXPECT_EQ(refused.initialize(unallocated, VXRect(0, 0, 2, 2)).code(), VXError::ePreconditionFailed);
    EXPECT_EQ(refused.initialize(nullptr, VXRect(0, 0, 2, 2)).code(), VXError::ePreconditionFailed);
    EXPECT_EQ(refused.getBits(), nullptr);

    const int32_t remaining = VXImage::remainingCount();
    const int32_t subRemaining = VXSubImage::remainingCount();
    auto sub = std::make_shared<VXSubImage>();
    ASSERT_TRUE(sub->initialize(parent, VXRect(2, 1, 5, 4)).isSuccess());
    EXPECT_EQ(sub->getBits(), parent->getPixelPtr(2, 1));
    EXPECT_EQ(pixel(*sub, 0, 0), 0xFF000102u);
    EXPECT_EQ(pixel(*sub, 2, 2), 0xFF000304u);
    EXPECT_EQ(sub->getPixelPtr(3, 0), nullptr);  // bounded by the view, not the parent

    const uint32_t marker = 0x12345678;
    std::memcpy(sub->getPixelPtr(1, 2), &marker, 4);
    EXPECT_EQ(pixel(*parent, 3, 3), marker);
    // The view neither owns nor replaces its parent's pixels.
    uint8_t* other = VXImage::newBits(16);
    EXPECT_EQ(sub->setBits(other, true).code(), VXError::eNotInitialized);
    EXPECT_EQ(sub->getBits(), parent->getPixelPtr(2, 1));
    VXImage::freeBits(other);

    parent.reset();
    EXPECT_EQ(pixel(*sub, 0, 0), 0xFF000102u);  // still readable: the view holds the parent
    sub.reset();
    EXPECT_EQ(VXImage::remainingCount(), remaining - 1);  // the view and the parent are gone
    EXPECT_EQ(VXSubImage::remainingCount(), subRemaining);
}

}  // namespace
