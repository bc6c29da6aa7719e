// What the stand-in renders: windows at their screen positions, bottom to top, with the
// filter list honoured.
#include "MagnifierFixture.h"

namespace {

constexpr RECT kHost = {0, 0, 640, 480};
constexpr RECT kLower = {100, 100, 400, 300};
constexpr RECT kUpper = {250, 200, 550, 400};
// Points in screen coordinates: only the lower window, both windows, only the upper window.
constexpr POINT kLowerOnly = {150, 150};
constexpr POINT kOverlap = {300, 250};
constexpr POINT kUpperOnly = {500, 350};

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
    EXPECT_EQ(at(kLowerOnly), rgb(kRed));
    EXPECT_EQ(at(kOverlap), rgb(kGreen));
    EXPECT_EQ(at(kUpperOnly), rgb(kGreen));
    EXPECT_EQ(image().rgbAt(150, kLower.bottom - 1), rgb(kRed));
    EXPECT_NE(image().rgbAt(150, kLower.bottom), rgb(kRed));

    // The source's origin maps to the top-left pixel.
    ASSERT_TRUE(render(RECT{kLower.left, kLower.top, kLower.left + 640, kLower.top + 480}));
    EXPECT_EQ(image().rgbAt(0, 0), rgb(kRed));
    EXPECT_EQ(image().rgbAt(kUpper.left - kLower.left, kUpper.top - kLower.top), rgb(kGreen));
}

TEST_F(MagnifierComposition, ExcludedWindowRevealsWhatLiesBeneathUntilTheListIsCleared) {
    HWND list[] = {upper_};
    ASSERT_TRUE(mag.setWindowFilterList(control_, 0, 1, list));
    ASSERT_TRUE(render(kHost));
    EXPECT_EQ(at(kOverlap), rgb(kRed));
    EXPECT_NE(at(kUpperOnly), rgb(kGreen));

    HWND none[] = {nullptr};
    ASSERT_TRUE(mag.setWindowFilterList(control_, 0, 1, none));
    ASSERT_TRUE(render(kHost));
    EXPECT_EQ(at(kOverlap), rgb(kGreen));
}

}  // namespace
