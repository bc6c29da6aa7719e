#include <gtest/gtest.h>

#include "ImageTestSupport.h"
#include "VXImageUtils.h"

namespace {

using imagetest::contains;
using imagetest::makeImage;

// Two equal 8 x 6 images; the second then differs at (5,2) and, in its alpha byte only, at (2,4).
class VXImageUtilsSearch : public testing::Test {
protected:
    void SetUp() override {
        image1 = makeImage(8, 6, 32);
        imagetest::fillRandom(*image1, 21);
        ASSERT_TRUE(VXImageUtils::createCopy(image1, image2).isSuccess());
    }
    void makeDifferences() {
        imagetest::at(*image2, 5, 2)[0] ^= 0x01;
        imagetest::at(*image2, 2, 4)[3] ^= 0x80;
    }
    std::shared_ptr<VXImage> image1;
    std::shared_ptr<VXImage> image2;
};

TEST_F(VXImageUtilsSearch, CompareOrdersByTheFirstDifferingByteAndIgnoresPadding) {
    int32_t row = 99;
    EXPECT_EQ(VXImageUtils::compare(image1, image2, &row).code(), VXStatus::eEqualTo);
    EXPECT_EQ(row, -1);
    imagetest::at(*image1, 7, 3)[1] = 0x10;
    imagetest::at(*image2, 7, 3)[1] = 0x20;
    imagetest::at(*image2, 0, 5)[0] ^= 0xFF;  // a later row does not decide
    EXPECT_EQ(VXImageUtils::compare(image1, image2, &row).code(), VXStatus::eLessThan);
    EXPECT_EQ(row, 3);
    EXPECT_EQ(VXImageUtils::compare(image2, image1).code(), VXStatus::eGreaterThan);

    const auto padded1 = makeImage(3, 2, 24);
    const auto padded2 = makeImage(3, 2, 24);
    imagetest::fillBytes(*padded1, 0x11);
    imagetest::fillBytes(*padded2, 0x11);
    imagetest::at(*padded2, 0, 1)[9] = 0x99;  // the padding byte of row 1
    EXPECT_EQ(VXImageUtils::compare(padded1, padded2).code(), VXStatus::eEqualTo);

    const VXResult sizes = VXImageUtils::compare(image1, makeImage(8, 5, 32));
    EXPECT_TRUE(sizes.isError());
    EXPECT_TRUE(contains(sizes, "### VXImageUtils::compare() -- sizes do not match [8,6] vs [8,5]"));
    const VXResult depths = VXImageUtils::compare(image1, makeImage(8, 6, 24));
    EXPECT_TRUE(contains(depths, "### VXImageUtils::compare() -- BPP mismatch [32] vs [24]"));
}

TEST_F(VXImageUtilsSearch, ColumnSearchesFindTheOuterDifferencesOfTheBand) {
    int32_t column = 99;
    EXPECT_EQ(VXImageUtils::findLeftMostDifference(image1, image2, 0, 6, column).code(), VXStatus::eNo);
    EXPECT_EQ(column, -1);
    EXPECT_EQ(VXImageUtils::findRightMostDifference(image1, image2, 0, 6, column).code(), VXStatus::eNo);
    makeDifferences();
    struct Case {
        int32_t firstRow;
        int32_t rowCount;
        int32_t left;
        int32_t right;
    };
    const Case cases[] = {{0, 6, 2, 5}, {0, 4, 5, 5}, {3, 3, 2, 2}, {2, 1, 5, 5}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "rows " << c.firstRow << "+" << c.rowCount);
        EXPECT_EQ(VXImageUtils::findLeftMostDifference(image1, image2, c.firstRow, c.rowCount, column).code(),
                  VXStatus::eYes);
        EXPECT_EQ(column, c.left);
        EXPECT_EQ(
            VXImageUtils::findRightMostDifference(image1, image2, c.firstRow, c.rowCount, column).code(),
            VXStatus::eYes);
        EXPECT_EQ(column, c.right);
    }
    EXPECT_EQ(VXImageUtils::findLeftMostDifference(image1, image2, 5, 1, column).code(), VXStatus::eNo);

    // Three bytes a pixel: byte 11 is the last of pixel 3, byte 12 the first of pixel 4. The
    // second row's difference lies just right of the first row's.
    const auto a = makeImage(7, 2, 24);
    imagetest::fillBytes(*a, 0);
    std::shared_ptr<VXImage> b;
    ASSERT_TRUE(VXImageUtils::createCopy(a, b).isSuccess());
    imagetest::at(*b, 3, 0)[2] = 1;
    imagetest::at(*b, 4, 1)[0] = 1;
    ASSERT_EQ(VXImageUtils::findLeftMostDifference(a, b, 0, 2, column).code(), VXStatus::eYes);
    EXPECT_EQ(column, 3);
    ASSERT_EQ(VXImageUtils::findRightMostDifference(a, b, 0, 2, column).code(), VXStatus::eYes);
    EXPECT_EQ(column, 4);
}

TEST_F(VXImageUtilsSearch, RowSearchesScanTheSecondImagesRowsOverTheColumnBand) {
    int32_t row = 99;
    makeDifferences();
    struct Case {
        int32_t firstColumn;
        int32_t columnCount;
        int32_t top;
        int32_t bottom;
    };
    const Case cases[] = {{0, 8, 2, 4}, {2, 1, 4, 4}, {3, 5, 2, 2}, {0, 3, 4, 4}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "columns " << c.firstColumn << "+" << c.columnCount);
        EXPECT_EQ(
            VXImageUtils::findTopMostDifference(image1, image2, c.firstColumn, c.columnCount, row).code(),
            VXStatus::eYes);
        EXPECT_EQ(row, c.top);
        EXPECT_EQ(
            VXImageUtils::findBottomMostDifference(image1, image2, c.firstColumn, c.columnCount, row).code(),
            VXStatus::eYes);
        EXPECT_EQ(row, c.bottom);
    }
    EXPECT_EQ(VXImageUtils::findTopMostDifference(image1, image2, 6, 2, row).code(), VXStatus::eNo);
    EXPECT_EQ(row, -1);

    // A shorter second image is compared over its own rows only.
    const auto shorter = makeImage(8, 4, 32);
    ASSERT_TRUE(VXImageUtils::copy(shorter, VXRect(0, 0, 8, 4), image1, VXRect(0, 0, 8, 4)).isSuccess());
    imagetest::at(*image1, 0, 5)[0] ^= 1;
    EXPECT_EQ(VXImageUtils::findBottomMostDifference(image1, shorter, 0, 8, row).code(), VXStatus::eNo);
    EXPECT_EQ(VXImageUtils::findTopMostDifference(image1, shorter, 0, 8, row).code(), VXStatus::eNo);
}

TEST_F(VXImageUtilsSearch, SearchesReportTheirOwnMessages) {
    const auto taller = makeImage(8, 7, 32);
    const auto narrower = makeImage(6, 6, 32);
    int32_t at = 0;
    struct Case {
        VXResult result;
        const char* text;
    };
    const Case cases[] = {
        {VXImageUtils::findLeftMostDifference(image1, taller, 0, 1, at),
         "VXImageUtils::findLeftMostDifference() -- image not fully contained by this image at origin"},
        {VXImageUtils::findRightMostDifference(image1, taller, 0, 1, at),
         "VXImageUtils::findRightMostDifference() -- image not fully conatined by this image at origin"},
        {VXImageUtils::findTopMostDifference(image1, taller, 0, 1, at),
         "VXImage::findTopMostDifference() image not fully conatined by this image at origin"},
        {VXImageUtils::findBottomMostDifference(image1, taller, 0, 1, at),
         "VXImageUtils::findBottomMostDifference() -- image not fully contained by this image at origin"},
        {VXImageUtils::findLeftMostDifference(image1, narrower, 0, 1, at),
         "VXImageUtils::findLeftMostDifference() images are not the same width[8 6]"},
        {VXImageUtils::findRightMostDifference(image1, narrower, 0, 1, at),
         "VXImageUtils::findRightMostDifference() -- images are not the same width[8 6]"},
        {VXImageUtils::findLeftMostDifference(image1, image2, 4, 3, at),
         "VXImageUtils::findLeftMostDifference() lines outside of images(s) [4|7] [6|6]"},
        {VXImageUtils::findLeftMostDifference(image1, image2, 2, 0, at),
         "VXImageUtils::findLeftMostDifference() lines outside of image(s) at"},
        {VXImageUtils::findRightMostDifference(image1, image2, -1, 2, at),
         "VXImageUtils::findRightMostDifference() -- lines outside of images(s) --> [-1-1] [6-6]"},
        {VXImageUtils::findTopMostDifference(image1, image2, 6, 3, at),
         "right X value out of bounds[9] width[8] [6+3] >> VXImageUtils::checkBounds, vximageutils.cpp:"},
        {VXImageUtils::findBottomMostDifference(image1, image2, -1, 3, at),
         "left X value out of bounds[-1] width[8] >> "},
        {VXImageUtils::checkBounds(*image1, VXRect(0, -1, 2, 2)),
         "top Y value out of bounds[-1] height[6] >> "},
        {VXImageUtils::checkBounds(*image1, VXRect(0, 2, 2, 7)),
         "bottom Y value out of bounds[7] height[6] [2+5]"},
        {VXImageUtils::findLeftMostDifference(image1, makeImage(8, 6, 24), 0, 1, at),
         "Parameter check \"isSearchablePair(*image1, *image2)\" failed"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.result.code(), VXError::eBadParameter) << c.text;
        EXPECT_TRUE(contains(c.result, c.text)) << c.result.message().toUtf8();
    }
    EXPECT_TRUE(VXImageUtils::checkBounds(*image1, VXRect(8, 6, 8, 6)).isSuccess());
}

}  // namespace
