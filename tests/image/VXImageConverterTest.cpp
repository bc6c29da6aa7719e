#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "ImageTestSupport.h"
#include "VXImageConverter.h"
#include "support/LogCapture.h"

namespace {

using imagetest::contains;
using imagetest::get16;
using imagetest::get32;
using imagetest::makeImage;
using imagetest::set32;

uint32_t rgb(uint32_t r, uint32_t g, uint32_t b) {
    return (r << 16) | (g << 8) | b;
}

// 5-6-5 by hand: the top 5, 6 and 5 bits of red, green and blue.
uint16_t to565(uint32_t p) {
    return static_cast<uint16_t>((((p >> 19) & 0x1F) << 11) | (((p >> 10) & 0x3F) << 5) | ((p >> 3) & 0x1F));
}

TEST(VXImageConverter32To16, DropsTheLowBitsOfEachChannelWithoutRounding) {
    struct Case {
        uint32_t pixel;
        uint16_t expected;
    };
    const Case cases[] = {
        {0xFFFFFFFF, 0xFFFF},
        {0x00FFFFFF, 0xFFFF},  // alpha plays no part
        {rgb(248, 252, 248), 0xFFFF},
        {rgb(255, 252, 250), 0xFFFF},
        {rgb(247, 252, 248), 0xF7FF},  // red 30 of 31
        {rgb(248, 251, 248), 0xFFDF},  // green 62 of 63
        {rgb(7, 3, 7), 0x0000},
        {rgb(8, 4, 8), 0x0821},
        {0xFF000000 | rgb(7, 3, 7), 0x0000},
    };
    // One row of all cases and the same cases again one pixel later, so that each lands in
    // the four-pixel part and in the remainder of a row.
    const int32_t n = static_cast<int32_t>(std::size(cases));
    const auto src = makeImage(n + 1, 2, 32);
    const auto dst = makeImage(n + 1, 2, 16);
    for (int32_t i = 0; i < n; ++i) {
        set32(*src, i, 0, cases[i].pixel);
        set32(*src, i + 1, 1, cases[i].pixel);
    }
    ASSERT_TRUE(VXImageConverter::convert32To16(src, VXRect(0, 0, n + 1, 2), dst, VXPoint()).isSuccess());
    for (int32_t i = 0; i < n; ++i) {
        EXPECT_EQ(get16(*dst, i, 0), cases[i].expected) << std::hex << cases[i].pixel;
        EXPECT_EQ(get16(*dst, i + 1, 1), cases[i].expected) << std::hex << cases[i].pixel;
    }
}

TEST(VXImageConverter32To16, RandomPixelsMatchTheRuleAtOddOffsetsAndWidths) {
    const auto src = makeImage(37, 5, 32);
    imagetest::fillRandom(*src, 77);
    const auto dst = makeImage(40, 6, 16);
    imagetest::fillBytes(*dst, 0xA5);
    // 33 pixels a row from (3,1): eight groups of four and one left over, written from an
    // odd destination column.
    ASSERT_TRUE(VXImageConverter::convert32To16(src, VXRect(3, 1, 36, 5), dst, VXPoint(1, 2)).isSuccess());
    for (int32_t y = 0; y < 6; ++y) {
        for (int32_t x = 0; x < 40; ++x) {
            const bool written = x >= 1 && x < 34 && y >= 2 && y < 6;
            const uint16_t expected = written ? to565(get32(*src, x + 2, y - 1)) : 0xA5A5;
            ASSERT_EQ(get16(*dst, x, y), expected) << x << "," << y;
        }
    }
}

TEST(VXImageConverter32To16, FourAtATimeEqualsOneAtATimeForAnyMasks) {
    struct Masks {
        uint32_t red, green, blue;
    };
    const Masks sources[] = {
        {0xFF0000, 0x00FF00, 0x0000FF}, {0x0000FF, 0x00FF00, 0xFF0000}, {0xFF000000, 0xFF0000, 0xFF00}};
    const Masks destinations[] = {
        {0xF800, 0x07E0, 0x001F},
        {0x7C00, 0x03E0, 0x001F},
        {0x001F, 0x07E0, 0xF800},
        {0xF00, 0xF0, 0xF},
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
    // And the plain rule itself on the 5-5-5 layout with the source channels reversed.
    const VXColorInfo bgr(32, 0x0000FF, 0x00FF00, 0xFF0000, 0);
    const VXColorInfo rgb555(16, 0x7C00, 0x03E0, 0x001F, 0);
    const VXImageConverter::Packer16 packer(bgr, rgb555);
    EXPECT_EQ(packer.pack(0x00F80810), (0x10 >> 3 << 10) | (0x08 >> 3 << 5) | (0xF8 >> 3));
}

TEST(VXImageConverter32To16, RefusesWrongDepthsAndMissingColourInfoWithoutWriting) {
    const auto dst = makeImage(4, 4, 16);
    imagetest::fillBytes(*dst, 0x5C);
    const VXRect all(0, 0, 4, 4);
    const auto src24 = makeImage(4, 4, 24);
    const VXResult deep24 = VXImageConverter::convert32To16(src24, all, dst, VXPoint());
    EXPECT_EQ(deep24.code(), VXError::eBadParameter);
    EXPECT_TRUE(contains(deep24, "src image is not 32 bit [24] at VXImageConverter::convert32To16"));
    const auto src = makeImage(4, 4, 32);
    const VXResult notSixteen = VXImageConverter::convert32To16(src, all, makeImage(4, 4, 32), VXPoint());
    EXPECT_TRUE(contains(notSixteen, "dst image is not 16 bit [32]"));

    const VXResult emptyRect = VXImageConverter::convert32To16(src, VXRect(2, 0, 2, 4), dst, VXPoint());
    EXPECT_EQ(emptyRect.code(), VXError::eBadParameter);
    EXPECT_TRUE(contains(emptyRect, "Error returned at VXImageConverter::convert32To16"));
    EXPECT_EQ(VXImageConverter::convert32To16(nullptr, all, dst, VXPoint()).code(), VXError::eBadParameter);

    const auto bare = makeImage(4, 4, 16);
    bare->setColorInfo(nullptr);
    const VXResult noDstInfo = VXImageConverter::convert32To16(src, all, bare, VXPoint());
    EXPECT_EQ(noDstInfo.code(), VXError::eNotInitialized);
    EXPECT_TRUE(contains(noDstInfo, "missing dst color information"));
    src->setColorInfo(nullptr);
    EXPECT_TRUE(
        contains(VXImageConverter::convert32To16(src, all, dst, VXPoint()), "missing src color information"));

    for (int32_t y = 0; y < 4; ++y)
        for (int32_t x = 0; x < 4; ++x)
            EXPECT_EQ(get16(*dst, x, y), 0x5C5C);
}

TEST(VXImageConverterTo32, SixteenBitsGoThroughTheLookupTablesAndPalettesThroughTheColourTable) {
    const auto src16 = makeImage(4, 1, 16);
    const uint16_t values[] = {0xFFFF, 0xF800, 0x0000, 0x0841};
    std::memcpy(src16->getBits(), values, sizeof(values));
    const auto dst = makeImage(4, 1, 32);
    ASSERT_TRUE(VXImageConverter::convert16To32(src16, VXRect(0, 0, 4, 1), dst, VXPoint()).isSuccess());
    EXPECT_EQ(get32(*dst, 0, 0), 0x00FFFFFFu);
    EXPECT_EQ(get32(*dst, 1, 0), 0x00FF0000u);
    EXPECT_EQ(get32(*dst, 2, 0), 0u);
    // Level 1 of 31 is 255/31 = 8.2 and level 2 of 63 is 8.1, both cut to 8.
    EXPECT_EQ(get32(*dst, 3, 0), 0x00080808u);

    const auto indexed = makeImage(3, 1, 8);  // fixed palette
    const uint8_t indices[] = {10, 12, 255};
    std::memcpy(indexed->getBits(), indices, 3);
    ASSERT_TRUE(VXImageConverter::convert8To32(indexed, VXRect(0, 0, 3, 1), dst, VXPoint(1, 0)).isSuccess());
    EXPECT_EQ(get32(*dst, 0, 0), 0x00FFFFFFu);
    EXPECT_EQ(get32(*dst, 1, 0), 0x00FF0000u);
    EXPECT_EQ(get32(*dst, 2, 0), 0x000000FFu);
    EXPECT_EQ(get32(*dst, 3, 0), 0x00FFFFFFu);

    const auto src24 = makeImage(2, 1, 24);
    const uint8_t bgr[] = {1, 2, 3, 4, 5, 6};
    std::memcpy(src24->getBits(), bgr, 6);
    ASSERT_TRUE(VXImageConverter::convert24To32(src24, VXRect(0, 0, 2, 1), dst, VXPoint(2, 0)).isSuccess());
    EXPECT_EQ(get32(*dst, 2, 0), 0x00030201u);
    EXPECT_EQ(get32(*dst, 3, 0), 0x00060504u);

    // Tables that are not there are reported, not read.
    auto noTables = std::make_shared<VXColorInfo>();
    ASSERT_TRUE(noTables->initialize(24).isSuccess());
    src16->setColorInfo(noTables);
    const VXResult tables = VXImageConverter::convert16To32(src16, VXRect(0, 0, 4, 1), dst, VXPoint());
    EXPECT_EQ(tables.code(), VXError::eNotInitialized);
    EXPECT_TRUE(contains(tables, "color lookup tables missing."));
    indexed->setColorInfo(nullptr);
    EXPECT_TRUE(contains(VXImageConverter::convert8To32(indexed, VXRect(0, 0, 3, 1), dst, VXPoint()),
                         "missing color information"));
}

TEST(VXImageConverterConvert, MakesOrReplacesTheDestinationToFitTheClippedRect) {
    LogCapture log;
    const auto src = makeImage(4, 4, 32);
    imagetest::fillRandom(*src, 8);
    std::shared_ptr<VXImage> dst;
    ASSERT_TRUE(VXImageConverter::convert(src, VXRect(-2, -1, 3, 2), 16, dst).isSuccess());
    ASSERT_TRUE(dst);
    EXPECT_EQ(dst->getBitDepth(), 16);
    EXPECT_EQ(dst->getSize(), VXSize(3, 2));
    EXPECT_EQ(get16(*dst, 2, 1), to565(get32(*src, 2, 1)));

    const VXImage* kept = dst.get();
    ASSERT_TRUE(VXImageConverter::convert(src, VXRect(1, 2, 4, 4), 16, dst).isSuccess());
    EXPECT_EQ(dst.get(), kept);
    EXPECT_EQ(get16(*dst, 0, 0), to565(get32(*src, 1, 2)));
    EXPECT_FALSE(log.contains("need new dst image"));

    // Converting an image into its own pointer replaces it with the converted copy.
    const std::shared_ptr<VXImage> sixteen = dst;
    const auto expected = makeImage(3, 2, 32);
    ASSERT_TRUE(
        VXImageConverter::convert16To32(sixteen, VXRect(0, 0, 3, 2), expected, VXPoint()).isSuccess());
    ASSERT_TRUE(VXImageConverter::convert(dst, VXRect(0, 0, 3, 2), 32, dst).isSuccess());
    EXPECT_EQ(dst->getBitDepth(), 32);
    EXPECT_EQ(VXImageUtils::compare(dst, expected).code(), VXStatus::eEqualTo);
    EXPECT_TRUE(
        log.contains("validateParameters_() -- need new dst image: BPP[16 --> 32] size[3,2 --> 3,2]"));
}

TEST(VXImageConverterConvert, ValidationNamesWhatIsWrong) {
    const auto src = makeImage(4, 4, 32);
    std::shared_ptr<VXImage> dst;
    struct Case {
        VXResult result;
        int32_t code;
        const char* text;
    };
    auto emptyDst = std::make_shared<VXImage>(0, 3, 16);
    const Case cases[] = {
        {VXImageConverter::convert(std::make_shared<VXImage>(0, 3, 32), VXRect(0, 0, 1, 1), 16, dst),
         VXError::eBadParameter, "srcImage has no size"},
        {VXImageConverter::convert(src, VXRect(0, 0, 1, 1), 16, emptyDst), VXError::eBadParameter,
         "dstImage has no size"},
        {VXImageConverter::convert(src, VXRect(2, 2, 2, 3), 16, dst), VXError::eBadParameter,
         "dst rectangle is empty..."},
        {VXImageConverter::convert(src, VXRect(5, 5, 8, 8), 16, dst), VXError::eBadParameter,
         "non-intersecting src rectangle[5,5,8,8]"},
        {VXImageConverter::convert(src, VXRect(0, 0, 1, 1), 24, dst), VXError::eNotImplemented,
         "no conversion from 32 to 24 bits"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.result.code(), c.code) << c.text;
        EXPECT_TRUE(contains(c.result, c.text)) << c.result.message().toUtf8();
    }
    EXPECT_EQ(dst, nullptr);
}

}  // namespace
