// What vistrel-grab asks of the desktop it runs on: top-level windows by title and the
// monitors. One half per platform: win32/ (window enumeration) and x11/ (the X server, through
// its own connection for each call); the monitors are the host library's list on both.
// Callable from any thread; nothing is kept between calls.
#pragma once

#include <cstdint>
#include <vector>

#include "MonitorList.h"
#include "VXRect.h"
#include "VXResult.h"
#include "VXString.h"

class GrabDesktop {
public:
    // How the usage text names a window handle and the server's path.
    static const char* const kWindowWord;
    static const char* const kServerExample;

    // Appends every top-level window whose title is exactly `title`: on Windows its window
    // text, on X11 the client window's _NET_WM_NAME, else its WM_NAME.
    static VXResult findWindowsByTitle(const VXString& title, std::vector<uint64_t>& handles);
    // The monitors, primary first, and the smallest rectangle that holds them all, in the
    // coordinates a capture rectangle is given in.
    static VXResult listMonitors(std::vector<Vistrel::MonitorInfo>& monitors, VXRect& virtualScreen);
};
