// Finds X windows by title as vistrel-grab's --exclude-title means it: for each child of the
// root (a top-level window, or a window manager's frame), its client window, the first window
// at or below it that carries WM_STATE (the window itself when none does), matched by
// _NET_WM_NAME, else WM_NAME. Windows that vanish meanwhile are skipped. Stateless; the
// connection is the caller's and used from the calling thread only.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <vector>

#include "VXResult.h"
#include "VXString.h"

class X11WindowTitles {
public:
    // Appends the ids of the client windows titled exactly `title`.
    static VXResult find(xcb_connection_t* connection, xcb_window_t root, const VXString& title,
                         std::vector<uint64_t>& windows);
    // A window's title: _NET_WM_NAME (UTF-8), else WM_NAME (Latin-1, or UTF-8 when so typed);
    // empty when it has neither. A window that vanished has no title.
    static VXResult titleOf(xcb_connection_t* connection, xcb_window_t window, VXString& title);
    // The client window of a child of the root, as described above.
    static VXResult clientOf(xcb_connection_t* connection, xcb_window_t topLevel, xcb_window_t& client);
};
