// The tests' own client of a display: the X server's own picture of the screen (the judge),
// windows found by title, made, moved, unmapped and destroyed, a wallpaper, the pointer.
// Test-thread only, except where said.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <string>
#include <vector>

#include "VXImage.h"
#include "VXRect.h"

class XTestDisplay {
public:
    XTestDisplay() = default;
    XTestDisplay(const XTestDisplay&) = delete;
    XTestDisplay& operator=(const XTestDisplay&) = delete;
    ~XTestDisplay();

    bool connect(const std::string& display);
    xcb_connection_t* get() const { return _connection; }
    xcb_window_t root() const { return _root; }
    void sync();

    // GetImage of the root over rect: the server's own picture, colour bits only.
    std::vector<uint32_t> rootImage(const VXRect& rect);
    // Waits until two pictures of rect 50 ms apart agree (at most 3 s); false if they never do.
    bool settle(const VXRect& rect);

    // The viewable window titled `title` (WM_NAME), searched through the root's children and
    // theirs (a client in a window manager's frame); 0 after timeoutMs.
    xcb_window_t waitForWindow(const std::string& title, int timeoutMs = 5000);
    // The child of the root that holds `window`.
    xcb_window_t topLevelOf(xcb_window_t window);
    // A window of one colour (0x00RRGGBB, or premultiplied 0xAARRGGBB with argb), mapped.
    xcb_window_t createWindow(const VXRect& rect, uint32_t color, bool overrideRedirect,
                              const std::string& title, bool argb = false);
    void fill(xcb_window_t window, uint32_t color, const VXRect& rect);
    void map(xcb_window_t window);
    void unmap(xcb_window_t window);
    void move(xcb_window_t window, int32_t x, int32_t y);
    void raise(xcb_window_t window);
    void destroy(xcb_window_t window);
    // A tiled wallpaper as desktops set one: the root's background and _XROOTPMAP_ID.
    void setWallpaper();
    void warpPointer(int32_t x, int32_t y);
    bool isViewable(xcb_window_t window);

private:
    xcb_window_t findTitled_(xcb_window_t parent, const std::string& title, int depth);
    xcb_atom_t atom_(const char* name);

    xcb_connection_t* _connection = nullptr;
    xcb_screen_t* _screen = nullptr;
    xcb_window_t _root = 0;
};

// Pixels of image whose colour bits differ from expected (same size, row-major), with where
// the first one is, for a failure message.
struct PixelDifference {
    int64_t count = 0;
    std::string first;
};
PixelDifference comparePixels(const VXImage& image, const std::vector<uint32_t>& expected);
