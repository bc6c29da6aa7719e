// Whole captures of real windows on the Wine desktop through the Magnification.dll stand-in.
#include <gtest/gtest.h>

#include <thread>

#include "MagnifierServerPlatform.h"
#include "ScreenFixture.h"
#include "SerializeUtils.h"
#include "VistrelExchange.h"
#include "VistrelServer.h"
#include "support/win32/UniqueParams.h"

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

// Through the server's request loop: the flag comes from its own block, not from the window
// list beside it (the list's first byte is 1 exactly when the flag is off).
TEST_F(ReaderCapture, CursorAppearsOnlyWithTheFlagFromItsOwnBlock) {
    reader.reset();  // the loop makes its own
    // Under Wine the cursor reported is the foreground thread's: make it ours.
    SetForegroundWindow(lower);
    SetCursor(LoadCursorW(nullptr, IDC_ARROW));
    ASSERT_TRUE(SetCursorPos(kLowerOnly.x, kLowerOnly.y));
    pumpMessages();

    const auto params = uniqueParams(kRect);
    ASSERT_TRUE(params);
    std::shared_ptr<Vistrel::SharedObjects> objects;
    ASSERT_TRUE(Vistrel::SharedObjects::create(*params, objects).isSuccess());
    VXResult served;
    Vistrel::MagnifierServerPlatform platform;
    std::thread server([&] { served = Vistrel::serveRequests(kRect, objects, false, platform); });
    auto* list = static_cast<uint8_t*>(objects->shMemExclWnds->view);
    // Our windows are painted on request, so this thread pumps while the loop captures.
    auto exchange = [&] {
        objects->eventStart->set();
        for (int waited = 0; objects->eventCompleted->wait(20).isError(); waited += 20) {
            pumpMessages();
            if (waited > 30000)
                return false;
        }
        return true;
    };

    const uint64_t upperHandle = reinterpret_cast<uintptr_t>(upper);  // nowhere near the probe
    for (bool withCursor : {false, true, false}) {
        const std::vector<uint64_t> windows = withCursor ? std::vector<uint64_t>{} : std::vector{upperHandle};
        SerializeUtils::writeWindowList(list, Vistrel::kExclWndsBlockSize, windows);
        SerializeUtils::writeBool(static_cast<uint8_t*>(objects->shMemCaptureCursor->view), withCursor);
        if (!exchange()) {
            ADD_FAILURE() << "no answer";
            break;
        }
        Vistrel::ResultRecord result;
        SerializeUtils::readResult(static_cast<const uint8_t*>(objects->shMemResult->view),
                                   Vistrel::kResultBlockSize, result);
        ASSERT_EQ(result.code, VXError::eNoError) << result.text.toUtf8();
        ASSERT_NE(SerializeUtils::readImageInto(static_cast<const uint8_t*>(objects->shMemImage->view),
                                                Vistrel::imageBlockSize(kRect), *image, VXPoint(0, 0)),
                  nullptr);
        int cursorPixels = 0;
        for (int y = 0; y < kCursorProbe; ++y) {
            for (int x = 0; x < kCursorProbe; ++x)
                cursorPixels += at(POINT{kLowerOnly.x + x, kLowerOnly.y + y}) != rgb(kRed);
        }
        if (withCursor) {
            EXPECT_GT(cursorPixels, kCursorProbe);
        } else {
            EXPECT_EQ(cursorPixels, 0);
        }
    }
    // A list the loop cannot read ends it.
    SerializeUtils::writeUInt64(list, 5000);
    objects->eventStart->set();
    server.join();
    EXPECT_THAT(text(served), StartsWith("Failed reading excluded windows"));
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
        EXPECT_THAT(text(result), StartsWith(c.message));
    }

    ASSERT_EQ(HookD3D::removeStretchRectHook().code(), VXError::eNoError);
    VXResult result = reader->readScreen();
    EXPECT_EQ(result.code(), VXError::eUnexpected);
    EXPECT_THAT(text(result),
                StartsWith("StretchRect() callback not called at MagD3DScreenReader::readScreen"));
    EXPECT_EQ(HookD3D::stretchRectListener(), nullptr) << "the listener is unregistered again";
}
