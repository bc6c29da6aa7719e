// The environment switches that drive the server's failure paths: black output, content
// that never settles, and render targets of another format.
#include "MagnifierFixture.h"

namespace {

constexpr RECT kHost = {0, 0, 640, 480};
constexpr RECT kWindow = {100, 100, 400, 300};
constexpr POINT kInside = {150, 150};
constexpr UINT16 kRed565 = 0xD8A2;  // RGB(220, 20, 20) with 5, 6 and 5 bits kept

class MagnifierSwitches : public MagnifierTest {
protected:
    void SetUp() override {
        MagnifierTest::SetUp();
        ASSERT_NE(createControl(kHost), nullptr);
        ASSERT_NE(createSolidWindow(kWindow, kRed), nullptr);
    }
};

TEST_F(MagnifierSwitches, BlackIsReadAtEachRender) {
    {
        ScopedVariable black(L"VXMAG_RENDER", L"black");
        ASSERT_TRUE(render(kHost));
        EXPECT_EQ(image().rgbAt(kInside.x, kInside.y), 0u);
    }
    ASSERT_TRUE(render(kHost));
    EXPECT_EQ(image().rgbAt(kInside.x, kInside.y), rgb(kRed));
}

TEST_F(MagnifierSwitches, ChangingContentChangesAfterEveryReadback) {
    ScopedVariable changing(L"VXMAG_RENDER", L"changing");
    ASSERT_TRUE(render(kHost, 3));
    const auto readbacks = StretchRectRecorder::readbacks();
    ASSERT_EQ(readbacks.size(), 3u);
    EXPECT_FALSE(readbacks[0] == readbacks[1]);
    EXPECT_FALSE(readbacks[1] == readbacks[2]);
    EXPECT_EQ(readbacks[2].rgbAt(kInside.x, kInside.y), rgb(kRed));  // the desktop around the strip
}

TEST_F(MagnifierSwitches, FormatSwitchSelectsTheRenderTargetFormat) {
    ScopedVariable format(L"VXMAG_FORMAT", L"23");
    ASSERT_TRUE(render(kHost));
    ASSERT_EQ(image().format, D3DFMT_R5G6B5);
    EXPECT_EQ(image().word16At(kInside.x, kInside.y), kRed565);

    ScopedVariable luminance(L"VXMAG_FORMAT", L"50");  // D3DFMT_L8: nothing the stand-in can fill
    SetLastError(0);
    EXPECT_FALSE(render(kHost));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PIXEL_FORMAT));
}

}  // namespace
