#include <gtest/gtest.h>

#include "ImageTestSupport.h"
#include "VXColorInfo.h"
#include "VXImageConverter.h"
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

// A 16-bit image whose colour info was initialised again for 32 bits: the 32- and 64-entry
// tables of the first depth must not be read with the 8-bit masks of the second.
TEST(VXColorInfo, ReinitialisingDropsTheLookupTablesOfTheEarlierDepth) {
    const auto image = imagetest::makeImage(4, 2, 16);
    ASSERT_TRUE(image);
    imagetest::fillBytes(*image, 0xFF);
    auto info = std::make_shared<VXColorInfo>();
    ASSERT_TRUE(info->initialize(16).isSuccess());
    ASSERT_NE(info->getGreenTable(), nullptr);
    ASSERT_TRUE(info->initialize(32).isSuccess());
    EXPECT_EQ(info->getRedTable(), nullptr);
    EXPECT_EQ(info->getGreenTable(), nullptr);
    EXPECT_EQ(info->getBlueTable(), nullptr);
    image->setColorInfo(info);
    std::shared_ptr<VXImage> converted;
    LogCapture log;
    const VXResult r = VXImageConverter::convert(image, VXRect(image->getSize()), 32, converted);
    EXPECT_EQ(r.code(), VXError::eNotInitialized);
    EXPECT_THAT(text(r), HasSubstr("color lookup tables missing."));
}

// One table entry per value a mask can hold: a mask wider than the pixel is refused, not
// turned into a table of up to 2^32 entries.
TEST(VXColorInfo, MasksWiderThanTheDepthAreRefusedAndLeaveTheMasksAsTheyWere) {
    LogCapture log;
    const VXColorInfo wide(16, 0xFFFFFFFFu, 0x07E0, 0x001F, 0);
    EXPECT_EQ(wide.getRedTable(), nullptr);
    EXPECT_TRUE(
        log.contains("VXColorInfo::setMasks() -- masks wider than 16 bits [0xFFFFFFFF][0x7E0][0x1F]"));

    const struct {
        int32_t depth;
        uint32_t red, green, blue;
    } refused[] = {
        {16, 0x1F0000, 0x07E0, 0x001F}, {16, 0xF800, 0x10000, 0x001F}, {15, 0xF800, 0x03E0, 0x001F}};
    for (const auto& m : refused) {
        VXColorInfo info(static_cast<uint8_t>(m.depth), 0x7C00, 0x03E0, 0x001F, 0);
        EXPECT_EQ(info.setMasks(m.red, m.green, m.blue, 0).code(), VXError::eBadParameter) << m.depth;
        EXPECT_EQ(info.getRedMask(), 0x7C00u);
        EXPECT_EQ(info.getGreenMask(), 0x03E0u);
        ASSERT_NE(info.getRedTable(), nullptr);
        EXPECT_EQ(info.getRedTable()[31], 0xFF0000u);
    }
    VXColorInfo trueColour(32, 0xFF0000, 0xFF00, 0xFF, 0);
    EXPECT_TRUE(trueColour.setMasks(0xFF000000u, 0xFF0000, 0xFF00, 0).isSuccess()) << "no tables at 32 bits";
}

}  // namespace
