// Updated regions and zero-copy frames against the real server and the magnifier stand-in: the
// region must name exactly the tiles whose pixels changed between two captures, whatever changed
// them, and a frame read in place must be the frame the record holds.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "E2ESupport.h"
#include "MonitorList.h"
#include "SerializeUtils.h"
#include "VistrelExchange.h"
#include "support/TileMasks.h"
#include "vistrel_host.h"

namespace {

using Vistrel::FrameMode;

using testsupport::changedTiles;
using testsupport::coveredTiles;
// Not a multiple of the tile size either way, so the clipped last column and row are covered.
const VXRect kCaptureRect(0, 0, 330, 210);

std::vector<uint8_t> pixelsOf(const VXImage& image) {
    std::vector<uint8_t> pixels;
    for (int32_t y = 0; y < image.getHeight(); ++y) {
        const uint8_t* row = image.getPixelPtr(0, y);
        pixels.insert(pixels.end(), row, row + image.getWidth() * 4);
    }
    return pixels;
}

std::vector<uint8_t> readRecord(const Vistrel::Host& host) {
    std::shared_ptr<VXImage> image;
    if (VXImage::create(kCaptureRect.getWidth(), kCaptureRect.getHeight(), 32, image).isError() ||
        image->allocate().isError()) {
        return {};
    }
    SerializeUtils::readImageInto(host.sharedObjects()->shMemImage->view,
                                  Vistrel::imageBlockSize(kCaptureRect), *image, VXPoint());
    return pixelsOf(*image);
}

class FrameRegion : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(host = e2e::startHost(kCaptureRect, false)); }

    void captureOk(Vistrel::Capture& capture) {
        ASSERT_TRUE(host->capture({}, false, capture).isSuccess());
        ASSERT_EQ(capture.result.code, 2000) << capture.result.text.toUtf8();
    }

    e2e::WindowThread windows{{{{40, 40, 140, 120}, RGB(200, 30, 30), L"region red"},
                               {{200, 60, 300, 160}, RGB(30, 30, 200), L"region blue"}}};
    std::unique_ptr<Vistrel::Host> host;
};

TEST_F(FrameRegion, CoversExactlyTheTilesThatChanged) {
    const int32_t w = kCaptureRect.getWidth();
    const int32_t h = kCaptureRect.getHeight();
    const std::vector<VXRect> whole = {VXRect(0, 0, w, h)};
    Vistrel::Capture capture;
    ASSERT_NO_FATAL_FAILURE(captureOk(capture));
    EXPECT_EQ(capture.updatedRegion, whole);
    ASSERT_NO_FATAL_FAILURE(captureOk(capture));
    EXPECT_TRUE(capture.updatedRegion.empty()) << "the desktop did not change";
    std::vector<uint8_t> before = pixelsOf(*capture.image);

    struct Step {
        const char* name;
        void (*change)(HWND red, HWND blue);
    };
    const Step steps[] = {
        {"move a window",
         [](HWND, HWND blue) {
             SetWindowPos(blue, nullptr, 237, 83, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
         }},
        {"repaint a window",
         [](HWND red, HWND) {
             SetWindowLongPtrW(red, GWLP_USERDATA, static_cast<LONG_PTR>(RGB(30, 200, 30)));
             RedrawWindow(red, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_UPDATENOW);
         }},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.name);
        step.change(windows.window(0), windows.window(1));
        ASSERT_NO_FATAL_FAILURE(captureOk(capture));
        const std::vector<uint8_t> after = pixelsOf(*capture.image);
        const std::vector<uint8_t> expected = changedTiles(before, after, w, h);
        EXPECT_EQ(coveredTiles(capture.updatedRegion, w, h), expected);
        EXPECT_FALSE(capture.updatedRegion.empty());
        EXPECT_NE(capture.updatedRegion, whole);
        before = after;
    }

    // A failed capture (the stand-in refuses a filter list this long) leaves no reference.
    const std::vector<uint64_t> tooMany(Vistrel::kMaxExcludedWindows, 0x1234);
    ASSERT_TRUE(host->capture(tooMany, false, capture).isSuccess());
    ASSERT_GT(capture.result.code, 2000);
    EXPECT_TRUE(capture.updatedRegion.empty());
    ASSERT_NO_FATAL_FAILURE(captureOk(capture));
    EXPECT_EQ(capture.updatedRegion, whole);
}

TEST_F(FrameRegion, ZeroCopyFramesMatchCopiedFrames) {
    const std::vector<VXRect> whole = {VXRect(kCaptureRect.getSize())};
    Vistrel::Capture capture;
    ASSERT_NO_FATAL_FAILURE(captureOk(capture));
    const std::vector<uint8_t> copied = pixelsOf(*capture.image);
    EXPECT_EQ(copied, readRecord(*host));

    for (const FrameMode mode : {FrameMode::eZeroCopy, FrameMode::eZeroCopyWithRegion}) {
        host->setFrameMode(mode);
        ASSERT_NO_FATAL_FAILURE(captureOk(capture));
        EXPECT_EQ(capture.image->getBits(),
                  host->sharedObjects()->shMemImage->view + SerializeUtils::kImageHeaderSize);
        EXPECT_EQ(capture.image->getBytesPerLine(), kCaptureRect.getWidth() * 4);
        EXPECT_EQ(pixelsOf(*capture.image), readRecord(*host));
        EXPECT_EQ(pixelsOf(*capture.image), copied);  // the desktop did not change
        EXPECT_EQ(capture.updatedRegion, whole);      // nothing to compare with yet
    }
    ASSERT_NO_FATAL_FAILURE(captureOk(capture));
    EXPECT_TRUE(capture.updatedRegion.empty());
    EXPECT_EQ(pixelsOf(*capture.image), copied);
}

TEST(FrameCApi, FrameModesRegionsAndMonitors) {
    const VXString server = e2e::stageServer(u"e2e-with-magnifier", true);
    VistrelHost* host = nullptr;
    VistrelStartOptions start{};
    start.size = sizeof(start);
    start.serverPath = server.wstr();
    start.right = 100;
    start.bottom = 70;
    ASSERT_EQ(vistrel_host_start(&start, &host), 2000) << vistrel_host_last_error(host);
    EXPECT_EQ(vistrel_host_set_frame_mode(host, 3), 2005);
    VistrelFrame frame{};
    // A caller built against the first layout: nothing is written past its frame.
    frame.size = offsetof(VistrelFrame, rectCount);
    frame.rectCount = 77;
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, 30000, &frame), 2000);
    EXPECT_EQ(frame.rectCount, 77u);
    frame.size = sizeof(frame);
    ASSERT_EQ(vistrel_host_set_frame_mode(host, VISTREL_FRAME_ZERO_COPY_WITH_REGION), 2000);
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, 30000, &frame), 2000);
    ASSERT_EQ(frame.rectCount, 1u);
    EXPECT_TRUE(frame.rects[0].left == 0 && frame.rects[0].top == 0 && frame.rects[0].right == 100 &&
                frame.rects[0].bottom == 70);
    EXPECT_EQ(frame.stride, 400);
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, 30000, &frame), 2000);
    EXPECT_EQ(frame.rectCount, 0u);
    vistrel_host_close(host);

    // The monitors as the library's own list gives them, primary first.
    std::vector<Vistrel::MonitorInfo> expected;
    VXRect expectedScreen;
    ASSERT_TRUE(Vistrel::MonitorList::list(expected, expectedScreen).isSuccess());
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(expected[0].bounds, VXRect(0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)));
    uint32_t count = 0;
    EXPECT_EQ(vistrel_host_list_monitors(nullptr, 1, &count, nullptr), 2005);
    ASSERT_EQ(vistrel_host_list_monitors(nullptr, 0, &count, nullptr), 2000);
    EXPECT_EQ(count, expected.size()) << "the count without room for any";
    std::vector<VistrelMonitor> monitors(expected.size() + 1);
    VistrelRect screen{};
    ASSERT_EQ(
        vistrel_host_list_monitors(monitors.data(), static_cast<uint32_t>(monitors.size()), &count, &screen),
        2000);
    ASSERT_EQ(count, expected.size());
    for (uint32_t i = 0; i < count; ++i) {
        const VistrelRect& b = monitors[i].bounds;
        EXPECT_EQ(VXRect(b.left, b.top, b.right, b.bottom), expected[i].bounds);
        EXPECT_EQ(monitors[i].primary != 0, i == 0);
        EXPECT_EQ(VXString::fromWide(monitors[i].deviceName), expected[i].deviceName);
    }
    EXPECT_EQ(VXRect(screen.left, screen.top, screen.right, screen.bottom), expectedScreen);
}

}  // namespace
