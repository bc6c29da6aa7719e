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
};
