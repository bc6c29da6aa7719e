// The environment switches that drive the server's failure paths: black output, content
// that never settles, and render targets of another format.
#include "MagnifierFixture.h"

#include <cstdio>

namespace {

constexpr RECT kHost = {0, 0, 640, 480};
constexpr RECT kWindow = {100, 100, 400, 300};
constexpr POINT kInside = {150, 150};
// More back-to-back readbacks than an interception makes within its 500 ms wait.
constexpr int kChangingReadbacks = 12;
constexpr UINT16 kRed565 = 0xD8A2;  // RGB(220, 20, 20) with 5, 6 and 5 bits kept

class MagnifierSwitches : public MagnifierTest {
protected:
    void SetUp() override {
        MagnifierTest::SetUp();
        ASSERT_NE(createControl(kHost), nullptr);
        ASSERT_NE(createSolidWindow(kWindow, kRed), nullptr);
    }
};

TEST_F(MagnifierSwitches, BlackRendersZeroRgbEverywhere) {
    ScopedVariable black(L"VXMAG_RENDER", L"black");
    ASSERT_TRUE(render(kHost));
    const Readback& shot = image();
    ASSERT_EQ(shot.width, 640u);
    int lit = 0;
    for (UINT y = 0; y < shot.height; ++y) {
        for (UINT x = 0; x < shot.width; ++x) {
            lit += shot.rgbAt(static_cast<int>(x), static_cast<int>(y)) != 0 ? 1 : 0;
        }
    }
    EXPECT_EQ(lit, 0);
}

TEST_F(MagnifierSwitches, SwitchIsReadAtEachRender) {
    {
        ScopedVariable black(L"VXMAG_RENDER", L"black");
        ASSERT_TRUE(render(kHost));
        EXPECT_EQ(image().rgbAt(kInside.x, kInside.y), 0u);
    }
    ASSERT_TRUE(render(kHost));
    EXPECT_EQ(image().rgbAt(kInside.x, kInside.y), rgb(kRed));
}

TEST_F(MagnifierSwitches, ChangingContentNeverSettlesWithinOnePresent) {
    ScopedVariable changing(L"VXMAG_RENDER", L"changing");
    ASSERT_TRUE(render(kHost, kChangingReadbacks));
    const auto first = StretchRectRecorder::readbacks();
    ASSERT_EQ(first.size(), static_cast<size_t>(kChangingReadbacks));
    for (size_t i = 1; i < first.size(); ++i) {
        EXPECT_FALSE(first[i] == first[i - 1]) << "readbacks " << i - 1 << " and " << i << " are equal";
    }
    // The desktop is still there around the changing strip.
    EXPECT_EQ(first.back().rgbAt(kInside.x, kInside.y), rgb(kRed));

    ASSERT_TRUE(render(kHost, 1));
    EXPECT_FALSE(image() == first.back());
}

TEST_F(MagnifierSwitches, FormatSwitchSelectsTheRenderTargetFormat) {
    ScopedVariable format(L"VXMAG_FORMAT", L"23");
    ASSERT_TRUE(render(kHost));
    ASSERT_EQ(image().format, D3DFMT_R5G6B5);
    EXPECT_EQ(image().word16At(kInside.x, kInside.y), kRed565);

    ScopedVariable argb(L"VXMAG_FORMAT", L"21");
    ASSERT_TRUE(render(kHost));
    ASSERT_EQ(image().format, D3DFMT_A8R8G8B8);
    EXPECT_EQ(image().rgbAt(kInside.x, kInside.y), rgb(kRed));
}

TEST_F(MagnifierSwitches, FormatTheStandInCannotFillFails) {
    ScopedVariable luminance(L"VXMAG_FORMAT", L"50");  // D3DFMT_L8
    SetLastError(0);
    EXPECT_FALSE(render(kHost));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PIXEL_FORMAT));
    EXPECT_EQ(StretchRectRecorder::calls(), 0);
}

TEST_F(MagnifierSwitches, ReportsWhichFormatsThisDeviceAccepts) {
    // Informational: which of the writable formats the Direct3D of this machine takes.
    const int formats[] = {20, 21, 22, 23, 24, 25, 26, 31, 32, 33, 35};
    int accepted = 0;
    for (int value : formats) {
        wchar_t text[16];
        swprintf(text, 16, L"%d", value);
        ScopedVariable format(L"VXMAG_FORMAT", text);
        const BOOL ok = render(kHost);
        const bool asked = ok && image().format == static_cast<D3DFORMAT>(value);
        std::printf("VXMAG_FORMAT=%d: %s (error %lu, StretchRect calls %d)\n", value,
                    asked ? "ok"
                    : ok  ? "wrong format"
                          : "refused",
                    ok ? 0ul : GetLastError(), StretchRectRecorder::calls());
        EXPECT_TRUE(asked || !ok) << "format " << value << " rendered as " << image().format;
        accepted += asked ? 1 : 0;
    }
    EXPECT_GE(accepted, 2);
}

}  // namespace
