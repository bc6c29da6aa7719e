// The root window's children as one capture sees them: bottom to top in stacking order, with
// where each is and how its pixels are to be read. Refreshed for every composition; owned by
// the reader and used from its thread.
#pragma once

#include <xcb/render.h>
#include <xcb/xcb.h>

#include <unordered_set>
#include <vector>

#include "VXRect.h"
#include "VXResult.h"
#include "X11Connection.h"

struct X11TopWindow {
    xcb_window_t id = 0;
    VXRect outer;        // root coordinates, border included: the window pixmap's extent
    int32_t border = 0;  // the window's origin is outer's top-left plus this
    xcb_render_pictformat_t format = 0;
    bool hasAlpha = false;  // an ARGB visual: drawn over what lies beneath
};

class X11WindowStack {
public:
    // Lists the mapped, viewable InputOutput children of the root. Windows that vanish while
    // they are asked about are left out. firstSequence: the sequence number of the first request
    // made, from which on a change can make the listing out of date.
    VXResult refresh(X11Connection& connection, uint32_t& firstSequence);
    const std::vector<X11TopWindow>& viewable() const { return _viewable; }
    // The child of the root that holds `window` (itself when it is one); 0 when the id names
    // no window or names the root.
    VXResult topLevelOf(X11Connection& connection, xcb_window_t window, xcb_window_t& topLevel) const;

private:
    std::vector<X11TopWindow> _viewable;
    std::unordered_set<xcb_window_t> _children;
};
