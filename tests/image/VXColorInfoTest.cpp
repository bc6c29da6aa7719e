#include <gtest/gtest.h>

#include "VXColorInfo.h"
#include "VXSystemPalette.h"
#include "support/LogCapture.h"

namespace {

TEST(VXColorInfo, SixteenBitTablesExpandEachChannelToEightBits) {
    VXColorInfo info;
    ASSERT_TRUE(info.initialize(16).isSuccess());
    EXPECT_EQ(info.getRedMask(), 0xF800u);
    EXPECT_EQ(info.getGreenMask(), 0x07E0u);
    EXPECT_EQ(info.getBlueMask(), 0x001Fu);
    EXPECT_EQ(info.getAllMask(), 0xFFFFu);
    EXPECT_EQ(info.getChannelDepth(), 16);
    EXPECT_EQ(info.getRedShift(), 11);
    EXPECT_EQ(info.getGreenShift(), 5);
    EXPECT_EQ(info.getBlueShift(), 0);
    ASSERT_NE(info.getRedTable(), nullptr);
    ASSERT_NE(info.getGreenTable(), nullptr);
    ASSERT_NE(info.getBlueTable(), nullptr);

    EXPECT_EQ(info.getRedTable()[31], 0xFF0000u);
    EXPECT_EQ(info.getGreenTable()[63], 0x00FF00u);
    EXPECT_EQ(info.getBlueTable()[31], 0x0000FFu);
    EXPECT_EQ(info.getRedTable()[0], 0u);
    EXPECT_EQ(info.getRedTable()[1], 8u << 16);
    EXPECT_EQ(info.getGreenTable()[1], 4u << 8);
    EXPECT_EQ(info.getBlueTable()[30], 246u);

    // A 5-6-5 pixel expands through the three tables.
    const uint32_t pixel = (16u << 11) | (32u << 5) | 8u;
    const uint32_t rgb = info.getRedTable()[(pixel & info.getRedMask()) >> info.getRedShift()] |
                         info.getGreenTable()[(pixel & info.getGreenMask()) >> info.getGreenShift()] |
                         info.getBlueTable()[(pixel & info.getBlueMask()) >> info.getBlueShift()];
    EXPECT_EQ(rgb, 0x838141u);
}

TEST(VXColorInfo, LookupTablesSumTheStepInSinglePrecision) {
    // 25 levels: the summed step lands on 101 at index 10, where 10 x 255 / 25 would give 102.
    const VXColorInfo info(16, 0xC800, 0x07E0, 0x001F, 0);
    EXPECT_EQ(info.getRedShift(), 11);
    ASSERT_NE(info.getRedTable(), nullptr);
    EXPECT_EQ(info.getRedTable()[10], 101u << 16);
    EXPECT_EQ(info.getRedTable()[25], 0xFF0000u);
    EXPECT_EQ(info.getAllMask(), 0xC800u | 0x07E0u | 0x001Fu);
}

TEST(VXColorInfo, MaskConstructionLogsBelowTwentyFourBitsOnly) {
    LogCapture log;
    const VXColorInfo info555(15, 0x7C00, 0x03E0, 0x001F, 0);
    EXPECT_TRUE(log.contains("VXColorInfo() masks: [0x    7C00][0x     3E0][0x      1F]"));
    EXPECT_NE(info555.getGreenTable(), nullptr);  // 15 bits get tables as well
    EXPECT_EQ(info555.getGreenTable()[31], 0x00FF00u);

    log.clear();
    const VXColorInfo info32(32, 0xFF0000, 0xFF00, 0xFF, 0xFFFFFFFF);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(info32.getAllMask(), 0xFFFFFFFFu);
    EXPECT_EQ(info32.getRedShift(), 16);
    EXPECT_EQ(info32.getRedTable(), nullptr);  // no tables beyond 16 bits

    // Shifts are left 0 for palette depths.
    const VXColorInfo info8(8, 0xE0, 0x1C, 0x03, 0);
    EXPECT_EQ(info8.getRedShift(), 0);
    EXPECT_EQ(info8.getGreenShift(), 0);
}

TEST(VXColorInfo, InitializeRefusesUnsupportedDepthsAfterStoringThem) {
    for (const int32_t bpp : {15, 0, 2, 33, -8}) {
        VXColorInfo info;
        const VXResult r = info.initialize(bpp);
        EXPECT_EQ(r.code(), VXError::eBadParameter) << bpp;
        const std::string expected =
            "VXColorInfo::initialize() -- unsupported BPP[" + std::to_string(bpp) + "]";
        EXPECT_EQ(utf8(r.message()).rfind(expected, 0), 0u) << utf8(r.message());
        EXPECT_EQ(info.getBitsPerPixel(), bpp);
    }

    VXColorInfo info;
    ASSERT_TRUE(info.initialize(32).isSuccess());
    EXPECT_EQ(info.getChannelDepth(), 32);
    EXPECT_EQ(info.getAllMask(), 0xFFFFFFu);
    EXPECT_EQ(info.getBlueMask(), 0xFFu);
    ASSERT_TRUE(info.initialize(24).isSuccess());
    EXPECT_EQ(info.getChannelDepth(), 24);
    ASSERT_TRUE(info.initialize(1).isSuccess());
    EXPECT_EQ(info.getAllMask(), 1u);
    EXPECT_EQ(info.getRedMask(), 0xFF0000u);  // palette depths leave the channel masks alone
}

TEST(VXColorInfo, PaletteDepthsTakeTheSystemPaletteOrReportItsAbsence) {
    VXColorInfo info;
    const VXResult r = info.initialize(8);
    EXPECT_EQ(info.getAllMask(), 0xFFu);
    if (r.isError()) {
        EXPECT_EQ(r.code(), VXError::eUnexpected);
        EXPECT_EQ(utf8(r.message())
                      .rfind("VXPlatformUtils::getSystemColorTable() -- failed to get system palette --", 0),
                  0u)
            << utf8(r.message());
        EXPECT_NE(utf8(r.message()).find("\n\tError returned at VXColorInfo::"), std::string::npos);
    }

    uint32_t small[255] = {};
    const VXResult tooSmall = VXPlatformUtils::getSystemColorTable(small, sizeof(small));
    EXPECT_EQ(tooSmall.code(), VXError::eBadParameter);
    EXPECT_EQ(
        utf8(tooSmall.message()).rfind("VXPlatformUtils::getSystemColorTable() -- buffer too small --", 0),
        0u);

    // Other depths leave the table alone.
    VXColorInfo plain;
    EXPECT_TRUE(plain.loadSystemColorTable().isSuccess());
    EXPECT_EQ(plain.getColorTable()[0], 0u);
}

TEST(VXColorInfo, SetColorTableTakesOneToTwoHundredFiftySixEntries) {
    LogCapture log;
    VXColorInfo info;
    info.setFixedPalette();
    const uint32_t entries[257] = {0x123456, 0xABCDEF};

    VXResult r = info.setColorTable(entries, 0);
    EXPECT_EQ(r.code(), VXError::eBadParameter);
    EXPECT_NE(utf8(r.message()).find("Error returned at VXColorInfo::setColorTable"), std::string::npos);
    EXPECT_TRUE(log.contains("VXColorInfo::setColorTable() bad parameter ["));
    EXPECT_TRUE(log.contains(" 0]"));
    EXPECT_EQ(info.setColorTable(entries, 257).code(), VXError::eBadParameter);
    EXPECT_EQ(info.setColorTable(nullptr, 1).code(), VXError::eBadParameter);
    EXPECT_EQ(info.getColorTable()[0], 0u);  // untouched by the refusals

    ASSERT_TRUE(info.setColorTable(entries, 1).isSuccess());
    EXPECT_EQ(info.getColorTable()[0], 0x123456u);
    EXPECT_EQ(info.getColorTable()[1], 0x800000u);  // still the fixed palette's
    EXPECT_EQ(info.getColorTable()[255], 0xFFFFFFu);
}

TEST(VXColorInfo, FixedAndStandardPalettes) {
    const std::shared_ptr<VXColorInfo> fixed = VXColorInfo::createFixed256ColorInfo();
    ASSERT_TRUE(fixed);
    EXPECT_EQ(fixed->getBitsPerPixel(), 8);
    EXPECT_EQ(fixed->getChannelDepth(), 8);
    EXPECT_EQ(fixed->getAllMask(), 0xFFu);
    const uint32_t* t = fixed->getColorTable();
    EXPECT_EQ(t[8], 0xC0DCC0u);
    EXPECT_EQ(t[9], 0xA6CAF0u);
    EXPECT_EQ(t[12], 0x0000FFu);
    EXPECT_EQ(t[16], 0xEBEBEBu);
    EXPECT_EQ(t[20], 0x000000u);  // cube start
    EXPECT_EQ(t[21], 0x000033u);  // blue varies fastest
    EXPECT_EQ(t[26], 0x003300u);
    EXPECT_EQ(t[56], 0x330000u);   // red slowest
    EXPECT_EQ(t[235], 0xFFFFFFu);  // cube end
    EXPECT_EQ(t[236], 0xE08000u);
    EXPECT_EQ(t[246], 0xFFFBF0u);
    EXPECT_EQ(t[247], 0xA0A0A4u);
    EXPECT_EQ(t[255], 0xFFFFFFu);

    const std::shared_ptr<VXColorInfo> sixteen = VXColorInfo::createStandard16ColorInfo();
    ASSERT_TRUE(sixteen);
    EXPECT_EQ(sixteen->getBitsPerPixel(), 8);
    EXPECT_EQ(sixteen->getAllMask(), 0xFFu);
    const uint32_t* s = sixteen->getColorTable();
    EXPECT_EQ(s[1], 0x800000u);
    EXPECT_EQ(s[7], 0x808080u);
    EXPECT_EQ(s[8], 0xC0C0C0u);
    EXPECT_EQ(s[11], 0xFFFF00u);
    EXPECT_EQ(s[15], 0xFFFFFFu);
    for (int i = 16; i < 256; ++i)
        ASSERT_EQ(s[i], 0u) << i;
}

TEST(VXColorInfo, DumpListsPaletteEntriesOnly) {
    LogCapture log;
    VXColorInfo info32;
    ASSERT_TRUE(info32.initialize(32).isSuccess());
    log.clear();
    info32.dump(u"capture");
    EXPECT_TRUE(log.lines().empty());

    VXColorInfo info1(1, 0, 0, 0, 0);
    const uint32_t two[2] = {0x000000, 0xABCDEF};
    ASSERT_TRUE(info1.setColorTable(two, 2).isSuccess());
    log.clear();
    info1.dump(u"mono");
    const std::vector<std::string> lines = log.lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_NE(lines[0].find(" - -------------------------------------------"), std::string::npos);
    EXPECT_NE(lines[1].find("  [mono] bitsPerPixel[1]"), std::string::npos);
    EXPECT_NE(lines[2].find("  [0][0x     0]"), std::string::npos);
    EXPECT_NE(lines[3].find("  [1][0xABCDEF]"), std::string::npos);
}

}  // namespace
