#include "X11RootBackground.h"

#include <xcb/shape.h>

#include "VXChecks.h"
#include "X11Errors.h"
#include "X11Reply.h"

namespace {

constexpr xcb_render_color_t kOpaqueBlack = {0, 0, 0, 0xFFFF};

}  // namespace

X11RootBackground::~X11RootBackground() {
    // The server frees what a closed connection made; nothing to send on a dying one.
}

void X11RootBackground::release(X11Connection& connection) {
    dropPicture_(connection);
    dropWindow_(connection);
    _source = Source::eNone;
    _wallpaperKnown = false;
}

void X11RootBackground::dropPicture_(X11Connection& connection) {
    if (_picture != 0)
        xcb_render_free_picture(connection.get(), _picture);
    _picture = 0;
    _wallpaper = 0;
}

void X11RootBackground::dropWindow_(X11Connection& connection) {
    if (_window != 0)
        xcb_destroy_window(connection.get(), _window);
    _window = 0;
    _windowArea = VXRect();
}

VXResult X11RootBackground::wallpaper_(X11Connection& connection, xcb_pixmap_t& pixmap) {
    xcb_connection_t* c = connection.get();
    pixmap = 0;
    xcb_generic_error_t* rawError = nullptr;
    X11Reply<xcb_get_property_reply_t> property(xcb_get_property_reply(
        c, xcb_get_property(c, 0, connection.root(), connection.rootPixmapAtom(), XCB_ATOM_PIXMAP, 0, 1),
        &rawError));
    if (rawError != nullptr)
        return VX_X11_ERROR(u"GetProperty", *X11Reply<xcb_generic_error_t>(rawError));
    if (property == nullptr)
        return connection.checkAlive(VX_SITE);
    if (property->format != 32 || xcb_get_property_value_length(property.get()) < 4)
        return VXError::eNoError;
    const xcb_pixmap_t candidate = *static_cast<const xcb_pixmap_t*>(xcb_get_property_value(property.get()));
    // A wallpaper setter that exited may have left a stale id, or one of another depth.
    X11Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(c, xcb_get_geometry(c, candidate), &rawError));
    X11Reply<xcb_generic_error_t> error(rawError);
    if (error != nullptr && !X11Errors::isVanishedWindow(*error))
        return VX_X11_ERROR(u"GetGeometry", *error);
    if (geometry != nullptr && geometry->depth == connection.rootDepth())
        pixmap = candidate;
    return connection.checkAlive(VX_SITE);
}

VXResult X11RootBackground::prepare(X11Connection& connection, const VXRect& area, bool compositorRunning,
                                    xcb_window_t bottomWindow, bool changed, X11RequestBatch& batch) {
    xcb_connection_t* c = connection.get();
    if (changed || !_wallpaperKnown) {
        VX_RETURN_IF_ERROR(wallpaper_(connection, _publishedWallpaper));
        _wallpaperKnown = true;
    }
    const xcb_pixmap_t wallpaper = _publishedWallpaper;
    if (wallpaper != 0) {
        dropWindow_(connection);
        if (_source == Source::eWallpaper && _wallpaper == wallpaper)
            return VXError::eNoError;
        dropPicture_(connection);
        _picture = xcb_generate_id(c);
        const uint32_t repeat = XCB_RENDER_REPEAT_NORMAL;
        batch.add(xcb_render_create_picture_checked(c, _picture, wallpaper, connection.rootFormat(),
                                                    XCB_RENDER_CP_REPEAT, &repeat),
                  u"RenderCreatePicture", false);
        _wallpaper = wallpaper;
        _source = Source::eWallpaper;
        _originX = _originY = 0;
        return VXError::eNoError;
    }
    if (compositorRunning) {
        // Our window would be painted by the compositor over its own background.
        dropWindow_(connection);
        if (_source == Source::eBlack)
            return VXError::eNoError;
        dropPicture_(connection);
        _picture = xcb_generate_id(c);
        batch.add(xcb_render_create_solid_fill_checked(c, _picture, kOpaqueBlack), u"RenderCreateSolidFill",
                  false);
        _source = Source::eBlack;
        _originX = _originY = 0;
        return VXError::eNoError;
    }
    if (_source != Source::eWindow)
        dropPicture_(connection);
    _source = Source::eWindow;
    return useWindow_(connection, area, bottomWindow, changed, batch);
}

VXResult X11RootBackground::useWindow_(X11Connection& connection, const VXRect& area,
                                       xcb_window_t bottomWindow, bool repaint, X11RequestBatch& batch) {
    xcb_connection_t* c = connection.get();
    if (_window != 0 && _windowArea != area)
        dropWindow_(connection);
    if (_window == 0) {
        dropPicture_(connection);
        _window = xcb_generate_id(c);
        // No window manager touches an override-redirect window; no events are asked for.
        const uint32_t values[] = {XCB_BACK_PIXMAP_PARENT_RELATIVE, 1};
        batch.add(
            xcb_create_window_checked(
                c, XCB_COPY_FROM_PARENT, _window, connection.root(), static_cast<int16_t>(area.getLeft()),
                static_cast<int16_t>(area.getTop()), static_cast<uint16_t>(area.getWidth()),
                static_cast<uint16_t>(area.getHeight()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXMAP | XCB_CW_OVERRIDE_REDIRECT, values),
            u"CreateWindow", false);
        // An empty input shape: clicks and pointer motion go to whatever lies beneath.
        batch.add(xcb_shape_rectangles_checked(c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT,
                                               XCB_CLIP_ORDERING_UNSORTED, _window, 0, 0, 0, nullptr),
                  u"ShapeRectangles", false);
        const uint32_t below = XCB_STACK_MODE_BELOW;
        batch.add(xcb_configure_window_checked(c, _window, XCB_CONFIG_WINDOW_STACK_MODE, &below),
                  u"ConfigureWindow", false);
        batch.add(xcb_map_window_checked(c, _window), u"MapWindow", false);
        _picture = xcb_generate_id(c);
        batch.add(
            xcb_render_create_picture_checked(c, _picture, _window, connection.rootFormat(), 0, nullptr),
            u"RenderCreatePicture", false);
        _windowArea = area;
    } else {
        if (bottomWindow != _window) {
            const uint32_t below = XCB_STACK_MODE_BELOW;
            batch.add(xcb_configure_window_checked(c, _window, XCB_CONFIG_WINDOW_STACK_MODE, &below),
                      u"ConfigureWindow", false);
        }
        // Ours shows the root's background as it was when last painted: a new one must be
        // painted in, for the screen as much as for us.
        if (repaint)
            batch.add(xcb_clear_area_checked(c, 0, _window, 0, 0, 0, 0), u"ClearArea", false);
    }
    _originX = area.getLeft();
    _originY = area.getTop();
    return VXError::eNoError;
}
