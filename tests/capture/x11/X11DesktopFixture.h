// One display for a group of capture tests: Xvfb with twm and real X programs (xlogo, xterm,
// xeyes) placed where the cases need them, plus windows of our own that no program makes (an
// override-redirect popup, a 32-bit ARGB window). A compositing manager can be started on it
// later. Shared by the cases of a suite; test-thread only.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "VXImage.h"
#include "X11ScreenReader.h"
#include "XChildProcess.h"
#include "XTestDisplay.h"
#include "XvfbServer.h"

struct X11Desktop {
    XvfbServer server;
    XTestDisplay display;
    std::vector<std::unique_ptr<XChildProcess>> programs;
    std::map<std::string, xcb_window_t> windows;  // title -> client window
    std::string twmrc;
    bool compositing = false;

    ~X11Desktop();
    bool start();
    bool startProgram(const std::vector<std::string>& argv, const std::string& title);
    // Starts xcompmgr in its plain mode (no shadows, no fading), after a wallpaper is set.
    bool startCompositor();
};

class X11DesktopTest : public ::testing::Test {
protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override;

    // A reader set up for rect, with its image.
    struct Capture {
        std::unique_ptr<X11ScreenReader> reader;
        std::shared_ptr<VXImage> image;
    };
    static Capture makeReader(const VXRect& rect);
    // The server's own picture of rect once `client`'s top-level window is unmapped (none: as
    // it is); the window is mapped again afterwards.
    static std::vector<uint32_t> pictureWithout(const VXRect& rect, xcb_window_t client);

    static X11Desktop* desktop;
};
