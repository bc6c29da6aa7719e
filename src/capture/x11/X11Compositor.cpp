#include "X11Compositor.h"

#include <xcb/composite.h>
#include <xcb/shape.h>

#include "VXChecks.h"

namespace {

constexpr size_t kAreaRegion = 0;     // the area, which becomes the uncovered background
constexpr size_t kCoveredRegion = 1;  // what opaque windows above cover
constexpr size_t kFirstWindowRegion = 2;

int16_t s16(int32_t value) {
    return static_cast<int16_t>(value);
}
uint16_t u16(int32_t value) {
    return static_cast<uint16_t>(value);
}

}  // namespace

void X11Compositor::release(X11Connection& connection) {
    if (_picture != 0)
        xcb_render_free_picture(connection.get(), _picture);
    if (_pixmap != 0)
        xcb_free_pixmap(connection.get(), _pixmap);
    _picture = 0;
    _pixmap = 0;
    _size = VXSize();
    _shmSegment = 0;
    _shmSegment = 0;
}

xcb_xfixes_region_t X11Compositor::region_(X11Connection& connection, size_t index) {
    while (_regions.size() <= index)
        _regions.push_back(xcb_generate_id(connection.get()));
    return _regions[index];
}

VXResult X11Compositor::ensureTarget_(X11Connection& connection, const VXRect& area,
                                      xcb_shm_seg_t shmSegment) {
    if (_pixmap != 0 && _size == area.getSize() && _shmSegment == shmSegment)
        return VXError::eNoError;
    release(connection);
    xcb_connection_t* c = connection.get();
    X11RequestBatch batch(connection);
    _pixmap = xcb_generate_id(c);
    if (shmSegment != 0) {
        batch.add(xcb_shm_create_pixmap_checked(c, _pixmap, connection.root(), u16(area.getWidth()),
                                                u16(area.getHeight()), connection.rootDepth(), shmSegment, 0),
                  u"ShmCreatePixmap", false);
    } else {
        batch.add(xcb_create_pixmap_checked(c, connection.rootDepth(), _pixmap, connection.root(),
                                            u16(area.getWidth()), u16(area.getHeight())),
                  u"CreatePixmap", false);
    }
    _picture = xcb_generate_id(c);
    batch.add(xcb_render_create_picture_checked(c, _picture, _pixmap, connection.rootFormat(), 0, nullptr),
              u"RenderCreatePicture", false);
    bool vanished = false;
    const VXResult result = batch.check(vanished, VX_SITE);
    if (result.isError()) {
        release(connection);
        return VX_CHAIN(result);
    }
    _size = area.getSize();
    _shmSegment = shmSegment;
    return VXError::eNoError;
}

VXResult X11Compositor::compose(X11Connection& connection, const VXRect& area,
                                const std::vector<X11TopWindow>& windows, const X11RootBackground& background,
                                bool overForAlpha, xcb_shm_seg_t shmSegment, X11RequestBatch& batch) {
    VX_CHECK_PARAM(area.isNotEmpty());
    VX_RETURN_IF_ERROR(ensureTarget_(connection, area, shmSegment));
    xcb_connection_t* c = connection.get();
    const xcb_rectangle_t areaRect = {s16(area.getLeft()), s16(area.getTop()), u16(area.getWidth()),
                                      u16(area.getHeight())};
    const xcb_xfixes_region_t areaRegion = region_(connection, kAreaRegion);
    const xcb_xfixes_region_t covered = region_(connection, kCoveredRegion);
    batch.add(xcb_xfixes_create_region_checked(c, areaRegion, 1, &areaRect), u"XFixesCreateRegion", false);
    batch.add(xcb_xfixes_create_region_checked(c, covered, 0, nullptr), u"XFixesCreateRegion", false);

    // Top to bottom: what each window shows is its shape within the area, less what the
    // opaque windows above it already cover.
    std::vector<char> drawn(windows.size(), 0);
    for (size_t i = windows.size(); i-- > 0;) {
        const X11TopWindow& window = windows[i];
        if (window.outer.intersect(area).isEmpty())
            continue;
        drawn[i] = 1;
        const xcb_xfixes_region_t shown = region_(connection, kFirstWindowRegion + i);
        batch.add(xcb_xfixes_create_region_from_window_checked(c, shown, window.id, XCB_SHAPE_SK_BOUNDING),
                  u"XFixesCreateRegionFromWindow", true);
        // The shape is relative to the window's origin, inside its border.
        batch.add(xcb_xfixes_translate_region_checked(c, shown, s16(window.outer.getLeft() + window.border),
                                                      s16(window.outer.getTop() + window.border)),
                  u"XFixesTranslateRegion", true);
        batch.add(xcb_xfixes_intersect_region_checked(c, shown, areaRegion, shown), u"XFixesIntersectRegion",
                  true);
        batch.add(xcb_xfixes_subtract_region_checked(c, shown, covered, shown), u"XFixesSubtractRegion",
                  true);
        if (!window.hasAlpha)
            batch.add(xcb_xfixes_union_region_checked(c, covered, shown, covered), u"XFixesUnionRegion",
                      true);
    }

    // The background only where no opaque window covers it.
    batch.add(xcb_xfixes_subtract_region_checked(c, areaRegion, covered, areaRegion), u"XFixesSubtractRegion",
              false);
    batch.add(xcb_xfixes_set_picture_clip_region_checked(c, _picture, areaRegion, s16(-area.getLeft()),
                                                         s16(-area.getTop())),
              u"XFixesSetPictureClipRegion", false);
    batch.add(xcb_render_composite_checked(c, XCB_RENDER_PICT_OP_SRC, background.picture(), XCB_NONE,
                                           _picture, s16(area.getLeft() - background.originX()),
                                           s16(area.getTop() - background.originY()), 0, 0, 0, 0,
                                           u16(area.getWidth()), u16(area.getHeight())),
              u"RenderComposite", false);

    while (_windowPixmaps.size() < windows.size()) {
        _windowPixmaps.push_back(xcb_generate_id(c));
        _windowPictures.push_back(xcb_generate_id(c));
    }
    for (size_t i = 0; i < windows.size(); ++i) {
        if (drawn[i] == 0)
            continue;
        const X11TopWindow& window = windows[i];
        const xcb_pixmap_t pixmap = _windowPixmaps[i];
        const xcb_render_picture_t picture = _windowPictures[i];
        batch.add(xcb_composite_name_window_pixmap_checked(c, window.id, pixmap),
                  u"CompositeNameWindowPixmap", true);
        batch.add(xcb_render_create_picture_checked(c, picture, pixmap, window.format, 0, nullptr),
                  u"RenderCreatePicture", true);
        batch.add(xcb_xfixes_set_picture_clip_region_checked(c, _picture,
                                                             region_(connection, kFirstWindowRegion + i),
                                                             s16(-area.getLeft()), s16(-area.getTop())),
                  u"XFixesSetPictureClipRegion", true);
        const uint8_t op = window.hasAlpha && overForAlpha ? XCB_RENDER_PICT_OP_OVER : XCB_RENDER_PICT_OP_SRC;
        batch.add(xcb_render_composite_checked(c, op, picture, XCB_NONE, _picture, 0, 0, 0, 0,
                                               s16(window.outer.getLeft() - area.getLeft()),
                                               s16(window.outer.getTop() - area.getTop()),
                                               u16(window.outer.getWidth()), u16(window.outer.getHeight())),
                  u"RenderComposite", true);
        batch.add(xcb_render_free_picture_checked(c, picture), u"RenderFreePicture", true);
        batch.add(xcb_free_pixmap_checked(c, pixmap), u"FreePixmap", true);
    }

    batch.add(xcb_xfixes_destroy_region_checked(c, areaRegion), u"XFixesDestroyRegion", false);
    batch.add(xcb_xfixes_destroy_region_checked(c, covered), u"XFixesDestroyRegion", false);
    for (size_t i = 0; i < windows.size(); ++i) {
        if (drawn[i] != 0) {
            batch.add(xcb_xfixes_destroy_region_checked(c, region_(connection, kFirstWindowRegion + i)),
                      u"XFixesDestroyRegion", true);
        }
    }
    return VXError::eNoError;
}
