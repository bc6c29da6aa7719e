#include <gtest/gtest.h>

#include "VXColorInfo.h"
#include "support/LogCapture.h"

namespace {

TEST(VXColorInfo, MaskTablesSumTheStepInSinglePrecisionAndOnlyUpToSixteenBits) {
    // 25 levels: the summed step lands on 101 at index 10, where 10 x 255 / 25 would give 102.
    LogCapture log;
    const VXColorInfo info(16, 0xC800, 0x07E0, 0x001F, 0);
    EXPECT_TRUE(log.contains("VXColorInfo() masks: [0x    C800][0x     7E0][0x      1F]"));
    ASSERT_NE(info.getRedTable(), nullptr);
    EXPECT_EQ(info.getRedTable()[10], 101u << 16);
    EXPECT_EQ(info.getRedTable()[25], 0xFF0000u);
}

}  // namespace
