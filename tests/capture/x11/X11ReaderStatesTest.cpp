// The reader's answers beyond a plain picture: an all-black screen, content that never stops
// changing, and an X server that goes away.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "X11ScreenReader.h"
#include "XTestDisplay.h"
#include "XvfbServer.h"

using ::testing::HasSubstr;

namespace {

const VXRect kScreen(0, 0, 1024, 768);

std::shared_ptr<VXImage> imageFor(const VXRect& rect) {
    std::shared_ptr<VXImage> image;
    EXPECT_EQ(VXImage::create(rect.getWidth(), rect.getHeight(), 32, image).code(), 2000);
    EXPECT_EQ(image->allocate().code(), 2000);
    return image;
}

// A window whose colour another client changes every millisecond while it lives.
class BusyWindow {
public:
    BusyWindow(const std::string& display, const VXRect& rect) {
        _thread = std::thread([this, display, rect] {
            XTestDisplay client;
            if (!client.connect(display))
                return;
            const xcb_window_t window = client.createWindow(rect, 0x2060A0, true, "Busy");
            _window = window;
            const VXRect inside(0, 0, rect.getWidth(), rect.getHeight());
            for (uint32_t i = 0; !_stop; ++i) {
                client.fill(window, (i & 1) != 0 ? 0xF0F0F0 : 0x2060A0, inside);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            client.destroy(window);
        });
        while (_window == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ~BusyWindow() {
        _stop = true;
        _thread.join();
    }
    xcb_window_t window() const { return _window; }

private:
    std::atomic<bool> _stop{false};
    std::atomic<xcb_window_t> _window{0};
    std::thread _thread;
};

}  // namespace

// A display with a black root ("-br") and nothing else on it unless a case puts it there.
class X11ReaderStatesTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        server = new XvfbServer();
        display = new XTestDisplay();
        if (!server->start("1024x768x24", {"-br"}) || !display->connect(server->display())) {
            TearDownTestSuite();
        }
    }
    static void TearDownTestSuite() {
        delete display;
        delete server;
        display = nullptr;
        server = nullptr;
    }
    void SetUp() override { ASSERT_NE(display, nullptr) << "Xvfb did not start"; }

    static XvfbServer* server;
    static XTestDisplay* display;
};

XvfbServer* X11ReaderStatesTest::server = nullptr;
XTestDisplay* X11ReaderStatesTest::display = nullptr;

TEST_F(X11ReaderStatesTest, AllBlackPictureGives2022) {
    // Read from the screen, and composed without the one window that is not black.
    const xcb_window_t white = display->createWindow(VXRect(100, 100, 300, 300), 0xFFFFFF, true, "White");
    ASSERT_TRUE(display->settle(kScreen));
    for (const bool leaveOut : {false, true}) {
        SCOPED_TRACE(leaveOut ? "composed" : "read from the screen");
        const VXRect rect = leaveOut ? VXRect(50, 50, 400, 400) : VXRect(500, 400, 900, 700);
        X11ScreenReader reader(server->display());
        ASSERT_EQ(reader.setup(rect, imageFor(rect)).code(), 2000);
        if (leaveOut)
            reader.setExcludedWindows({white});
        const VXResult result = reader.readScreen();
        EXPECT_EQ(result.code(), 2022);
        EXPECT_THAT(result.message().toUtf8(), HasSubstr("All captured pixels are black"));
        EXPECT_EQ(reader.lastCaptureComposed(), leaveOut);
    }
    display->destroy(white);
}

TEST_F(X11ReaderStatesTest, ChangingContentTimesOutAt500Ms) {
    const std::unique_ptr<BusyWindow> busy =
        std::make_unique<BusyWindow>(server->display(), VXRect(100, 100, 300, 300));
    const xcb_window_t still = display->createWindow(VXRect(200, 400, 400, 500), 0x808000, true, "Still");
    const struct {
        const char* name;
        VXRect rect;
        bool leaveOutBusy;
        bool timesOut;
    } cases[] = {
        {"busy window inside", VXRect(50, 50, 450, 550), false, true},
        {"busy window left out", VXRect(50, 50, 450, 550), true, false},
        {"busy window outside", VXRect(150, 350, 450, 550), false, false},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        X11ScreenReader reader(server->display());
        ASSERT_EQ(reader.setup(each.rect, imageFor(each.rect)).code(), 2000);
        if (each.leaveOutBusy)
            reader.setExcludedWindows({busy->window()});
        const VXResult result = reader.readScreen();
        EXPECT_EQ(result.code(), 2000) << result.describe().toUtf8();
        EXPECT_EQ(reader.isStabilizationTimedOut(), each.timesOut);
        if (each.timesOut) {
            EXPECT_GT(reader.getStabilizationRounds(), 0u);
            EXPECT_GE(reader.getStabilizationTimeMs(), X11ScreenReader::kStabilizationTimeoutMs);
            EXPECT_LT(reader.getStabilizationTimeMs(), 2 * X11ScreenReader::kStabilizationTimeoutMs);
        } else {
            EXPECT_LT(reader.getStabilizationTimeMs(), X11ScreenReader::kStabilizationTimeoutMs);
        }
    }
    display->destroy(still);
}

TEST(X11ReaderLostServer, KilledServerEndsCapturesWithItsCause) {
    XvfbServer server;
    ASSERT_TRUE(server.start("640x480x24", {"-wr"}));
    const VXRect rect(0, 0, 640, 480);
    X11ScreenReader reader(server.display());
    ASSERT_EQ(reader.setup(rect, imageFor(rect)).code(), 2000);
    ASSERT_EQ(reader.readScreen().code(), 2000);  // a white root
    server.kill();
    for (int i = 0; i < 2; ++i) {
        const VXResult result = reader.readScreen();
        EXPECT_EQ(result.code(), 2010);
        EXPECT_THAT(result.message().toUtf8(),
                    HasSubstr("Connection to the X server lost: socket, pipe or stream error"));
    }
    EXPECT_EQ(reader.setup(rect, imageFor(rect)).code(), 2010);
}
