#include "X11Connection.h"

#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/shape.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>

#include "VXChecks.h"
#include "X11Errors.h"
#include "X11Reply.h"

namespace {

// NameWindowPixmap needs Composite 0.2, regions from windows XFixes 2.0, and the Render
// formats of ARGB visuals Render 0.6 (asked for as the newest each library knows).
constexpr uint32_t kCompositeMajor = 0, kCompositeMinor = 4;
constexpr uint32_t kCompositeNeededMinor = 2;
constexpr uint32_t kDamageMajor = 1, kDamageMinor = 1;
constexpr uint32_t kXFixesMajor = 5, kXFixesMinor = 0;
constexpr uint32_t kXFixesNeededMajor = 2;
constexpr uint32_t kRenderMajor = 0, kRenderMinor = 11;
constexpr uint32_t kRenderNeededMinor = 6;
constexpr char kRootPixmapAtom[] = "_XROOTPMAP_ID";
constexpr char kCompositorAtomPrefix[] = "_NET_WM_CM_S";
constexpr char kEsetrootAtom[] = "ESETROOT_PMAP_ID";
constexpr char kXsetrootAtom[] = "_XSETROOT_ID";

bool present(xcb_connection_t* connection, xcb_extension_t* extension) {
    const xcb_query_extension_reply_t* data = xcb_get_extension_data(connection, extension);
    return data != nullptr && data->present != 0;
}

}  // namespace

X11Connection::~X11Connection() {
    close_();
}

void X11Connection::close_() {
    if (_connection != nullptr)
        xcb_disconnect(_connection);
    _connection = nullptr;
}

VXResult X11Connection::open(const char* displayName) {
    VX_CHECK_PARAM(_connection == nullptr);
    int screenNumber = 0;
    _connection =
        xcb_connect(displayName != nullptr && displayName[0] != 0 ? displayName : nullptr, &screenNumber);
    // xcb_connect never returns null: a failed connection is one in the error state.
    if (const int error = xcb_connection_has_error(_connection); error != 0) {
        close_();
        return VX_ERROR(VXError::eNotReady, u"Cannot open X display \"%hs\" [%d]",
                        displayName != nullptr ? displayName : "", error);
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(_connection));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i)
        xcb_screen_next(&screens);
    if (screens.rem == 0) {
        close_();
        return VX_ERROR(VXError::eNotFound, u"X screen %d not found", screenNumber);
    }
    _screenNumber = screenNumber;
    _root = screens.data->root;
    _rootVisual = screens.data->root_visual;
    _rootDepth = screens.data->root_depth;
    _screenWidth = screens.data->width_in_pixels;
    _screenHeight = screens.data->height_in_pixels;

    VXResult result = queryExtensions_();
    if (result.isSuccess())
        result = queryFormats_();
    if (result.isSuccess())
        result = internAtom_(kRootPixmapAtom, _rootPixmapAtom);
    if (result.isSuccess())
        result = internAtom_(kCompositorAtomPrefix + std::to_string(_screenNumber), _compositorAtom);
    if (result.isSuccess())
        result = internAtom_(kEsetrootAtom, _esetrootAtom);
    if (result.isSuccess())
        result = internAtom_(kXsetrootAtom, _xsetrootAtom);
    if (result.isError()) {
        close_();
        return VX_CHAIN(result);
    }
    return VXError::eNoError;
}

VXResult X11Connection::checkAlive(const VXSourceLocation& site) const {
    if (_connection == nullptr)
        return VXResult(VXError::ePreconditionFailed, site, u"Not connected to an X server");
    if (const int error = xcb_connection_has_error(_connection); error != 0)
        return X11Errors::connectionLost(error, site);
    return VXError::eNoError;
}

VXResult X11Connection::queryExtensions_() {
    xcb_connection_t* c = _connection;
    // Ask for every extension's data first: one round trip for all of them.
    for (xcb_extension_t* extension :
         {&xcb_composite_id, &xcb_damage_id, &xcb_xfixes_id, &xcb_render_id, &xcb_shape_id, &xcb_shm_id}) {
        xcb_prefetch_extension_data(c, extension);
    }
    const struct {
        xcb_extension_t* extension;
        const char* name;
    } needed[] = {{&xcb_composite_id, "Composite"},
                  {&xcb_damage_id, "DAMAGE"},
                  {&xcb_xfixes_id, "XFIXES"},
                  {&xcb_render_id, "RENDER"},
                  {&xcb_shape_id, "SHAPE"}};
    for (const auto& each : needed) {
        if (!present(c, each.extension))
            return VX_ERROR(VXError::eNotImplemented, u"X server has no %hs extension", each.name);
    }
    _hasShm = present(c, &xcb_shm_id);
    _damageEventBase = xcb_get_extension_data(c, &xcb_damage_id)->first_event;
    _damageErrorBase = xcb_get_extension_data(c, &xcb_damage_id)->first_error;
    _renderErrorBase = xcb_get_extension_data(c, &xcb_render_id)->first_error;
    _xfixesErrorBase = xcb_get_extension_data(c, &xcb_xfixes_id)->first_error;
    _xfixesEventBase = xcb_get_extension_data(c, &xcb_xfixes_id)->first_event;

    // Each extension must be told the version the client speaks before its first request.
    auto composite = xcb_composite_query_version(c, kCompositeMajor, kCompositeMinor);
    auto damage = xcb_damage_query_version(c, kDamageMajor, kDamageMinor);
    auto xfixes = xcb_xfixes_query_version(c, kXFixesMajor, kXFixesMinor);
    auto render = xcb_render_query_version(c, kRenderMajor, kRenderMinor);
    auto shm = _hasShm ? xcb_shm_query_version(c) : xcb_shm_query_version_cookie_t{0};

    xcb_generic_error_t* error = nullptr;
    X11Reply<xcb_composite_query_version_reply_t> compositeReply(
        xcb_composite_query_version_reply(c, composite, &error));
    if (error != nullptr)
        return VX_X11_ERROR(u"CompositeQueryVersion", *X11Reply<xcb_generic_error_t>(error));
    X11Reply<xcb_damage_query_version_reply_t> damageReply(xcb_damage_query_version_reply(c, damage, &error));
    if (error != nullptr)
        return VX_X11_ERROR(u"DamageQueryVersion", *X11Reply<xcb_generic_error_t>(error));
    X11Reply<xcb_xfixes_query_version_reply_t> xfixesReply(xcb_xfixes_query_version_reply(c, xfixes, &error));
    if (error != nullptr)
        return VX_X11_ERROR(u"XFixesQueryVersion", *X11Reply<xcb_generic_error_t>(error));
    X11Reply<xcb_render_query_version_reply_t> renderReply(xcb_render_query_version_reply(c, render, &error));
    if (error != nullptr)
        return VX_X11_ERROR(u"RenderQueryVersion", *X11Reply<xcb_generic_error_t>(error));
    if (_hasShm) {
        X11Reply<xcb_shm_query_version_reply_t> shmReply(xcb_shm_query_version_reply(c, shm, &error));
        if (error != nullptr)
            free(error);
        // A server that offers SHM but cannot share pixmaps with us (a remote display) is read
        // through plain GetImage instead.
        _hasShm = shmReply != nullptr;
        _hasShmPixmaps =
            _hasShm && shmReply->shared_pixmaps != 0 && shmReply->pixmap_format == XCB_IMAGE_FORMAT_Z_PIXMAP;
    }
    if (compositeReply == nullptr || damageReply == nullptr || xfixesReply == nullptr ||
        renderReply == nullptr)
        return checkAlive(VX_SITE);
    if (compositeReply->major_version == 0 && compositeReply->minor_version < kCompositeNeededMinor)
        return VX_ERROR(VXError::eNotImplemented, u"Composite %u.%u is too old",
                        compositeReply->major_version, compositeReply->minor_version);
    if (xfixesReply->major_version < kXFixesNeededMajor)
        return VX_ERROR(VXError::eNotImplemented, u"XFIXES %u.%u is too old", xfixesReply->major_version,
                        xfixesReply->minor_version);
    if (renderReply->major_version == 0 && renderReply->minor_version < kRenderNeededMinor)
        return VX_ERROR(VXError::eNotImplemented, u"RENDER %u.%u is too old", renderReply->major_version,
                        renderReply->minor_version);
    return VXError::eNoError;
}

VXResult X11Connection::queryFormats_() {
    xcb_generic_error_t* error = nullptr;
    X11Reply<xcb_render_query_pict_formats_reply_t> reply(
        xcb_render_query_pict_formats_reply(_connection, xcb_render_query_pict_formats(_connection), &error));
    if (error != nullptr)
        return VX_X11_ERROR(u"RenderQueryPictFormats", *X11Reply<xcb_generic_error_t>(error));
    if (reply == nullptr)
        return checkAlive(VX_SITE);

    std::vector<xcb_render_pictforminfo_t> formats;
    for (auto it = xcb_render_query_pict_formats_formats_iterator(reply.get()); it.rem > 0;
         xcb_render_pictforminfo_next(&it)) {
        formats.push_back(*it.data);
    }
    for (auto screens = xcb_render_query_pict_formats_screens_iterator(reply.get()); screens.rem > 0;
         xcb_render_pictscreen_next(&screens)) {
        for (auto depths = xcb_render_pictscreen_depths_iterator(screens.data); depths.rem > 0;
             xcb_render_pictdepth_next(&depths)) {
            for (auto visuals = xcb_render_pictdepth_visuals_iterator(depths.data); visuals.rem > 0;
                 xcb_render_pictvisual_next(&visuals)) {
                bool hasAlpha = false;
                for (const auto& format : formats) {
                    if (format.id == visuals.data->format)
                        hasAlpha =
                            format.type == XCB_RENDER_PICT_TYPE_DIRECT && format.direct.alpha_mask != 0;
                }
                _visualFormats.push_back({visuals.data->visual, visuals.data->format, hasAlpha});
            }
        }
    }
    bool rootHasAlpha = false;
    if (!formatOfVisual(_rootVisual, _rootFormat, rootHasAlpha))
        return VX_ERROR(VXError::eNotFound, u"No Render format for the root visual 0x%X", _rootVisual);
    return VXError::eNoError;
}

bool X11Connection::isVanishedWindowError(const xcb_generic_error_t& error) const {
    return X11Errors::isVanishedWindow(error) ||
           error.error_code == _damageErrorBase + XCB_DAMAGE_BAD_DAMAGE ||
           error.error_code == _renderErrorBase + XCB_RENDER_PICTURE ||
           error.error_code == _xfixesErrorBase + XCB_XFIXES_BAD_REGION;
}

bool X11Connection::formatOfVisual(xcb_visualid_t visual, xcb_render_pictformat_t& format,
                                   bool& hasAlpha) const {
    for (const auto& each : _visualFormats) {
        if (each.visual == visual) {
            format = each.format;
            hasAlpha = each.hasAlpha;
            return true;
        }
    }
    return false;
}

VXResult X11Connection::internAtom_(const std::string& name, xcb_atom_t& atom) {
    xcb_generic_error_t* error = nullptr;
    X11Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        _connection, xcb_intern_atom(_connection, 0, static_cast<uint16_t>(name.size()), name.c_str()),
        &error));
    if (error != nullptr)
        return VX_X11_ERROR(u"InternAtom", *X11Reply<xcb_generic_error_t>(error));
    if (reply == nullptr)
        return checkAlive(VX_SITE);
    atom = reply->atom;
    return VXError::eNoError;
}
