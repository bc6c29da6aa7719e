#include <gtest/gtest.h>

#include <cstring>

#include "ImageTestSupport.h"

namespace {

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
        EXPECT_THAT(text(r), HasSubstr(expected));
        EXPECT_EQ(refused, nullptr);
    }
}

TEST(VXImageUtilsCopy, OverlappingRectsPaddedRowsAndAnEmptySourceRectCopyExactly) {
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

    // An empty source rectangle stands for the whole source.
    const auto src = makeImage(3, 2, 32);
    imagetest::fillRandom(*src, 11);
    const auto dst = makeImage(5, 4, 32);
    imagetest::fillBytes(*dst, 0);
    ASSERT_TRUE(VXImageUtils::copy(dst, VXRect(1, 1, 5, 4), src, VXRect()).isSuccess());
    for (int32_t y = 0; y < 4; ++y) {
        for (int32_t x = 0; x < 5; ++x) {
            const bool inside = x >= 1 && x < 4 && y >= 1 && y < 3;
            EXPECT_EQ(imagetest::get32(*dst, x, y), inside ? imagetest::get32(*src, x - 1, y - 1) : 0u)
                << x << "," << y;
        }
    }
}

// Rects that overlap in one image, or in two sub-images of one parent, in every direction:
// each destination pixel gets the source pixel as it was before the copy.
TEST(VXImageUtilsCopy, OverlappingRectsOfOneImageOrOfSubImagesOfOneParentCopyAsFromASnapshot) {
    const struct {
        VXRect to, from;
    } moves[] = {{VXRect(0, 1, 6, 6), VXRect(0, 0, 6, 5)},
                 {VXRect(0, 0, 6, 5), VXRect(0, 1, 6, 6)},
                 {VXRect(1, 2, 5, 6), VXRect(0, 0, 4, 4)},
                 {VXRect(0, 0, 4, 4), VXRect(2, 1, 6, 5)}};
    for (const bool views : {false, true}) {
        for (const auto& m : moves) {
            SCOPED_TRACE(testing::Message()
                         << (views ? "sub-images " : "one image ") << m.to.toString().toUtf8() << " from "
                         << m.from.toString().toUtf8());
            const auto image = makeImage(6, 6, 32);
            imagetest::fillRandom(*image, 5);
            const auto before = makeImage(6, 6, 32);
            std::memcpy(before->getBits(), image->getBits(), static_cast<size_t>(image->getImageSize()));
            const VXResult r =
                views ? VXImageUtils::copy(imagetest::subImage(image, m.to), VXRect(m.to.getSize()),
                                           imagetest::subImage(image, m.from), VXRect(m.from.getSize()))
                      : VXImageUtils::copy(image, m.to, image, m.from);
            ASSERT_TRUE(r.isSuccess()) << r.message().toUtf8();
            for (int32_t y = 0; y < 6; ++y) {
                for (int32_t x = 0; x < 6; ++x) {
                    const bool inside = m.to.isEnclosing(VXRect(x, y, x + 1, y + 1));
                    const int32_t sx = inside ? x - m.to.getLeft() + m.from.getLeft() : x;
                    const int32_t sy = inside ? y - m.to.getTop() + m.from.getTop() : y;
                    ASSERT_EQ(imagetest::get32(*image, x, y), imagetest::get32(*before, sx, sy))
                        << x << "," << y;
                }
            }
        }
    }
}

}  // namespace
