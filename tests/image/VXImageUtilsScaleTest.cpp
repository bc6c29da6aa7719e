#include <gtest/gtest.h>
#include <zlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "ImageTestSupport.h"
#include "VXImageUtils.h"
#include "VXSubImage.h"
#include "support/LogCapture.h"

namespace {

using imagetest::contains;
using imagetest::get32;
using imagetest::makeImage;

TEST(VXImageUtilsScaleUpFast50, RepeatsEachPixelIntoATwoByTwoBlock) {
    const auto src = makeImage(3, 2, 32);
    imagetest::fillRandom(*src, 31);
    for (const VXSize size : {VXSize(6, 4), VXSize(7, 5)}) {
        const auto dst = makeImage(size.getX(), size.getY(), 32);
        imagetest::fillBytes(*dst, 0xCD);
        ASSERT_TRUE(VXImageUtils::scaleUpFast50(src, dst).isSuccess());
        for (int32_t y = 0; y < size.getY(); ++y) {
            for (int32_t x = 0; x < size.getX(); ++x) {
                const uint32_t expected = x < 6 && y < 4 ? get32(*src, x / 2, y / 2) : 0xCDCDCDCDu;
                EXPECT_EQ(get32(*dst, x, y), expected) << x << "," << y;
            }
        }
    }
}

TEST(VXImageUtilsScaleUpFast50, DestinationOnePixelShortOrSourceNot32BitFails) {
    LogCapture log;
    const auto src = makeImage(3, 2, 32);
    for (const VXSize size : {VXSize(5, 4), VXSize(6, 3)}) {
        const auto dst = makeImage(size.getX(), size.getY(), 32);
        imagetest::fillBytes(*dst, 0xCD);
        EXPECT_EQ(VXImageUtils::scaleUpFast50(src, dst).code(), VXError::eBadFormat);
        const std::string expected =
            "### bad destination rect " + VXRect(size).toString().toUtf8() + " expecting [0,0,6,4] ###";
        EXPECT_TRUE(log.contains(expected)) << expected;
        EXPECT_EQ(get32(*dst, 0, 0), 0xCDCDCDCDu);
    }
    const auto src24 = makeImage(3, 2, 24);
    EXPECT_EQ(VXImageUtils::scaleUpFast50(src24, makeImage(6, 4, 32)).code(), VXError::eBadFormat);
    EXPECT_TRUE(
        log.contains("VXImageUtils::scaleUpFast50 - ### only supports 32 bit images: source[24] ###"));

    EXPECT_TRUE(contains(VXImageUtils::scaleUpFast50(nullptr, src), "Parameter check \"srcImage\" failed"));
    EXPECT_TRUE(contains(VXImageUtils::scaleUpFast50(src, std::make_shared<VXImage>(6, 4, 32)),
                         "Parameter check \"dstImage->getBits()\" failed"));
}

TEST(VXImageUtilsScale, NearestPixelCentresBetweenRectangles) {
    const auto src = makeImage(4, 4, 32);
    for (int32_t y = 0; y < 4; ++y)
        for (int32_t x = 0; x < 4; ++x)
            imagetest::set32(*src, x, y, static_cast<uint32_t>(10 * y + x));

    // Halving picks the second pixel of each pair: centres 0.5 and 2.5 of 4 land on 1 and 3.
    const auto half = makeImage(2, 2, 32);
    ASSERT_TRUE(VXImageUtils::scale(src, VXRect(0, 0, 4, 4), half, VXRect(0, 0, 2, 2)).isSuccess());
    EXPECT_EQ(get32(*half, 0, 0), 11u);
    EXPECT_EQ(get32(*half, 1, 0), 13u);
    EXPECT_EQ(get32(*half, 1, 1), 33u);

    // A 3 x 1 strip from (1,2) stretched onto columns 1..6 of row 1 of a wider image.
    const auto wide = makeImage(8, 3, 32);
    imagetest::fillBytes(*wide, 0);
    ASSERT_TRUE(VXImageUtils::scale(src, VXRect(1, 2, 4, 3), wide, VXRect(1, 1, 7, 2)).isSuccess());
    const uint32_t expected[8] = {0, 21, 21, 22, 22, 23, 23, 0};
    for (int32_t x = 0; x < 8; ++x)
        EXPECT_EQ(get32(*wide, x, 1), expected[x]) << x;
    EXPECT_EQ(get32(*wide, 3, 0), 0u);
    EXPECT_EQ(get32(*wide, 3, 2), 0u);

    // Three bytes a pixel: whole pixels move.
    const auto src24 = makeImage(2, 1, 24);
    const uint8_t bgr[] = {1, 2, 3, 4, 5, 6};
    std::memcpy(src24->getBits(), bgr, 6);
    const auto dst24 = makeImage(4, 1, 24);
    ASSERT_TRUE(VXImageUtils::scale(src24, VXRect(0, 0, 2, 1), dst24, VXRect(0, 0, 4, 1)).isSuccess());
    const uint8_t doubled[] = {1, 2, 3, 1, 2, 3, 4, 5, 6, 4, 5, 6};
    EXPECT_EQ(std::memcmp(dst24->getBits(), doubled, sizeof(doubled)), 0);

    EXPECT_EQ(VXImageUtils::scale(src, VXRect(0, 0, 4, 4), dst24, VXRect(0, 0, 1, 1)).code(),
              VXError::eBadFormat);
    EXPECT_TRUE(contains(VXImageUtils::scale(src, VXRect(0, 0, 5, 4), half, VXRect(0, 0, 2, 2)),
                         "right X value out of bounds[5] width[4] [0+5]"));
    EXPECT_TRUE(contains(VXImageUtils::scale(src, VXRect(0, 0, 2, 2), src, VXRect(1, 1, 3, 3)),
                         "Parameter check \"src != dst || srcRect.intersect(dstRect).isEmpty()\" failed"));
}

// The pixels of a PNG the writer made: IDAT inflated and the Sub filter undone, as R,G,B.
std::vector<uint8_t> decodeRgb(const std::vector<uint8_t>& png, uint32_t width, uint32_t height) {
    std::vector<uint8_t> packed;
    for (size_t pos = 8; pos + 12 <= png.size();) {
        const uint32_t size = (uint32_t{png[pos]} << 24) | (uint32_t{png[pos + 1]} << 16) |
                              (uint32_t{png[pos + 2]} << 8) | png[pos + 3];
        if (std::memcmp(&png[pos + 4], "IDAT", 4) == 0)
            packed.insert(packed.end(), png.begin() + static_cast<long>(pos + 8),
                          png.begin() + static_cast<long>(pos + 8 + size));
        pos += 12 + size;
    }
    const size_t line = 1 + 3 * width;
    std::vector<uint8_t> raw(line * height);
    uLongf rawSize = static_cast<uLongf>(raw.size());
    EXPECT_EQ(uncompress(raw.data(), &rawSize, packed.data(), static_cast<uLong>(packed.size())), Z_OK);
    std::vector<uint8_t> pixels;
    for (uint32_t y = 0; y < height; ++y) {
        const uint8_t* row = raw.data() + line * y;
        EXPECT_EQ(row[0], 1);
        for (size_t i = 0; i < 3 * width; ++i)
            pixels.push_back(static_cast<uint8_t>(row[1 + i] + (i >= 3 ? pixels[pixels.size() - 3] : 0)));
    }
    return pixels;
}

TEST(VXImageUtilsSave, WritesThePixelsOfAViewStepByItsParentsStride) {
    const auto parent = makeImage(5, 4, 32);
    imagetest::fillRandom(*parent, 41);
    auto view = std::make_shared<VXSubImage>();
    ASSERT_TRUE(view->initialize(parent, VXRect(1, 1, 4, 3)).isSuccess());
    const std::filesystem::path file = std::filesystem::temp_directory_path() / "vx_imageutils_save.png";
    ASSERT_TRUE(VXImageUtils::saveToFile(view, VXString::fromUtf8(file.string())).isSuccess());

    std::ifstream in(file, std::ios::binary);
    const std::vector<uint8_t> png((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    in.close();
    std::filesystem::remove(file);
    ASSERT_GT(png.size(), 8u);
    const std::vector<uint8_t> pixels = decodeRgb(png, 3, 2);
    ASSERT_EQ(pixels.size(), 18u);
    for (int32_t y = 0; y < 2; ++y) {
        for (int32_t x = 0; x < 3; ++x) {
            const uint8_t* bgra = imagetest::at(*parent, x + 1, y + 1);
            const uint8_t* rgb = &pixels[static_cast<size_t>(3 * (3 * y + x))];
            EXPECT_EQ(rgb[0], bgra[2]);
            EXPECT_EQ(rgb[1], bgra[1]);
            EXPECT_EQ(rgb[2], bgra[0]);
        }
    }
}

TEST(VXImageUtilsSave, OtherDepthsAreWrittenThroughTheirColourInformation) {
    const auto image = makeImage(2, 1, 16);
    const uint16_t values[] = {0xF800, 0x07FF};
    std::memcpy(image->getBits(), values, sizeof(values));
    const std::filesystem::path file = std::filesystem::temp_directory_path() / "vx_imageutils_save16.png";
    ASSERT_TRUE(VXImageUtils::saveToFile(image, VXString::fromUtf8(file.string())).isSuccess());
    std::ifstream in(file, std::ios::binary);
    const std::vector<uint8_t> png((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    in.close();
    std::filesystem::remove(file);
    const std::vector<uint8_t> expected = {0xFF, 0x00, 0x00, 0x00, 0xFF, 0xFF};
    EXPECT_EQ(decodeRgb(png, 2, 1), expected);

    auto odd = std::make_shared<VXImage>(4, 4, 4);
    ASSERT_TRUE(odd->allocate().isSuccess());
    const VXResult refused = VXImageUtils::saveToFile(odd, VXString::fromUtf8(file.string()));
    EXPECT_EQ(refused.code(), VXError::eNotImplemented);
    EXPECT_TRUE(contains(refused, "no conversion from 4 to 32 bits"));
    EXPECT_TRUE(contains(refused, "Failed to save image to file."));
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(VXImageUtilsSave, FailuresSayTheImageWasNotSaved) {
    const auto image = makeImage(2, 2, 32);
    const std::filesystem::path missing = std::filesystem::temp_directory_path() / "vx-no-such-dir" / "x.png";
    const VXResult unwritable = VXImageUtils::saveToFile(image, VXString::fromUtf8(missing.string()));
    EXPECT_EQ(unwritable.code(), VXError::eIOError);
    EXPECT_TRUE(contains(unwritable, "Failed to save image to file."));
    EXPECT_TRUE(contains(VXImageUtils::saveToFile(nullptr, u"x.png"), "Parameter check \"image\" failed"));
}

}  // namespace
