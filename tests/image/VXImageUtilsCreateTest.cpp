#include <gtest/gtest.h>

#include <vector>

#include "ImageTestSupport.h"
#include "VXImageUtils.h"

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

TEST(VXImageUtilsCopy, OverlappingRectsOfOneImageAndPaddedRowsCopyExactly) {
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
