#include <gtest/gtest.h>

#include <cstring>

#include "ImageTestSupport.h"
#include "support/LogCapture.h"

namespace {

using imagetest::get32;
using imagetest::makeImage;

// One pixel short in either direction fails and writes nothing; larger is filled from the corner.
TEST(VXImageUtilsScaleUpFast50, RepeatsEachPixelIntoATwoByTwoBlockOfADestinationLargeEnough) {
    LogCapture log;
    const auto src = makeImage(3, 2, 32);
    imagetest::fillRandom(*src, 31);
    for (const VXSize size : {VXSize(6, 4), VXSize(7, 5), VXSize(5, 4), VXSize(6, 3)}) {
        const bool fits = size.getX() >= 6 && size.getY() >= 4;
        const auto dst = makeImage(size.getX(), size.getY(), 32);
        imagetest::fillBytes(*dst, 0xCD);
        EXPECT_EQ(VXImageUtils::scaleUpFast50(src, dst).code(),
                  fits ? VXError::eNoError : VXError::eBadFormat);
        const std::string refusal =
            "### bad destination rect " + VXRect(size).toString().toUtf8() + " expecting [0,0,6,4] ###";
        EXPECT_EQ(log.contains(refusal), !fits) << refusal;
        for (int32_t y = 0; y < size.getY(); ++y) {
            for (int32_t x = 0; x < size.getX(); ++x) {
                const uint32_t expected = fits && x < 6 && y < 4 ? get32(*src, x / 2, y / 2) : 0xCDCDCDCDu;
                EXPECT_EQ(get32(*dst, x, y), expected) << x << "," << y;
            }
        }
    }
    EXPECT_EQ(VXImageUtils::scaleUpFast50(makeImage(3, 2, 24), makeImage(6, 4, 32)).code(),
              VXError::eBadFormat);
    EXPECT_TRUE(log.contains("### only supports 32 bit images: source[24] ###"));
}

// Nearest-centre sampling is checked for any rectangles by the image utilities fuzz target; not
// that the rest of the destination stays as it was, nor rects that share memory.
TEST(VXImageUtilsScale, StretchWritesOnlyTheDestinationRectAndOverlapReadsTheSourceAsItWas) {
    const auto src = makeImage(4, 4, 32);
    for (int32_t y = 0; y < 4; ++y)
        for (int32_t x = 0; x < 4; ++x)
            imagetest::set32(*src, x, y, static_cast<uint32_t>(10 * y + x));
    // A 3 x 1 strip from (1,2) stretched onto columns 1..6 of row 1 of a wider image.
    const auto wide = makeImage(8, 3, 32);
    imagetest::fillBytes(*wide, 0);
    ASSERT_TRUE(VXImageUtils::scale(src, VXRect(1, 2, 4, 3), wide, VXRect(1, 1, 7, 2)).isSuccess());
    const uint32_t expected[8] = {0, 21, 21, 22, 22, 23, 23, 0};
    for (int32_t y = 0; y < 3; ++y)
        for (int32_t x = 0; x < 8; ++x)
            EXPECT_EQ(get32(*wide, x, y), y == 1 ? expected[x] : 0u) << x << "," << y;

    // Enlarged and reduced within one image and between sub-images of one parent: the same as
    // from a separate copy of the source.
    const struct {
        VXRect from, to;
    } overlaps[] = {{VXRect(0, 0, 3, 3), VXRect(1, 1, 7, 7)},
                    {VXRect(1, 1, 7, 7), VXRect(0, 0, 3, 3)},
                    {VXRect(2, 3, 6, 7), VXRect(0, 0, 7, 5)}};
    for (const bool views : {false, true}) {
        for (const auto& o : overlaps) {
            SCOPED_TRACE(testing::Message()
                         << (views ? "sub-images " : "one image ") << o.from.toString().toUtf8() << " to "
                         << o.to.toString().toUtf8());
            const auto image = makeImage(8, 8, 32);
            imagetest::fillRandom(*image, 17);
            const auto expectedImage = makeImage(8, 8, 32);
            std::memcpy(expectedImage->getBits(), image->getBits(),
                        static_cast<size_t>(image->getImageSize()));
            const auto snapshot = makeImage(8, 8, 32);
            std::memcpy(snapshot->getBits(), image->getBits(), static_cast<size_t>(image->getImageSize()));
            ASSERT_TRUE(VXImageUtils::scale(snapshot, o.from, expectedImage, o.to).isSuccess());
            const VXResult r =
                views ? VXImageUtils::scale(imagetest::subImage(image, o.from), VXRect(o.from.getSize()),
                                            imagetest::subImage(image, o.to), VXRect(o.to.getSize()))
                      : VXImageUtils::scale(image, o.from, image, o.to);
            ASSERT_TRUE(r.isSuccess()) << r.message().toUtf8();
            EXPECT_EQ(std::memcmp(image->getBits(), expectedImage->getBits(),
                                  static_cast<size_t>(image->getImageSize())),
                      0);
        }
    }
}

}  // namespace
