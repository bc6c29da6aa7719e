// What the stand-in renders: windows at their screen positions, bottom to top, with the
// filter list, the control's own host and the cursor flag honoured.
#include "MagnifierFixture.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace {

constexpr RECT kHost = {0, 0, 640, 480};
constexpr RECT kLower = {100, 100, 400, 300};
constexpr RECT kUpper = {250, 200, 550, 400};
// Points in screen coordinates: only the lower window, both windows, only the upper window.
constexpr POINT kLowerOnly = {150, 150};
constexpr POINT kOverlap = {300, 250};
constexpr POINT kUpperOnly = {500, 350};
constexpr int kCursorProbe = 24;  // pixels right and below the hotspot searched for the cursor

class MagnifierComposition : public MagnifierTest {
protected:
    void SetUp() override {
        MagnifierTest::SetUp();
        ASSERT_NE(createControl(kHost), nullptr);
        lower_ = createSolidWindow(kLower, kRed);
        upper_ = createSolidWindow(kUpper, kGreen);
        ASSERT_TRUE(lower_ != nullptr && upper_ != nullptr);
    }

    uint32_t at(POINT p) const { return image().rgbAt(p.x, p.y); }

    HWND lower_ = nullptr;
    HWND upper_ = nullptr;
};

TEST_F(MagnifierComposition, WindowsAppearAtTheirScreenPositionsInZOrder) {
    ASSERT_TRUE(render(kHost));
    ASSERT_EQ(StretchRectRecorder::calls(), 1);
    ASSERT_EQ(image().format, D3DFMT_X8R8G8B8);
    EXPECT_EQ(image().width, 640u);
    EXPECT_EQ(image().height, 480u);
    EXPECT_EQ(at(kLowerOnly), rgb(kRed));
    EXPECT_EQ(at(kOverlap), rgb(kGreen));
    EXPECT_EQ(at(kUpperOnly), rgb(kGreen));
    // Edges: the last pixel row inside the lower window and the first one below it.
    EXPECT_EQ(image().rgbAt(150, kLower.bottom - 1), rgb(kRed));
    EXPECT_NE(image().rgbAt(150, kLower.bottom), rgb(kRed));
    EXPECT_NE(image().rgbAt(50, 50), rgb(kRed));
}

TEST_F(MagnifierComposition, SourceOriginMapsToTheTopLeftPixel) {
    const RECT source = {kLower.left, kLower.top, kLower.left + 640, kLower.top + 480};
    ASSERT_TRUE(render(source));
    EXPECT_EQ(image().rgbAt(0, 0), rgb(kRed));
    EXPECT_EQ(image().rgbAt(kUpper.left - kLower.left, kUpper.top - kLower.top), rgb(kGreen));
    EXPECT_NE(image().rgbAt(kUpper.right - kLower.left, kUpper.bottom - kLower.top), rgb(kGreen));
}

TEST_F(MagnifierComposition, ExcludedWindowRevealsWhatLiesBeneath) {
    HWND list[] = {upper_};
    ASSERT_TRUE(mag.setWindowFilterList(control_, 0, 1, list));
    ASSERT_TRUE(render(kHost));
    EXPECT_EQ(at(kLowerOnly), rgb(kRed));
    EXPECT_EQ(at(kOverlap), rgb(kRed));
    EXPECT_NE(at(kUpperOnly), rgb(kGreen));
    EXPECT_NE(at(kUpperOnly), rgb(kRed));
}

TEST_F(MagnifierComposition, ClearedFilterListShowsTheWindowAgain) {
    HWND list[] = {upper_};
    HWND none[] = {nullptr};
    ASSERT_TRUE(mag.setWindowFilterList(control_, 0, 1, list));
    ASSERT_TRUE(mag.setWindowFilterList(control_, 0, 1, none));
    ASSERT_TRUE(render(kHost));
    EXPECT_EQ(at(kOverlap), rgb(kGreen));

    ASSERT_TRUE(mag.setWindowFilterList(control_, 0, 1, list));
    ASSERT_TRUE(mag.setWindowFilterList(control_, 0, 0, nullptr));
    ASSERT_TRUE(render(kHost));
    EXPECT_EQ(at(kOverlap), rgb(kGreen));
}

TEST_F(MagnifierComposition, CursorDrawnOnlyWithShowCursorStyle) {
    // Under Wine GetCursorInfo reports the cursor of the foreground thread: make it ours.
    SetForegroundWindow(lower_);
    SetCursor(LoadCursorW(nullptr, IDC_ARROW));
    ASSERT_TRUE(SetCursorPos(kLowerOnly.x, kLowerOnly.y));
    pumpMessages();
    auto cursorPixels = [&] {
        int count = 0;
        for (int y = kLowerOnly.y; y < kLowerOnly.y + kCursorProbe; ++y) {
            for (int x = kLowerOnly.x; x < kLowerOnly.x + kCursorProbe; ++x) {
                count += image().rgbAt(x, y) != rgb(kRed) ? 1 : 0;
            }
        }
        return count;
    };
    ASSERT_TRUE(render(kHost));
    EXPECT_EQ(cursorPixels(), 0);

    SetWindowLongPtrW(control_, GWL_STYLE, GetWindowLongPtrW(control_, GWL_STYLE) | 0x1);
    ASSERT_TRUE(render(kHost));
    EXPECT_GT(cursorPixels(), kCursorProbe);
    // The hotspot of the arrow is its tip: nothing of it lies above or left of the position.
    EXPECT_EQ(image().rgbAt(kLowerOnly.x - 2, kLowerOnly.y - 2), rgb(kRed));
}

TEST_F(MagnifierComposition, OwnHostWindowIsLeftOut) {
    // A second, visible host on top of everything, painted magenta.
    HWND firstHost = host_;
    COLORREF magenta = kMagenta;
    ASSERT_NE(createControl(kHost, 0, &magenta), nullptr);
    ASSERT_TRUE(render(kHost));
    EXPECT_EQ(at(kLowerOnly), rgb(kRed));
    EXPECT_EQ(at(kUpperOnly), rgb(kGreen));
    EXPECT_NE(image().rgbAt(50, 50), rgb(kMagenta));
    DestroyWindow(firstHost);
}

TEST_F(MagnifierComposition, FullScreenRenderTime) {
    DestroyWindow(host_);
    constexpr RECT kScreen = {0, 0, 1920, 1080};
    ASSERT_NE(createControl(kScreen), nullptr);
    // The first render makes the device and surfaces; time the steady state after it.
    ASSERT_TRUE(render(kScreen, 0));
    std::vector<double> millis;
    for (int i = 0; i < 5; ++i) {
        const auto start = std::chrono::steady_clock::now();
        ASSERT_TRUE(render(kScreen, 0));
        millis.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    ASSERT_TRUE(render(kScreen, 1));
    EXPECT_EQ(image().width, 1920u);
    EXPECT_EQ(at(kOverlap), rgb(kGreen));
    std::sort(millis.begin(), millis.end());
    std::printf("MagSetWindowSource 1920x1080: median %.1f ms, min %.1f ms, max %.1f ms\n", millis[2],
                millis[0], millis[4]);
}

}  // namespace
