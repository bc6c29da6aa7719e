// Captures of a real desktop (twm, xlogo, xterm, xeyes, windows of our own), judged against
// the X server's own picture: of the screen as it is, or with the left-out window unmapped.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include "VXPlatform.h"
#include "X11DesktopFixture.h"

namespace {

const VXRect kScreen(0, 0, 1024, 768);

struct LeaveOutCase {
    const char* title;  // the client window passed to the reader
    VXRect rect;
};

const LeaveOutCase kLeaveOutCases[] = {
    {"Term", VXRect(40, 40, 620, 460)},     // opaque, over Logo; a client in its twm frame
    {"Eyes", VXRect(540, 40, 900, 400)},    // a shaped window over Logo2
    {"Glass", VXRect(680, 380, 980, 680)},  // a 32-bit ARGB window
    {"Logo4", VXRect(680, 380, 980, 680)},  // beneath that ARGB window
    {"Popup", VXRect(280, 310, 640, 560)},  // override-redirect
    {"Edge", VXRect(700, 560, 1024, 768)},  // partly off the screen
};

}  // namespace

class X11DesktopCaptureTest : public X11DesktopTest {
protected:
    // Every case of the table, then the whole screen with nothing left out.
    void checkLeaveOutCases(const char* mode) {
        for (const auto& each : kLeaveOutCases) {
            SCOPED_TRACE(std::string(mode) + ", leaving out " + each.title);
            const xcb_window_t client = desktop->windows[each.title];
            Capture capture = makeReader(each.rect);
            ASSERT_EQ(capture.reader->setExcludedWindows({client}).code(), 2000);
            const VXResult result = capture.reader->readScreen();
            EXPECT_EQ(result.code(), 2000) << result.describe().toUtf8();
            EXPECT_TRUE(capture.reader->lastCaptureComposed());
            const PixelDifference difference =
                comparePixels(*capture.image, pictureWithout(each.rect, client));
            EXPECT_EQ(difference.count, 0) << difference.first;
        }
        SCOPED_TRACE(std::string(mode) + ", nothing left out");
        Capture capture = makeReader(kScreen);
        EXPECT_EQ(capture.reader->readScreen().code(), 2000);
        EXPECT_FALSE(capture.reader->lastCaptureComposed());
        const PixelDifference difference = comparePixels(*capture.image, pictureWithout(kScreen, 0));
        EXPECT_EQ(difference.count, 0) << difference.first;
    }
};

TEST_F(X11DesktopCaptureTest, CursorIsDrawnAtThePointerOnlyWhenAsked) {
    XTestDisplay& display = desktop->display;
    display.warpPointer(150, 150);
    const VXRect rect(40, 40, 620, 460);
    for (const bool composed : {false, true}) {
        SCOPED_TRACE(composed ? "composed" : "read from the screen");
        Capture capture = makeReader(rect);
        if (composed)
            capture.reader->setExcludedWindows({desktop->windows["Term"]});
        const std::vector<uint32_t> expected = pictureWithout(rect, composed ? desktop->windows["Term"] : 0);

        ASSERT_EQ(capture.reader->readScreen().code(), 2000);
        EXPECT_EQ(comparePixels(*capture.image, expected).count, 0);

        capture.reader->setCaptureCursor(true);
        ASSERT_EQ(capture.reader->readScreen().code(), 2000);
        // Only pixels near the pointer change, and some do.
        VXRect changed;
        int64_t count = 0;
        for (int32_t y = 0; y < rect.getHeight(); ++y) {
            for (int32_t x = 0; x < rect.getWidth(); ++x) {
                uint32_t pixel = 0;
                std::memcpy(&pixel, capture.image->getPixelPtr(x, y), 4);
                if ((pixel & 0xFFFFFF) == expected[static_cast<size_t>(y) * rect.getWidth() + x])
                    continue;
                const VXRect here(x + rect.getLeft(), y + rect.getTop(), x + rect.getLeft() + 1,
                                  y + rect.getTop() + 1);
                changed = count++ == 0 ? here
                                       : VXRect(std::min(changed.getLeft(), here.getLeft()),
                                                std::min(changed.getTop(), here.getTop()),
                                                std::max(changed.getRight(), here.getRight()),
                                                std::max(changed.getBottom(), here.getBottom()));
            }
        }
        EXPECT_GT(count, 10);
        EXPECT_TRUE(VXRect(150 - 32, 150 - 32, 150 + 32, 150 + 32).isEnclosing(changed))
            << changed.toString().toUtf8();
    }
}

TEST_F(X11DesktopCaptureTest, WindowsChangedBetweenRequestsAreSeen) {
    XTestDisplay& display = desktop->display;
    const VXRect rect(40, 300, 660, 740);
    const xcb_window_t mover = display.createWindow(VXRect(100, 500, 250, 600), 0xE0E040, true, "Mover");
    for (const bool composed : {false, true}) {
        SCOPED_TRACE(composed ? "composed" : "read from the screen");
        Capture capture = makeReader(rect);
        const xcb_window_t left = composed ? desktop->windows["Popup"] : 0;
        if (composed)
            capture.reader->setExcludedWindows({left});
        const auto check = [&](const char* step) {
            SCOPED_TRACE(step);
            ASSERT_TRUE(display.settle(kScreen));
            EXPECT_EQ(capture.reader->readScreen().code(), 2000);
            EXPECT_EQ(capture.reader->lastCaptureComposed(), composed);
            const PixelDifference difference = comparePixels(*capture.image, pictureWithout(rect, left));
            EXPECT_EQ(difference.count, 0) << difference.first;
        };
        check("first");
        display.move(mover, 330 + (composed ? 20 : 0), 380);  // now also under the popup
        check("moved");
        display.unmap(mover);
        check("unmapped");
        display.map(mover);
        check("mapped again");
        display.raise(mover);
        check("raised over the popup");
    }
    display.destroy(mover);
    Capture capture = makeReader(rect);
    capture.reader->setExcludedWindows({mover, desktop->windows["Popup"]});
    ASSERT_TRUE(display.settle(kScreen));
    EXPECT_EQ(capture.reader->readScreen().code(), 2000);
    EXPECT_EQ(comparePixels(*capture.image, pictureWithout(rect, desktop->windows["Popup"])).count, 0);
}

TEST_F(X11DesktopCaptureTest, ListedWindowsDestroyedDuringCapturesEndNothing) {
    // Another client makes and destroys listed windows in the rectangle while captures run.
    const VXRect rect(40, 40, 620, 460);
    std::atomic<bool> stop{false};
    std::atomic<xcb_window_t> latest{0};
    std::atomic<int> made{0};
    std::thread churn([&] {
        XTestDisplay other;
        if (!other.connect(desktop->server.display()))
            return;
        while (!stop) {
            const xcb_window_t window =
                other.createWindow(VXRect(200, 200, 400, 350), 0x8040FF, true, "Churn");
            latest = window;
            ++made;
            std::this_thread::sleep_for(std::chrono::milliseconds(made % 3));
            other.destroy(window);
        }
    });
    Capture capture = makeReader(rect);
    int captures = 0;
    const uint64_t end = VXPlatform::monotonicMicroseconds() + 1500 * 1000;
    while (VXPlatform::monotonicMicroseconds() < end) {
        capture.reader->setExcludedWindows({latest.load(), latest.load() + 1, desktop->windows["Term"]});
        const VXResult result = capture.reader->readScreen();
        EXPECT_EQ(result.code(), 2000) << result.describe().toUtf8();
        ++captures;
    }
    stop = true;
    churn.join();
    EXPECT_GT(made.load(), 10);
    // Each capture waits out its 500 ms while windows come and go, many of them destroyed
    // during it.
    EXPECT_GE(captures, 2);
    // Afterwards the reader still gives the right picture.
    desktop->display.settle(kScreen);
    EXPECT_EQ(capture.reader->readScreen().code(), 2000);
    EXPECT_EQ(comparePixels(*capture.image, pictureWithout(rect, desktop->windows["Term"])).count, 0);
}

TEST_F(X11DesktopCaptureTest, UnknownIdsAreIgnored) {
    const VXRect rect(40, 40, 620, 460);
    Capture capture = makeReader(rect);
    ASSERT_EQ(
        capture.reader->setExcludedWindows({0x7FFFFFF0, 0x1FFFFFFFFull, desktop->display.root()}).code(),
        2000);
    EXPECT_EQ(capture.reader->readScreen().code(), 2000);
    EXPECT_FALSE(capture.reader->lastCaptureComposed());
    EXPECT_EQ(comparePixels(*capture.image, pictureWithout(rect, 0)).count, 0);
}

// Last: it leaves a wallpaper and a compositing manager on the display.
TEST_F(X11DesktopCaptureTest, LeftOutWindowsShowWhatLiesBeneath) {
    checkLeaveOutCases("the X server's own background");
    desktop->display.setWallpaper();
    checkLeaveOutCases("a wallpaper");
    ASSERT_TRUE(desktop->startCompositor());
    checkLeaveOutCases("a wallpaper under xcompmgr");
}
