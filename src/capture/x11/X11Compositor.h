// Composes a rectangle of the desktop without some windows, in the X server: the background,
// then each mapped top-level window from its Composite pixmap, bottom to top, through Render,
// each clipped to its bounding shape less what opaque windows above it cover, so that every
// pixel under opaque windows is painted once. Owns its pixmap and picture; one thread.
#pragma once

#include <xcb/render.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <vector>

#include "VXRect.h"
#include "VXResult.h"
#include "X11Connection.h"
#include "X11RequestBatch.h"
#include "X11RootBackground.h"
#include "X11WindowStack.h"

class X11Compositor {
public:
    X11Compositor() = default;
    X11Compositor(const X11Compositor&) = delete;
    X11Compositor& operator=(const X11Compositor&) = delete;

    // Paints `area` (root coordinates, on the screen) into the pixmap, whose (0, 0) is the
    // area's top-left: the background, then `windows` (bottom to top). overForAlpha: windows
    // with alpha go over what lies beneath (what a compositing manager does); otherwise their
    // colour replaces it (what the X server itself does with them). The requests go into
    // `batch`, for the caller to check once the picture has been read. shmSegment non-zero:
    // the pixmap's pixels are the start of that shared segment, so the picture needs no read.
    VXResult compose(X11Connection& connection, const VXRect& area, const std::vector<X11TopWindow>& windows,
                     const X11RootBackground& background, bool overForAlpha, xcb_shm_seg_t shmSegment,
                     X11RequestBatch& batch);
    xcb_pixmap_t pixmap() const { return _pixmap; }
    void release(X11Connection& connection);

private:
    VXResult ensureTarget_(X11Connection& connection, const VXRect& area, xcb_shm_seg_t shmSegment);
    xcb_xfixes_region_t region_(X11Connection& connection, size_t index);

    xcb_pixmap_t _pixmap = 0;
    xcb_render_picture_t _picture = 0;
    VXSize _size;
    xcb_shm_seg_t _shmSegment = 0;  // where the pixmap's pixels are, 0: in the server
    // Region, pixmap and picture ids are made once and reused: a composition frees what it
    // made under them before it ends.
    std::vector<xcb_xfixes_region_t> _regions;
    std::vector<xcb_pixmap_t> _windowPixmaps;
    std::vector<xcb_render_picture_t> _windowPictures;
};
