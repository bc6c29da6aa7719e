#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "ImageTestSupport.h"
#include "VXImageConverter.h"

namespace {

using imagetest::get16;
using imagetest::get32;
using imagetest::makeImage;
using imagetest::set32;

TEST(VXImageConverter32To16, DropsTheLowBitsOfEachChannelAndRefusesWrongDepthsAndMissingColourInfo) {
    struct Case {
        uint32_t pixel;
        uint16_t expected;
    };
    const Case cases[] = {
        {0xFFFFFFFF, 0xFFFF}, {0xF8FCF8, 0xFFFF}, {0xF7FCF8, 0xF7FF},  // red 30 of 31
        {0xF8FBF8, 0xFFDF},                                            // green 62 of 63
        {0x070307, 0x0000},   {0x080408, 0x0821},
    };
    // One row per case, five wide: the case at 0 goes through the four-pixel part, at 4 the remainder.
    const int32_t n = static_cast<int32_t>(std::size(cases));
    const auto src = makeImage(5, n, 32);
    const auto dst = makeImage(5, n, 16);
    for (int32_t i = 0; i < n; ++i) {
        set32(*src, 0, i, cases[i].pixel);
        set32(*src, 4, i, cases[i].pixel);
    }
    ASSERT_TRUE(VXImageConverter::convert32To16(src, VXRect(0, 0, 5, n), dst, VXPoint()).isSuccess());
    for (int32_t i = 0; i < n; ++i) {
        EXPECT_EQ(get16(*dst, 0, i), cases[i].expected) << std::hex << cases[i].pixel;
        EXPECT_EQ(get16(*dst, 4, i), cases[i].expected) << std::hex << cases[i].pixel;
    }

    // Refusals write nothing.
    const auto plain = makeImage(4, 4, 16);
    const auto bare = makeImage(4, 4, 16);
    bare->setColorInfo(nullptr);
    imagetest::fillBytes(*plain, 0x5C);
    imagetest::fillBytes(*bare, 0x5C);
    const VXRect all(0, 0, 4, 4);
    const VXResult deep24 = VXImageConverter::convert32To16(makeImage(4, 4, 24), all, plain, VXPoint());
    EXPECT_EQ(deep24.code(), VXError::eBadParameter);
    EXPECT_THAT(text(deep24), HasSubstr("src image is not 32 bit [24] at VXImageConverter::convert32To16"));
    const VXResult noDstInfo = VXImageConverter::convert32To16(makeImage(4, 4, 32), all, bare, VXPoint());
    EXPECT_EQ(noDstInfo.code(), VXError::eNotInitialized);
    EXPECT_THAT(text(noDstInfo), HasSubstr("missing dst color information"));
    for (const auto& image : {plain, bare})
        EXPECT_EQ(std::vector<uint8_t>(image->getBits(), image->getBits() + image->getImageSize()),
                  std::vector<uint8_t>(static_cast<size_t>(image->getImageSize()), 0x5C));
}

TEST(VXImageConverter32To16, FourAtATimeEqualsOneAtATimeForAnyMasks) {
    struct Masks {
        uint32_t red, green, blue;
    };
    const Masks sources[] = {{0xFF0000, 0x00FF00, 0x0000FF}, {0x0000FF, 0x00FF00, 0xFF0000}};
    const Masks destinations[] = {
        {0xF800, 0x07E0, 0x001F},
        {0xFFF00000, 0x000FF000, 0x00000FFF}};  // wider than 8 bits and above bit 15
    std::mt19937 generator(5);
    std::vector<uint8_t> pixels(4 * 64);
    for (uint8_t& byte : pixels)
        byte = static_cast<uint8_t>(generator());
    for (const Masks& s : sources) {
        for (const Masks& d : destinations) {
            const VXColorInfo srcInfo(32, s.red, s.green, s.blue, 0);
            const VXColorInfo dstInfo(16, d.red, d.green, d.blue, 0);
            const VXImageConverter::Packer16 packer(srcInfo, dstInfo);
            for (int32_t count : {0, 1, 3, 4, 5, 8, 63}) {
                std::vector<uint8_t> fast(2 * 64, 0xEE);
                std::vector<uint8_t> plain(2 * 64, 0xEE);
                packer.packRow(pixels.data() + 4, fast.data(), count);
                packer.packRowPerPixel(pixels.data() + 4, plain.data(), count);
                ASSERT_EQ(fast, plain) << std::hex << s.red << "/" << d.red << " count " << std::dec << count;
            }
        }
    }
}

TEST(VXImageConverterTo32, SixteenBitsGoThroughTheLookupTablesAndPalettesThroughTheColourTable) {
    const auto src16 = makeImage(4, 1, 16);
    const uint16_t values[] = {0xFFFF, 0xF800, 0x0000, 0x0841};
    std::memcpy(src16->getBits(), values, sizeof(values));
    const auto dst = makeImage(4, 1, 32);
    ASSERT_TRUE(VXImageConverter::convert16To32(src16, VXRect(0, 0, 4, 1), dst, VXPoint()).isSuccess());
    EXPECT_EQ(get32(*dst, 1, 0), 0x00FF0000u);
    // Level 1 of 31 is 255/31 = 8.2 and level 2 of 63 is 8.1, both cut to 8.
    EXPECT_EQ(get32(*dst, 3, 0), 0x00080808u);

    // 15-bit pixels take two bytes each, wherever the rect starts.
    auto src15 = std::make_shared<VXImage>(4, 4, 15);
    ASSERT_TRUE(src15->allocate().isSuccess());
    src15->setColorInfo(
        std::make_shared<VXColorInfo>(static_cast<uint8_t>(15), 0x7C00u, 0x03E0u, 0x001Fu, 0u));
    const uint16_t values15[] = {0x0000, 0x7C00, 0x03E0, 0x001F};  // black, red, green, blue
    std::memcpy(src15->getLinePtr(0), values15, sizeof(values15));
    ASSERT_TRUE(VXImageConverter::convert16To32(src15, VXRect(1, 0, 4, 1), dst, VXPoint()).isSuccess());
    EXPECT_EQ(get32(*dst, 0, 0), 0x00FF0000u);
    EXPECT_EQ(get32(*dst, 1, 0), 0x0000FF00u);
    EXPECT_EQ(get32(*dst, 2, 0), 0x000000FFu);

    const auto indexed = makeImage(3, 1, 8);  // fixed palette
    const uint8_t indices[] = {10, 12, 255};
    std::memcpy(indexed->getBits(), indices, 3);
    ASSERT_TRUE(VXImageConverter::convert8To32(indexed, VXRect(0, 0, 3, 1), dst, VXPoint(1, 0)).isSuccess());
    EXPECT_EQ(get32(*dst, 2, 0), 0x000000FFu);
    EXPECT_EQ(get32(*dst, 3, 0), 0x00FFFFFFu);
}

TEST(VXImageConverterConvert, MakesOrReusesTheDestinationToFitTheClippedRect) {
    const auto src = makeImage(4, 4, 32);
    set32(*src, 2, 1, 0xF7FCF8);
    set32(*src, 1, 2, 0x080408);
    std::shared_ptr<VXImage> dst;
    ASSERT_TRUE(VXImageConverter::convert(src, VXRect(-2, -1, 3, 2), 16, dst).isSuccess());
    ASSERT_TRUE(dst);
    EXPECT_EQ(dst->getBitDepth(), 16);
    EXPECT_EQ(dst->getSize(), VXSize(3, 2));
    EXPECT_EQ(get16(*dst, 2, 1), 0xF7FF);

    const VXImage* kept = dst.get();
    ASSERT_TRUE(VXImageConverter::convert(src, VXRect(1, 2, 4, 4), 16, dst).isSuccess());
    EXPECT_EQ(dst.get(), kept);
    EXPECT_EQ(get16(*dst, 0, 0), 0x0821);

    const VXResult outside = VXImageConverter::convert(src, VXRect(5, 5, 8, 8), 16, dst);
    EXPECT_EQ(outside.code(), VXError::eBadParameter);
    EXPECT_THAT(text(outside), HasSubstr("non-intersecting src rectangle[5,5,8,8]"));
    EXPECT_EQ(VXImageConverter::convert(src, VXRect(0, 0, 1, 1), 24, dst).code(), VXError::eNotImplemented);
}

}  // namespace
