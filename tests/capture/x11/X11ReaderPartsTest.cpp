// The reader's parts that need no display: the cursor blend and the texts of X failures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "X11CursorPainter.h"
#include "X11Errors.h"
#include "X11ScreenReader.h"

using ::testing::StartsWith;

TEST(X11CursorPainter, BlendsPremultipliedCursorPixelsOverThePicture) {
    const struct {
        uint32_t cursor, under, blended;
    } cases[] = {
        {0xFF112233, 0x00445566, 0x00112233},  // opaque replaces
        {0x00000000, 0x00445566, 0x00445566},  // transparent keeps
        {0x80400000, 0x000000FF, 0x0040007F},  // half red over blue: red 0x40, blue 0xFF * 127 / 255
        {0x80404040, 0xFF808080, 0xFF808080},  // the X byte beneath is kept
        {0x40FFFFFF, 0x00000000, 0x00FFFFFF},  // not premultiplied: clamped, never wrapped
    };
    for (const auto& each : cases)
        EXPECT_EQ(X11CursorPainter::blend(each.cursor, each.under), each.blended) << std::hex << each.cursor;
}

TEST(X11Errors, NameTheRequestAndTheError) {
    xcb_generic_error_t error = {};
    error.error_code = 3;
    error.major_code = 142;
    error.minor_code = 6;
    error.resource_id = 0x400001;
    VXResult result = X11Errors::fromError(u"CompositeNameWindowPixmap", error, VX_SITE);
    EXPECT_EQ(result.code(), 2020);
    EXPECT_THAT(result.message().toUtf8(),
                StartsWith("Method \"CompositeNameWindowPixmap\" returned X error [3]. BadWindow "
                           "(request 142.6, resource 0x400001)\n\tError returned to "));
    EXPECT_TRUE(X11Errors::isVanishedWindow(error));

    error.error_code = 11;
    result = X11Errors::fromError(u"CreatePixmap", error, VX_SITE);
    EXPECT_EQ(result.code(), 2004);
    EXPECT_THAT(result.message().toUtf8(),
                StartsWith("Method \"CreatePixmap\" returned X error [11]. BadAlloc"));
    EXPECT_FALSE(X11Errors::isVanishedWindow(error));

    result = X11Errors::connectionLost(XCB_CONN_ERROR, VX_SITE);
    EXPECT_EQ(result.code(), 2010);
    EXPECT_THAT(result.message().toUtf8(),
                StartsWith("Connection to the X server lost: socket, pipe or stream error [1]"));
}

TEST(X11ScreenReader, SetupChecksItsParametersBeforeAnyConnection) {
    // A display that cannot exist: every case must fail before the reader tries it.
    X11ScreenReader reader(":9999");
    std::shared_ptr<VXImage> image;
    ASSERT_EQ(VXImage::create(8, 4, 32, image).code(), 2000);
    std::shared_ptr<VXImage> noBits;
    ASSERT_EQ(VXImage::create(8, 4, 32, noBits).code(), 2000);
    ASSERT_EQ(image->allocate().code(), 2000);
    std::shared_ptr<VXImage> narrow;
    ASSERT_EQ(VXImage::create(8, 4, 24, narrow).code(), 2000);
    ASSERT_EQ(narrow->allocate().code(), 2000);
    const struct {
        VXRect rect;
        std::shared_ptr<VXImage> image;
        const char* check;
    } cases[] = {
        {VXRect(10, 10, 10, 14), image, "!captureRect.isEmpty()"},
        {VXRect(0, 0, 8, 4), nullptr, "image"},
        {VXRect(0, 0, 8, 4), noBits, "image->getBits()"},
        {VXRect(0, 0, 8, 4), narrow, "image->getBytesPerPixel() == 4"},
        {VXRect(0, 0, 9, 4), image, "image->getWidth() == captureRect.getWidth()"},
        {VXRect(0, 0, 8, 5), image, "image->getHeight() == captureRect.getHeight()"},
    };
    for (const auto& each : cases) {
        const VXResult result = reader.setup(each.rect, each.image);
        EXPECT_EQ(result.code(), 2005) << each.check;
        EXPECT_THAT(result.message().toUtf8(),
                    StartsWith(std::string("Parameter check \"") + each.check + "\" failed"));
    }
    const VXResult noDisplay = reader.setup(VXRect(0, 0, 8, 4), image);
    EXPECT_EQ(noDisplay.code(), 2031);
    EXPECT_THAT(noDisplay.message().toUtf8(), StartsWith("Cannot open X display \":9999\""));
    EXPECT_EQ(reader.readScreen().code(), 2021);
}
