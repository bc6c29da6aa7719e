#include <gtest/gtest.h>

#include <vector>

#include "ImageTestSupport.h"
#include "VXImageUtils.h"
#include "support/LogCapture.h"

namespace {

using imagetest::contains;
using imagetest::makeImage;

// Counts what VXImage::create asks for, and can refuse.
class CountingFactory : public VXImageFactory {
public:
    std::shared_ptr<VXImage> createImage(int32_t width, int32_t height, int32_t bitDepth) override {
        ++created;
        return refuse ? nullptr : std::make_shared<VXImage>(width, height, bitDepth);
    }
    std::shared_ptr<VXImage> createImage() override { return nullptr; }
    int created = 0;
    bool refuse = false;
};

class VXImageUtilsCreate : public testing::Test {
protected:
    void TearDown() override { VXImage::setFactory(nullptr); }
};

TEST_F(VXImageUtilsCreate, DimensionsUpTo65536AreAcceptedAndOneMoreIsNot) {
    std::shared_ptr<VXImage> image;
    ASSERT_TRUE(VXImageUtils::createImage(VXSize(65536, 1), 32, nullptr, image).isSuccess());
    ASSERT_TRUE(VXImageUtils::createImage(VXSize(1, 65536), 8, VXColorInfo::createFixed256ColorInfo(), image)
                    .isSuccess());
    const VXSize bad[] = {{65537, 1}, {1, 65537}, {0, 5}, {-3, 4}};
    for (const VXSize& size : bad) {
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

TEST_F(VXImageUtilsCreate, DepthAndColorInfoMustAgree) {
    std::shared_ptr<VXImage> image;
    for (int32_t depth : {1, 15, 64}) {
        const VXResult r = VXImageUtils::createImage(VXSize(4, 4), depth, nullptr, image);
        EXPECT_EQ(r.code(), VXError::eBadParameter);
        const std::string expected = "-- unsupported image bpp [" + std::to_string(depth) + "]";
        EXPECT_TRUE(contains(r, expected.c_str())) << r.message().toUtf8();
    }
    auto sixteen = std::make_shared<VXColorInfo>();
    ASSERT_TRUE(sixteen->initialize(16).isSuccess());
    const VXResult r = VXImageUtils::createImage(VXSize(4, 4), 32, sixteen, image);
    EXPECT_EQ(r.code(), VXError::eBadFormat);
    EXPECT_TRUE(contains(r, "VXImageUtils::createImage() -- VXColorInfo bit depth doesnt match[16 vs 32]"));
    EXPECT_EQ(image, nullptr);

    ASSERT_TRUE(VXImageUtils::createImage(VXSize(3, 2), 16, sixteen, image).isSuccess());
    EXPECT_EQ(image->getColorInfo(), sixteen);  // shared, not copied
}

TEST_F(VXImageUtilsCreate, MissingColorInfoIsMadeForTheDepthAndPixelsAreAllocated) {
    for (int32_t depth : {16, 24, 32}) {
        std::shared_ptr<VXImage> image;
        ASSERT_TRUE(VXImageUtils::createImage(VXSize(5, 3), depth, nullptr, image).isSuccess());
        ASSERT_TRUE(image->getColorInfo());
        EXPECT_EQ(image->getColorInfo()->getRedMask(), depth == 16 ? 0xF800u : 0xFF0000u);
        EXPECT_EQ(image->getAllocatedBytes(), int64_t{image->getBytesPerLine()} * 3);
    }
}

TEST_F(VXImageUtilsCreate, GoesThroughTheInstalledFactory) {
    auto factory = std::make_shared<CountingFactory>();
    VXImage::setFactory(factory);
    std::shared_ptr<VXImage> image;
    ASSERT_TRUE(VXImageUtils::createImage(VXSize(2, 2), 32, nullptr, image).isSuccess());
    EXPECT_EQ(factory->created, 1);

    factory->refuse = true;
    std::shared_ptr<VXImage> refused;
    const VXResult r = VXImageUtils::createImage(VXSize(2, 2), 32, nullptr, refused);
    EXPECT_EQ(r.code(), VXError::eNoMemory);
    EXPECT_TRUE(contains(r, "VXImageUtils::createImage() -- VXImageFactory failed. at "));
    EXPECT_EQ(refused, nullptr);
}

TEST_F(VXImageUtilsCreate, CreateCopyDuplicatesPixelsAndSharesColorInfo) {
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
    // Only left >= right: the whole 6 x 4 source from (0,0).
    ASSERT_TRUE(VXImageUtils::copy(dst, VXRect(2, 1, 8, 5), src, VXRect(0, 0, 0, 3)).isSuccess());
    for (int32_t y = 0; y < 4; ++y)
        for (int32_t x = 0; x < 6; ++x)
            EXPECT_EQ(imagetest::get32(*dst, x + 2, y + 1), imagetest::get32(*src, x, y)) << x << "," << y;
    expectUntouchedOutside(VXRect(2, 1, 8, 5));

    // From (1,1) the source's full size reaches past its edges.
    const VXResult r = VXImageUtils::copy(dst, VXRect(0, 0, 6, 4), src, VXRect(1, 1, 1, 1));
    EXPECT_EQ(r.code(), VXError::eBadFormat);
    EXPECT_TRUE(contains(r, "src rect is bad: rect[1,1,7,5] imageSize[6,4] VXImageUtils::copy, "))
        << r.message().toUtf8();
}

TEST_F(VXImageUtilsCopy, RectanglesOutsideTheirImagesAreRefusedWithoutWriting) {
    const VXRect badDst[] = {{-1, 0, 3, 3}, {0, 0, 11, 3}, {0, 0, 3, 9}, {5, 0, 4, 3}};
    for (const VXRect& rect : badDst) {
        const VXResult r = VXImageUtils::copy(dst, rect, src, VXRect(0, 0, 3, 3));
        EXPECT_EQ(r.code(), VXError::eBadFormat);
        const std::string expected = "dst rect is bad: rect" + rect.toString().toUtf8() + " imageSize[10,8] ";
        EXPECT_TRUE(contains(r, expected.c_str())) << r.message().toUtf8();
    }
    const VXResult r = VXImageUtils::copy(dst, VXRect(0, 0, 3, 3), src, VXRect(4, 0, 7, 3));
    EXPECT_TRUE(contains(r, "src rect is bad: rect[4,0,7,3] imageSize[6,4]"));
    expectUntouchedOutside(VXRect());
}

TEST_F(VXImageUtilsCopy, MissingImagesAndMixedDepthsAreRefused) {
    EXPECT_EQ(VXImageUtils::copy(nullptr, VXRect(0, 0, 1, 1), src, VXRect()).code(),
              VXError::ePreconditionFailed);
    const auto deep24 = makeImage(6, 4, 24);
    const VXResult r = VXImageUtils::copy(dst, VXRect(0, 0, 1, 1), deep24, VXRect());
    EXPECT_EQ(r.code(), VXError::eBadFormat);
    EXPECT_TRUE(
        contains(r, "Images have different bit depths [32 24] VXImageUtils::copy, vximageutils.cpp:"));
    expectUntouchedOutside(VXRect());
}

TEST_F(VXImageUtilsCopy, SmallerSourceCopiesOnlyWhatItHasAndSaysSo) {
    LogCapture log;
    ASSERT_TRUE(VXImageUtils::copy(dst, VXRect(1, 1, 9, 7), src, VXRect(2, 1, 5, 3)).isSuccess());
    EXPECT_TRUE(log.contains("VXImageUtils::copy() -- srcRect too narrow: dst[8] actual[3]"));
    EXPECT_TRUE(log.contains("VXImageUtils::copy() -- srcRect too short: dst[6] actual[2]"));
    for (int32_t y = 0; y < 2; ++y)
        for (int32_t x = 0; x < 3; ++x)
            EXPECT_EQ(imagetest::get32(*dst, x + 1, y + 1), imagetest::get32(*src, x + 2, y + 1));
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
        // The padding byte after the row is not part of any pixel.
        EXPECT_EQ(imagetest::at(*image, 0, y)[15], imagetest::at(*before, 0, y)[15]) << y;
    }
}

}  // namespace
