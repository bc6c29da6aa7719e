#include <gtest/gtest.h>

#include "ImageTestSupport.h"

namespace {

using imagetest::makeImage;

using Search = VXResult (*)(const std::shared_ptr<VXImage>&, const std::shared_ptr<VXImage>&, int32_t,
                            int32_t, int32_t&);
const Search left = VXImageUtils::findLeftMostDifference, right = VXImageUtils::findRightMostDifference;
const Search top = VXImageUtils::findTopMostDifference, bottom = VXImageUtils::findBottomMostDifference;

// Two equal 8 x 6 images.
class VXImageUtilsSearch : public testing::Test {
protected:
    void SetUp() override {
        image1 = makeImage(8, 6, 32);
        imagetest::fillRandom(*image1, 21);
        ASSERT_TRUE(VXImageUtils::createCopy(image1, image2).isSuccess());
    }
    std::shared_ptr<VXImage> image1;
    std::shared_ptr<VXImage> image2;
};

TEST_F(VXImageUtilsSearch, CompareOrdersByTheFirstDifferingByte) {
    int32_t row = 99;
    EXPECT_EQ(VXImageUtils::compare(image1, image2, &row).code(), VXStatus::eEqualTo);
    EXPECT_EQ(row, -1);
    imagetest::at(*image1, 7, 3)[1] = 0x10;
    imagetest::at(*image2, 7, 3)[1] = 0x20;
    imagetest::at(*image2, 0, 5)[0] ^= 0xFF;  // a later row does not decide
    EXPECT_EQ(VXImageUtils::compare(image1, image2, &row).code(), VXStatus::eLessThan);
    EXPECT_EQ(row, 3);
    EXPECT_EQ(VXImageUtils::compare(image2, image1).code(), VXStatus::eGreaterThan);

    const VXResult sizes = VXImageUtils::compare(image1, makeImage(8, 5, 32));
    EXPECT_THAT(text(sizes), HasSubstr("### VXImageUtils::compare() -- sizes do not match [8,6] vs [8,5]"));
}

// Left and right are checked against a plain byte search, at every depth, by the image utilities
// fuzz target; it only calls top and bottom.
TEST_F(VXImageUtilsSearch, TopAndBottomFindTheOuterDifferencesAndSearchesRefuseBandsOutsideTheFirst) {
    int32_t at = 99;
    EXPECT_EQ(top(image1, image2, 0, 8, at).code(), VXStatus::eNo);
    EXPECT_EQ(at, -1);
    imagetest::at(*image2, 5, 2)[0] ^= 0x01;
    imagetest::at(*image2, 2, 4)[3] ^= 0x80;  // the alpha byte only
    const struct {
        Search search;
        int32_t first, count, expected;  // expected -1: none in the band
    } cases[] = {{top, 0, 8, 2}, {bottom, 0, 8, 4}, {bottom, 3, 5, 2}, {top, 6, 2, -1}};
    for (const auto& c : cases) {
        at = 99;
        const VXResult r = c.search(image1, image2, c.first, c.count, at);
        EXPECT_EQ(r.code(), c.expected < 0 ? VXStatus::eNo : VXStatus::eYes) << c.first << "+" << c.count;
        EXPECT_EQ(at, c.expected) << c.first << "+" << c.count;
    }

    // Images and bands outside the first are refused.
    const auto taller = makeImage(8, 7, 32);
    for (const Search search : {left, right, bottom})
        EXPECT_EQ(search(image1, taller, 0, 1, at).code(), VXError::eBadParameter);
    const VXResult outside = top(image1, taller, 0, 1, at);
    EXPECT_EQ(outside.code(), VXError::eBadParameter);
    EXPECT_THAT(
        text(outside),
        HasSubstr("VXImage::findTopMostDifference() image not fully conatined by this image at origin"));
    const VXResult band = left(image1, image2, 4, 3, at);
    EXPECT_EQ(band.code(), VXError::eBadParameter);
    EXPECT_THAT(text(band),
                HasSubstr("VXImageUtils::findLeftMostDifference() lines outside of images(s) [4|7] [6|6]"));
}

}  // namespace
