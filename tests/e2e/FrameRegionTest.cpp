// Updated regions and zero-copy frames from the real server and the magnifier stand-in.
#include <gtest/gtest.h>

#include <vector>

#include "E2ESupport.h"
#include "SerializeUtils.h"
#include "VistrelExchange.h"
#include "support/TileMasks.h"

namespace {

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

TEST(FrameRegion, CoversExactlyTheTilesThatChangedAndZeroCopyFramesMatchCopiedOnes) {
    e2e::WindowThread windows({{{40, 40, 140, 120}, RGB(200, 30, 30), L"region red"},
                               {{200, 60, 300, 160}, RGB(30, 30, 200), L"region blue"}});
    const auto host = e2e::startHost(kCaptureRect, false);
    ASSERT_TRUE(host);
    auto captureOk = [&](Vistrel::Capture& capture) {
        ASSERT_TRUE(host->capture({}, false, capture).isSuccess());
        ASSERT_EQ(capture.result.code, 2000) << capture.result.text.toUtf8();
    };
    const int32_t w = kCaptureRect.getWidth(), h = kCaptureRect.getHeight();
    const std::vector<VXRect> whole = {VXRect(0, 0, w, h)};
    Vistrel::Capture capture;
    ASSERT_NO_FATAL_FAILURE(captureOk(capture));
    EXPECT_EQ(capture.updatedRegion, whole);
    ASSERT_NO_FATAL_FAILURE(captureOk(capture));
    EXPECT_TRUE(capture.updatedRegion.empty()) << "the desktop did not change";
    std::vector<uint8_t> before = pixelsOf(*capture.image);

    for (const bool move : {true, false}) {
        SCOPED_TRACE(move ? "move a window" : "repaint a window");
        if (move) {
            SetWindowPos(windows.window(1), nullptr, 237, 83, 0, 0,
                         SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
        } else {
            SetWindowLongPtrW(windows.window(0), GWLP_USERDATA, static_cast<LONG_PTR>(RGB(30, 200, 30)));
            RedrawWindow(windows.window(0), nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_UPDATENOW);
        }
        ASSERT_NO_FATAL_FAILURE(captureOk(capture));
        const std::vector<uint8_t> after = pixelsOf(*capture.image);
        EXPECT_EQ(testsupport::coveredTiles(capture.updatedRegion, w, h),
                  testsupport::changedTiles(before, after, w, h));
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

    // Zero-copy frames of the same desktop as the copied one.
    const std::vector<uint8_t> copied = pixelsOf(*capture.image);
    for (const auto mode : {Vistrel::FrameMode::eZeroCopy, Vistrel::FrameMode::eZeroCopyWithRegion}) {
        host->setFrameMode(mode);
        ASSERT_NO_FATAL_FAILURE(captureOk(capture));
        EXPECT_EQ(capture.image->getBits(),
                  host->view(Vistrel::ServerInstance::Block::eImage) + SerializeUtils::kImageHeaderSize);
        EXPECT_EQ(capture.image->getBytesPerLine(), w * 4);
        EXPECT_EQ(pixelsOf(*capture.image), copied);
        EXPECT_EQ(capture.updatedRegion, whole);  // nothing to compare with yet
    }
    ASSERT_NO_FATAL_FAILURE(captureOk(capture));
    EXPECT_TRUE(capture.updatedRegion.empty());
    EXPECT_EQ(pixelsOf(*capture.image), copied);
}

TEST(FrameRegion, AFailedExchangeClearsTheCaptureAndAZeroCopyFrameLosesItsPixelsWithItsHost) {
    auto host = e2e::startHost(VXRect(0, 0, 64, 48), true);
    ASSERT_TRUE(host);
    Vistrel::Capture capture;
    ASSERT_TRUE(host->capture({}, false, capture).isSuccess());
    ASSERT_EQ(capture.result.code, 2000) << capture.result.text.toUtf8();
    ASSERT_TRUE(capture.image);

    // Refused before anything is sent: nothing of the previous answer may stay beside it.
    const std::vector<uint64_t> overLimit(Vistrel::kMaxExcludedWindows + 1, 0x1234);
    EXPECT_EQ(host->capture(overLimit, false, capture).code(), 2005);
    EXPECT_EQ(capture.result.code, 0);
    EXPECT_TRUE(capture.result.text.isEmpty());
    EXPECT_FALSE(capture.image);
    EXPECT_TRUE(capture.updatedRegion.empty());
    EXPECT_EQ(capture.wait.iterations, 0u);
    EXPECT_EQ(capture.microseconds, 0u);

    // A zero-copy frame kept past its host has no pixels, never a pointer into an unmapped block.
    host->setFrameMode(Vistrel::FrameMode::eZeroCopy);
    ASSERT_TRUE(host->capture({}, false, capture).isSuccess());
    ASSERT_EQ(capture.result.code, 2000);
    const std::shared_ptr<VXImage> kept = capture.image;
    ASSERT_NE(kept->getBits(), nullptr);
    host.reset();
    EXPECT_EQ(kept->getBits(), nullptr);
}

}  // namespace
