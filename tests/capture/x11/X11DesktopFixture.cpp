#include "X11DesktopFixture.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <thread>

#include "VXPlatform.h"

X11Desktop* X11DesktopTest::desktop = nullptr;

namespace {

constexpr int kFrameWaitMs = 5000;
constexpr auto kPoll = std::chrono::milliseconds(20);

}  // namespace

X11Desktop::~X11Desktop() {
    for (auto it = programs.rbegin(); it != programs.rend(); ++it)
        (*it)->stop();
    if (!twmrc.empty())
        std::remove(twmrc.c_str());
}

bool X11Desktop::startProgram(const std::vector<std::string>& argv, const std::string& title) {
    programs.push_back(std::make_unique<XChildProcess>());
    if (!programs.back()->start(argv, server.display()))
        return false;
    const xcb_window_t window = display.waitForWindow(title);
    windows[title] = window;
    return window != 0;
}

bool X11Desktop::start() {
    if (!server.start("1024x768x24", {"-retro"}) || !display.connect(server.display()))
        return false;
    twmrc = "/tmp/vx-x11-twmrc-" + std::to_string(getpid());
    std::ofstream(twmrc) << "RandomPlacement\nNoGrabServer\n";
    programs.push_back(std::make_unique<XChildProcess>());
    if (!programs.back()->start({"twm", "-f", twmrc}, server.display()))
        return false;
    // Stacking follows start order: Logo under Term, Logo2 under Eyes, Logo4 under Glass.
    const bool started =
        startProgram({"xlogo", "-geometry", "300x250+60+60", "-title", "Logo"}, "Logo") &&
        startProgram({"xterm", "-geometry", "40x12+250+180", "-title", "Term", "-e", "sleep", "600"},
                     "Term") &&
        startProgram({"xlogo", "-geometry", "250x250+620+120", "-title", "Logo2"}, "Logo2") &&
        startProgram({"xeyes", "-geometry", "220x220+560+60", "-title", "Eyes"}, "Eyes") &&
        startProgram({"xlogo", "-geometry", "200x200+760+450", "-title", "Logo4"}, "Logo4") &&
        startProgram({"xlogo", "-geometry", "250x200+880+620", "-title", "Edge"}, "Edge");
    if (!started)
        return false;
    // twm frames each client: wait until the last one is.
    const uint64_t end = VXPlatform::monotonicMicroseconds() + kFrameWaitMs * 1000ull;
    while (display.topLevelOf(windows["Edge"]) == windows["Edge"] &&
           VXPlatform::monotonicMicroseconds() < end)
        std::this_thread::sleep_for(kPoll);
    windows["Popup"] = display.createWindow(VXRect(300, 330, 520, 450), 0x30C0C0, true, "Popup");
    // Premultiplied: half-transparent red.
    windows["Glass"] = display.createWindow(VXRect(700, 400, 900, 560), 0x80400000, true, "Glass", true);
    return windows["Glass"] != 0 && display.settle(VXRect(0, 0, 1024, 768));
}

bool X11Desktop::startCompositor() {
    display.setWallpaper();
    programs.push_back(std::make_unique<XChildProcess>());
    if (!programs.back()->start({"xcompmgr"}, server.display()))
        return false;
    compositing = true;
    // It paints the whole screen once it has started; wait for that and for the quiet after.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    return display.settle(VXRect(0, 0, 1024, 768));
}

void X11DesktopTest::SetUpTestSuite() {
    desktop = new X11Desktop();
    if (!desktop->start()) {
        delete desktop;
        desktop = nullptr;
    }
}

void X11DesktopTest::TearDownTestSuite() {
    delete desktop;
    desktop = nullptr;
}

void X11DesktopTest::SetUp() {
    ASSERT_NE(desktop, nullptr) << "the test desktop (Xvfb, twm, xlogo, xterm, xeyes) did not start";
}

X11DesktopTest::Capture X11DesktopTest::makeReader(const VXRect& rect) {
    Capture capture;
    capture.reader = std::make_unique<X11ScreenReader>(desktop->server.display());
    EXPECT_EQ(VXImage::create(rect.getWidth(), rect.getHeight(), 32, capture.image).code(), 2000);
    EXPECT_EQ(capture.image->allocate().code(), 2000);
    const VXResult result = capture.reader->setup(rect, capture.image);
    EXPECT_EQ(result.code(), 2000) << result.describe().toUtf8();
    return capture;
}

std::vector<uint32_t> X11DesktopTest::pictureWithout(const VXRect& rect, xcb_window_t client) {
    XTestDisplay& display = desktop->display;
    const VXRect screen(0, 0, 1024, 768);
    if (client == 0) {
        EXPECT_TRUE(display.settle(screen));
        return display.rootImage(rect);
    }
    const xcb_window_t top = display.topLevelOf(client);
    display.unmap(top);
    EXPECT_TRUE(display.settle(screen));
    std::vector<uint32_t> picture = display.rootImage(rect);
    display.map(top);
    EXPECT_TRUE(display.settle(screen));
    return picture;
}
