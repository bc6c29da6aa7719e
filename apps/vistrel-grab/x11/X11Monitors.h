// The monitors of an X screen through RandR 1.5 (its monitor list: the primary one, each
// one's name and bounds in root coordinates) and the work areas the window manager publishes
// (_NET_WORKAREA of the current desktop, clipped to each monitor). Without a primary monitor
// the first is marked primary. A server without RandR 1.5 has one monitor: the whole screen,
// named "screen". Stateless; the connection is the caller's and used from the calling thread
// only.
#pragma once

#include <xcb/xcb.h>

#include <vector>

#include "MonitorList.h"
#include "VXRect.h"
#include "VXResult.h"

class X11Monitors {
public:
    // The primary monitor first, the others in the server's order; the virtual screen holds
    // them all.
    static VXResult list(xcb_connection_t* connection, const xcb_screen_t& screen,
                         std::vector<Vistrel::MonitorInfo>& monitors, VXRect& virtualScreen);
};
