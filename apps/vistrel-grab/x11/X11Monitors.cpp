#include "X11Monitors.h"

#include <xcb/randr.h>

#include <algorithm>
#include <string>

#include "VXChecks.h"
#include "X11Errors.h"
#include "X11Reply.h"

namespace {

template <typename Reply>
VXResult takeReply(xcb_connection_t* c, Reply* raw, xcb_generic_error_t* rawError, const char16_t* method,
                   X11Reply<Reply>& reply) {
    reply.reset(raw);
    X11Reply<xcb_generic_error_t> error(rawError);
    if (error)
        return VX_X11_ERROR(method, *error);
    if (!reply)
        return X11Errors::connectionLost(xcb_connection_has_error(c), VX_SITE);
    return VXError::eNoError;
}

bool hasMonitorList(xcb_connection_t* c) {
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(c, &xcb_randr_id);
    if (extension == nullptr || extension->present == 0)
        return false;
    X11Reply<xcb_randr_query_version_reply_t> version(
        xcb_randr_query_version_reply(c, xcb_randr_query_version(c, 1, 5), nullptr));
    return version && (version->major_version > 1 || version->minor_version >= 5);
}

VXResult atomName(xcb_connection_t* c, xcb_atom_t atom, VXString& name) {
    xcb_generic_error_t* error = nullptr;
    xcb_get_atom_name_reply_t* raw = xcb_get_atom_name_reply(c, xcb_get_atom_name(c, atom), &error);
    X11Reply<xcb_get_atom_name_reply_t> reply;
    VX_RETURN_IF_ERROR(takeReply(c, raw, error, u"xcb_get_atom_name", reply));
    name = VXString::fromUtf8(std::string(xcb_get_atom_name_name(reply.get()),
                                          static_cast<size_t>(xcb_get_atom_name_name_length(reply.get()))));
    return VXError::eNoError;
}

// The work area of the current desktop, or an empty rectangle when the window manager
// publishes none.
VXResult workArea(xcb_connection_t* c, xcb_window_t root, VXRect& area) {
    area = VXRect();
    const char* names[] = {"_NET_WORKAREA", "_NET_CURRENT_DESKTOP"};
    xcb_atom_t atoms[2] = {};
    for (int i = 0; i < 2; ++i) {
        xcb_generic_error_t* error = nullptr;
        xcb_intern_atom_reply_t* raw = xcb_intern_atom_reply(
            c,
            xcb_intern_atom(c, 1, static_cast<uint16_t>(std::char_traits<char>::length(names[i])), names[i]),
            &error);
        X11Reply<xcb_intern_atom_reply_t> reply;
        VX_RETURN_IF_ERROR(takeReply(c, raw, error, u"xcb_intern_atom", reply));
        atoms[i] = reply->atom;
    }
    if (atoms[0] == XCB_ATOM_NONE)
        return VXError::eNoError;  // nobody ever published one
    uint32_t desktop = 0;
    if (atoms[1] != XCB_ATOM_NONE) {
        xcb_generic_error_t* error = nullptr;
        xcb_get_property_reply_t* raw = xcb_get_property_reply(
            c, xcb_get_property(c, 0, root, atoms[1], XCB_ATOM_CARDINAL, 0, 1), &error);
        X11Reply<xcb_get_property_reply_t> reply;
        VX_RETURN_IF_ERROR(takeReply(c, raw, error, u"xcb_get_property", reply));
        if (reply->format == 32 && xcb_get_property_value_length(reply.get()) >= 4)
            desktop = *static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
    }
    xcb_generic_error_t* error = nullptr;
    xcb_get_property_reply_t* raw = xcb_get_property_reply(
        c, xcb_get_property(c, 0, root, atoms[0], XCB_ATOM_CARDINAL, desktop * 4, 4), &error);
    X11Reply<xcb_get_property_reply_t> reply;
    VX_RETURN_IF_ERROR(takeReply(c, raw, error, u"xcb_get_property", reply));
    if (reply->format == 32 && xcb_get_property_value_length(reply.get()) >= 16) {
        const auto* v = static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
        area = VXRect(VXPoint(static_cast<int32_t>(v[0]), static_cast<int32_t>(v[1])),
                      VXSize(static_cast<int32_t>(v[2]), static_cast<int32_t>(v[3])));
    }
    return VXError::eNoError;
}

}  // namespace

VXResult X11Monitors::list(xcb_connection_t* connection, const xcb_screen_t& screen,
                           std::vector<Vistrel::MonitorInfo>& monitors, VXRect& virtualScreen) {
    VX_CHECK_PARAM(connection);
    xcb_connection_t* c = connection;
    monitors.clear();
    if (hasMonitorList(c)) {
        xcb_generic_error_t* error = nullptr;
        xcb_randr_get_monitors_reply_t* raw =
            xcb_randr_get_monitors_reply(c, xcb_randr_get_monitors(c, screen.root, 1), &error);
        X11Reply<xcb_randr_get_monitors_reply_t> reply;
        VX_RETURN_IF_ERROR(takeReply(c, raw, error, u"xcb_randr_get_monitors", reply));
        for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem > 0;
             xcb_randr_monitor_info_next(&it)) {
            Vistrel::MonitorInfo info;
            info.bounds = VXRect(VXPoint(it.data->x, it.data->y), VXSize(it.data->width, it.data->height));
            info.primary = it.data->primary != 0;
            VX_RETURN_IF_ERROR(atomName(c, it.data->name, info.deviceName));
            monitors.push_back(std::move(info));
        }
    }
    if (monitors.empty()) {
        Vistrel::MonitorInfo info;
        info.bounds = VXRect(0, 0, screen.width_in_pixels, screen.height_in_pixels);
        info.primary = true;
        info.deviceName = VXString(u"screen");
        monitors.push_back(std::move(info));
    }
    // The primary one first, as on Windows; without one (no output was made primary), the
    // server's first is taken as such: index 0 means the primary monitor to vistrel-grab.
    std::stable_partition(monitors.begin(), monitors.end(), [](const auto& m) { return m.primary; });
    monitors.front().primary = true;

    VXRect area;
    VX_RETURN_IF_ERROR(workArea(c, screen.root, area));
    virtualScreen = monitors.front().bounds;
    for (Vistrel::MonitorInfo& m : monitors) {
        const VXRect clipped = area.intersect(m.bounds);
        m.workArea = area.isEmpty() || clipped.isEmpty() ? m.bounds : clipped;
        virtualScreen = VXRect(std::min(virtualScreen.getLeft(), m.bounds.getLeft()),
                               std::min(virtualScreen.getTop(), m.bounds.getTop()),
                               std::max(virtualScreen.getRight(), m.bounds.getRight()),
                               std::max(virtualScreen.getBottom(), m.bounds.getBottom()));
    }
    return VXError::eNoError;
}
