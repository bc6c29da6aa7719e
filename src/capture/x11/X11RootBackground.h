// What the screen shows where no window is: the root window's background, as a Render picture
// to compose from. A published wallpaper (_XROOTPMAP_ID) is used as it is. Otherwise the X
// server's own background is made visible to us through a window of ours at the bottom of the
// stack whose background is its parent's (ParentRelative): it shows exactly what the root would
// show there, so the screen does not change, and it passes all input through. Owned by the
// reader; one thread.
#pragma once

#include <xcb/render.h>
#include <xcb/xcb.h>

#include "VXRect.h"
#include "VXResult.h"
#include "X11Connection.h"
#include "X11RequestBatch.h"

class X11RootBackground {
public:
    X11RootBackground() = default;
    X11RootBackground(const X11RootBackground&) = delete;
    X11RootBackground& operator=(const X11RootBackground&) = delete;
    ~X11RootBackground();

    // Gets the background of `area` (root coordinates) ready to be read for a composition.
    // With a compositing manager and no published wallpaper the background is what the
    // compositor chooses to paint, unknown to us: it is taken as black. bottomWindow: the
    // lowest mapped child of the root, so that our window can go back beneath all others.
    // changed: a background setter has been at work since the last call; only then is the
    // wallpaper looked up again and our window repainted.
    VXResult prepare(X11Connection& connection, const VXRect& area, bool compositorRunning,
                     xcb_window_t bottomWindow, bool changed, X11RequestBatch& batch);
    // The picture; the root's point (x, y) is its point (x - originX, y - originY).
    xcb_render_picture_t picture() const { return _picture; }
    int32_t originX() const { return _originX; }
    int32_t originY() const { return _originY; }
    // Our own window, which a capture leaves out of the window list (0: none).
    xcb_window_t window() const { return _window; }
    void release(X11Connection& connection);

private:
    enum class Source { eNone, eWallpaper, eWindow, eBlack };

    VXResult wallpaper_(X11Connection& connection, xcb_pixmap_t& pixmap);
    VXResult useWindow_(X11Connection& connection, const VXRect& area, xcb_window_t bottomWindow,
                        bool repaint, X11RequestBatch& batch);
    void dropPicture_(X11Connection& connection);
    void dropWindow_(X11Connection& connection);

    Source _source = Source::eNone;
    xcb_render_picture_t _picture = 0;
    xcb_pixmap_t _wallpaper = 0;
    bool _wallpaperKnown = false;
    xcb_pixmap_t _publishedWallpaper = 0;  // as last read from the root
    xcb_window_t _window = 0;
    VXRect _windowArea;
    int32_t _originX = 0;
    int32_t _originY = 0;
};
