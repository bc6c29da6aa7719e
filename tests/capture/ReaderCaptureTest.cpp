// Whole captures of real windows on the Wine desktop through the Magnification.dll stand-in.
#include <gtest/gtest.h>

#include "ScreenFixture.h"

namespace {

const VXRect kRect(100, 100, 500, 400);
constexpr RECT kLower = {150, 150, 350, 300};
constexpr RECT kUpper = {300, 250, 450, 380};
// Screen points: only the lower window, both, only the upper one, neither.
constexpr POINT kLowerOnly = {200, 200};
constexpr POINT kOverlap = {320, 270};
constexpr POINT kUpperOnly = {420, 350};
constexpr POINT kNeither = {120, 120};
constexpr int kCursorProbe = 20;

class ReaderCapture : public ScreenFixture {
protected:
    void SetUp() override {
        ScreenFixture::SetUp();
        lower = createSolidWindow(kLower, kRed);
        upper = createSolidWindow(kUpper, kGreen);
        ASSERT_TRUE(lower != nullptr && upper != nullptr);
        image = makeImage(kRect.getWidth(), kRect.getHeight());
        reader = std::make_unique<MagD3DScreenReader>();
        ASSERT_EQ(reader->setup(kRect, image).code(), VXError::eNoError);
    }
    void TearDown() override {
        reader.reset();
        ScreenFixture::TearDown();
    }

    uint32_t at(POINT screen) const {
        return rgbAt(*image, screen.x - kRect.getLeft(), screen.y - kRect.getTop());
    }
    static uint32_t desktop() { return rgb(GetSysColor(COLOR_DESKTOP)); }

    HWND lower = nullptr;
    HWND upper = nullptr;
    std::shared_ptr<VXImage> image;
    std::unique_ptr<MagD3DScreenReader> reader;
};

}  // namespace

TEST_F(ReaderCapture, WindowsAppearWithTheirPixels) {
    ASSERT_EQ(reader->readScreen().code(), VXError::eNoError);
    EXPECT_EQ(reader->getCallbackCount(), 1u);
    EXPECT_EQ(at(kLowerOnly), rgb(kRed));
    EXPECT_EQ(at(kOverlap), rgb(kGreen));
    EXPECT_EQ(at(kUpperOnly), rgb(kGreen));
    EXPECT_EQ(at(kNeither), desktop());
    EXPECT_EQ(at(POINT{200, kLower.bottom - 1}), rgb(kRed));  // the window's last row
    EXPECT_EQ(at(POINT{200, kLower.bottom}), desktop());
}

TEST_F(ReaderCapture, CursorAppearsOnlyWithTheFlag) {
    // Under Wine the cursor reported is the foreground thread's: make it ours.
    SetForegroundWindow(lower);
    SetCursor(LoadCursorW(nullptr, IDC_ARROW));
    ASSERT_TRUE(SetCursorPos(kLowerOnly.x, kLowerOnly.y));
    pumpMessages();
    auto cursorPixels = [&] {
        int count = 0;
        for (int y = 0; y < kCursorProbe; ++y) {
            for (int x = 0; x < kCursorProbe; ++x)
                count += at(POINT{kLowerOnly.x + x, kLowerOnly.y + y}) != rgb(kRed);
        }
        return count;
    };
    for (bool withCursor : {false, true, false}) {
        ASSERT_EQ(reader->setCaptureCursor(withCursor).code(), VXError::eNoError);
        ASSERT_EQ(reader->readScreen().code(), VXError::eNoError);
        if (withCursor) {
            EXPECT_GT(cursorPixels(), kCursorProbe);
        } else {
            EXPECT_EQ(cursorPixels(), 0);
        }
    }
}

TEST_F(ReaderCapture, FailuresOfTheMagnifierAndOfTheNotificationAreReported) {
    // Each stand-in switch, and how readScreen reports the failure it causes.
    const struct {
        const wchar_t* variable;
        const wchar_t* value;
        int32_t code;
        const char* message;
    } cases[] = {
        // A render target format the stand-in refuses: MagSetWindowSource returns FALSE.
        {L"VXMAG_FORMAT", L"1", VXError::eSomeError,
         "Method \"MagSetWindowSource\" returned Win32 error [2000]"},
        // A surface the notification refuses (R5G6B5): its failure comes out of readScreen.
        {L"VXMAG_FORMAT", L"23", VXError::eUnexpected, "Unexpected src surface format (23) at "},
    };
    for (const auto& c : cases) {
        ScopedVariable variable(c.variable, c.value);
        const VXResult result = reader->readScreen();
        EXPECT_EQ(result.code(), c.code) << text(result);
        EXPECT_EQ(text(result).rfind(c.message, 0), 0u) << text(result);
    }

    ASSERT_EQ(HookD3D::removeStretchRectHook().code(), VXError::eNoError);
    VXResult result = reader->readScreen();
    EXPECT_EQ(result.code(), VXError::eUnexpected);
    EXPECT_EQ(text(result).rfind("StretchRect() callback not called at MagD3DScreenReader::readScreen", 0),
              0u)
        << text(result);
    EXPECT_EQ(HookD3D::stretchRectListener(), nullptr) << "the listener is unregistered again";
}
