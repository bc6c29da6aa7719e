#include <gtest/gtest.h>

#include "VXColorInfo.h"
#include "support/LogCapture.h"

namespace {

TEST(VXColorInfo, SixteenBitTablesExpandEachChannelToEightBits) {
    VXColorInfo info;
    ASSERT_TRUE(info.initialize(16).isSuccess());
    EXPECT_EQ(info.getAllMask(), 0xFFFFu);
    ASSERT_NE(info.getRedTable(), nullptr);
    ASSERT_NE(info.getGreenTable(), nullptr);
    ASSERT_NE(info.getBlueTable(), nullptr);
    EXPECT_EQ(info.getGreenTable()[63], 0x00FF00u);
    EXPECT_EQ(info.getBlueTable()[30], 246u);

    // A 5-6-5 pixel expands through the three tables.
    const uint32_t pixel = (16u << 11) | (32u << 5) | 8u;
    const uint32_t rgb = info.getRedTable()[(pixel & info.getRedMask()) >> info.getRedShift()] |
                         info.getGreenTable()[(pixel & info.getGreenMask()) >> info.getGreenShift()] |
                         info.getBlueTable()[(pixel & info.getBlueMask()) >> info.getBlueShift()];
    EXPECT_EQ(rgb, 0x838141u);
}

TEST(VXColorInfo, MaskTablesSumTheStepInSinglePrecisionAndOnlyUpToSixteenBits) {
    // 25 levels: the summed step lands on 101 at index 10, where 10 x 255 / 25 would give 102.
    LogCapture log;
    const VXColorInfo info(16, 0xC800, 0x07E0, 0x001F, 0);
    EXPECT_TRUE(log.contains("VXColorInfo() masks: [0x    C800][0x     7E0][0x      1F]"));
    ASSERT_NE(info.getRedTable(), nullptr);
    EXPECT_EQ(info.getRedTable()[10], 101u << 16);
    EXPECT_EQ(info.getRedTable()[25], 0xFF0000u);
    const VXColorInfo info32(32, 0xFF0000, 0xFF00, 0xFF, 0xFFFFFFFF);
    EXPECT_EQ(info32.getRedShift(), 16);
    EXPECT_EQ(info32.getRedTable(), nullptr);
}

TEST(VXColorInfo, InitializeRefusesUnsupportedDepths) {
    VXColorInfo info;
    const VXResult r = info.initialize(15);
    EXPECT_EQ(r.code(), VXError::eBadParameter);
    EXPECT_EQ(utf8(r.message()).rfind("VXColorInfo::initialize() -- unsupported BPP[15]", 0), 0u);
    ASSERT_TRUE(info.initialize(1).isSuccess());
    EXPECT_EQ(info.getAllMask(), 1u);
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
}

TEST(VXColorInfo, FixedAndStandardPalettes) {
    const std::shared_ptr<VXColorInfo> fixed = VXColorInfo::createFixed256ColorInfo();
    ASSERT_TRUE(fixed);
    const uint32_t* t = fixed->getColorTable();
    EXPECT_EQ(t[9], 0xA6CAF0u);
    EXPECT_EQ(t[21], 0x000033u);  // cube from 20: blue varies fastest
    EXPECT_EQ(t[56], 0x330000u);  // red slowest
    EXPECT_EQ(t[246], 0xFFFBF0u);

    const std::shared_ptr<VXColorInfo> sixteen = VXColorInfo::createStandard16ColorInfo();
    ASSERT_TRUE(sixteen);
    const uint32_t* s = sixteen->getColorTable();
    EXPECT_EQ(s[8], 0xC0C0C0u);
    EXPECT_EQ(s[15], 0xFFFFFFu);
    EXPECT_EQ(s[16], 0u);
}

}  // namespace
