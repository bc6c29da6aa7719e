#include <gtest/gtest.h>

#include <vector>

#include "ImageTestSupport.h"
#include "VXImageUtils.h"
#include "support/LogCapture.h"

namespace {

using imagetest::contains;
using imagetest::makeImage;

TEST(VXImageUtilsCreate, DimensionsUpTo65536AreAcceptedAndOneMoreIsNot) {
    std::shared_ptr<VXImage> image;
    ASSERT_TRUE(VXImageUtils::createImage(VXSize(65536, 1), 32, nullptr, image).isSuccess());
    ASSERT_TRUE(VXImageUtils::createImage(VXSize(1, 65536), 8, VXColorInfo::createFixed256ColorInfo(), image)
                    .isSuccess());
    for (const VXSize& size : {VXSize(65537, 1), VXSize(1, 65537), VXSize(0, 5)}) {
        std::shared_ptr<VXImage> refused;
        const VXResult r = VXImageUtils::createImage(size, 32, nullptr, refused);
        EXPECT_EQ(r.code(), VXError::eBadParameter);
        const std::string expected = "VXImageUtils::createImage() -- invalid image size [" +
                                     std::to_string(size.getX()) + "," + std::to_string(size.getY()) +
                                     "] at ";
        EXPECT_TRUE(contains(r, expected.c_str())) << r.message().toUtf8();
        EXPECT_EQ(refused, nullptr);
    }
}

TEST(VXImageUtilsCreate, DepthAndColorInfoMustAgreeAndAMissingOneIsMade) {
    std::shared_ptr<VXImage> image;
    EXPECT_TRUE(contains(VXImageUtils::createImage(VXSize(4, 4), 15, nullptr, image),
                         "-- unsupported image bpp [15]"));
    auto sixteen = std::make_shared<VXColorInfo>();
    ASSERT_TRUE(sixteen->initialize(16).isSuccess());
    const VXResult r = VXImageUtils::createImage(VXSize(4, 4), 32, sixteen, image);
    EXPECT_EQ(r.code(), VXError::eBadFormat);
    EXPECT_TRUE(contains(r, "VXImageUtils::createImage() -- VXColorInfo bit depth doesnt match[16 vs 32]"));
    EXPECT_EQ(image, nullptr);

    ASSERT_TRUE(VXImageUtils::createImage(VXSize(3, 2), 16, sixteen, image).isSuccess());
    EXPECT_EQ(image->getColorInfo(), sixteen);  // shared, not copied
    ASSERT_TRUE(VXImageUtils::createImage(VXSize(5, 3), 16, nullptr, image).isSuccess());
    EXPECT_EQ(image->getColorInfo()->getRedMask(), 0xF800u);  // made for the depth when missing
    EXPECT_EQ(image->getAllocatedBytes(), 12 * 3);
}

TEST(VXImageUtilsCreate, CreateCopyDuplicatesPixelsAndSharesColorInfo) {
    const auto source = makeImage(7, 5, 24);
    imagetest::fillRandom(*source, 11);
    std::shared_ptr<VXImage> copy;
    ASSERT_TRUE(VXImageUtils::createCopy(source, copy).isSuccess());
    EXPECT_EQ(copy->getColorInfo(), source->getColorInfo());
    for (int32_t y = 0; y < 5; ++y)
        EXPECT_EQ(std::memcmp(imagetest::at(*copy, 0, y), imagetest::at(*source, 0, y), 21), 0)
            << "row " << y;

    const VXResult none = VXImageUtils::createCopy(nullptr, copy);
    EXPECT_EQ(none.code(), VXError::ePreconditionFailed);
    EXPECT_TRUE(contains(none, "VXImageUtils::createCopy() -- source image is NULL"));
}

class VXImageUtilsCopy : public testing::Test {
protected:
    void SetUp() override {
        src = makeImage(6, 4, 32);
        dst = makeImage(10, 8, 32);
        imagetest::fillRandom(*src, 5);
        imagetest::fillBytes(*dst, 0xEE);
    }
    // Every destination pixel outside [left, right) x [top, bottom) still holds the fill.
    void expectUntouchedOutside(const VXRect& written) const {
        for (int32_t y = 0; y < dst->getHeight(); ++y) {
            for (int32_t x = 0; x < dst->getWidth(); ++x) {
                const bool inside = x >= written.getLeft() && x < written.getRight() &&
                                    y >= written.getTop() && y < written.getBottom();
                if (!inside) {
                    EXPECT_EQ(imagetest::get32(*dst, x, y), 0xEEEEEEEEu) << x << "," << y;
                }
            }
        }
    }
    std::shared_ptr<VXImage> src;
    std::shared_ptr<VXImage> dst;
};

TEST_F(VXImageUtilsCopy, EmptySourceRectMeansAllOfTheSourceFromItsOrigin) {
    ASSERT_TRUE(VXImageUtils::copy(dst, VXRect(2, 1, 8, 5), src, VXRect(0, 0, 0, 3)).isSuccess());
    for (int32_t y = 0; y < 4; ++y)
        EXPECT_EQ(std::memcmp(imagetest::at(*dst, 2, y + 1), imagetest::at(*src, 0, y), 6 * 4), 0) << y;
    expectUntouchedOutside(VXRect(2, 1, 8, 5));
    // From (1,1) the source's full size reaches past its edges.
    EXPECT_TRUE(contains(VXImageUtils::copy(dst, VXRect(0, 0, 6, 4), src, VXRect(1, 1, 1, 1)),
                         "src rect is bad: rect[1,1,7,5] imageSize[6,4] VXImageUtils::copy, "));
}

TEST_F(VXImageUtilsCopy, BadRectanglesMissingImagesAndMixedDepthsAreRefusedWithoutWriting) {
    for (const VXRect& rect : {VXRect(-1, 0, 3, 3), VXRect(0, 0, 11, 3), VXRect(5, 0, 4, 3)}) {
        const VXResult r = VXImageUtils::copy(dst, rect, src, VXRect(0, 0, 3, 3));
        EXPECT_EQ(r.code(), VXError::eBadFormat);
        const std::string expected = "dst rect is bad: rect" + rect.toString().toUtf8() + " imageSize[10,8] ";
        EXPECT_TRUE(contains(r, expected.c_str())) << r.message().toUtf8();
    }
    EXPECT_EQ(VXImageUtils::copy(nullptr, VXRect(0, 0, 1, 1), src, VXRect()).code(),
              VXError::ePreconditionFailed);
    EXPECT_TRUE(contains(VXImageUtils::copy(dst, VXRect(0, 0, 1, 1), makeImage(6, 4, 24), VXRect()),
                         "Images have different bit depths [32 24] VXImageUtils::copy, vximageutils.cpp:"));
    expectUntouchedOutside(VXRect());
}

TEST_F(VXImageUtilsCopy, SmallerSourceCopiesOnlyWhatItHasAndSaysSo) {
    LogCapture log;
    ASSERT_TRUE(VXImageUtils::copy(dst, VXRect(1, 1, 9, 7), src, VXRect(2, 1, 5, 3)).isSuccess());
    EXPECT_TRUE(log.contains("VXImageUtils::copy() -- srcRect too narrow: dst[8] actual[3]"));
    EXPECT_TRUE(log.contains("VXImageUtils::copy() -- srcRect too short: dst[6] actual[2]"));
    for (int32_t y = 0; y < 2; ++y)
        EXPECT_EQ(std::memcmp(imagetest::at(*dst, 1, y + 1), imagetest::at(*src, 2, y + 1), 3 * 4), 0) << y;
    expectUntouchedOutside(VXRect(1, 1, 4, 3));
}

TEST_F(VXImageUtilsCopy, OverlappingRectsOfOneImageAndPaddedRowsCopyExactly) {
    // Shift a 24-bit image (padded rows) right by one pixel within itself.
    const auto image = makeImage(5, 3, 24);
    imagetest::fillRandom(*image, 9);
    const auto before = makeImage(5, 3, 24);
    std::memcpy(before->getBits(), image->getBits(), static_cast<size_t>(image->getImageSize()));
    ASSERT_TRUE(VXImageUtils::copy(image, VXRect(1, 0, 5, 3), image, VXRect(0, 0, 4, 3)).isSuccess());
    for (int32_t y = 0; y < 3; ++y) {
        EXPECT_EQ(std::memcmp(imagetest::at(*image, 1, y), imagetest::at(*before, 0, y), 12), 0) << y;
        EXPECT_EQ(std::memcmp(imagetest::at(*image, 0, y), imagetest::at(*before, 0, y), 3), 0) << y;
        EXPECT_EQ(imagetest::at(*image, 0, y)[15], imagetest::at(*before, 0, y)[15]) << "padding, row " << y;
    }
}

}  // namespace
