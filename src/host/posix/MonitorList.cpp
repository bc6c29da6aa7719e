// The X11 half of MonitorList.h: the monitors of the display that DISPLAY names, from RandR 1.5's
// monitor list (bounds in root-window pixels, which are physical: X has no scaled coordinates),
// the work area from the window manager's _NET_WORKAREA. A server without RandR 1.5 has one
// monitor, the whole screen. The connection lives for the call only.
#include "MonitorList.h"

#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>

#include "VXChecks.h"

namespace Vistrel {

namespace {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeReply>;

struct Disconnect {
    void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
};

// A reply, or the X error (or the lost connection) that came instead.
template <typename T>
VXResult take(xcb_connection_t* c, T* raw, xcb_generic_error_t* rawError, const char16_t* method,
              Reply<T>& reply) {
    reply.reset(raw);
    const Reply<xcb_generic_error_t> error(rawError);
    if (error) {
        return VX_ERROR(VXError::eUnexpected, u"Method \"%s\" returned X error [%d] (request %d.%d)", method,
                        static_cast<int32_t>(error->error_code), static_cast<int32_t>(error->major_code),
                        static_cast<int32_t>(error->minor_code));
    }
    if (!reply) {
        return VX_ERROR(VXError::eIOError,
                        u"Method \"%s\" got no reply: the X connection failed (xcb error %d)", method,
                        xcb_connection_has_error(c));
    }
    return VXError::eNoError;
}

bool hasMonitorList(xcb_connection_t* c) {
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(c, &xcb_randr_id);
    if (extension == nullptr || extension->present == 0)
        return false;
    const Reply<xcb_randr_query_version_reply_t> version(
        xcb_randr_query_version_reply(c, xcb_randr_query_version(c, 1, 5), nullptr));
    return version && (version->major_version > 1 || version->minor_version >= 5);
}

VXResult atomName(xcb_connection_t* c, xcb_atom_t atom, VXString& name) {
    xcb_generic_error_t* error = nullptr;
    Reply<xcb_get_atom_name_reply_t> reply;
    VX_RETURN_IF_ERROR(take(c, xcb_get_atom_name_reply(c, xcb_get_atom_name(c, atom), &error), error,
                            u"xcb_get_atom_name", reply));
    name =
        VXString::fromUtf8(std::string_view(xcb_get_atom_name_name(reply.get()),
                                            static_cast<size_t>(xcb_get_atom_name_name_length(reply.get()))));
    return VXError::eNoError;
}

VXResult atom(xcb_connection_t* c, const char* name, xcb_atom_t& value) {
    xcb_generic_error_t* error = nullptr;
    Reply<xcb_intern_atom_reply_t> reply;
    const auto length = static_cast<uint16_t>(std::char_traits<char>::length(name));
    VX_RETURN_IF_ERROR(take(c, xcb_intern_atom_reply(c, xcb_intern_atom(c, 1, length, name), &error), error,
                            u"xcb_intern_atom", reply));
    value = reply->atom;
    return VXError::eNoError;
}

// CARDINAL values of a root window property from index first on; none when it is not there.
VXResult cardinals(xcb_connection_t* c, xcb_window_t root, xcb_atom_t property, uint32_t first,
                   uint32_t count, std::vector<uint32_t>& values) {
    values.clear();
    if (property == XCB_ATOM_NONE)
        return VXError::eNoError;
    xcb_generic_error_t* error = nullptr;
    Reply<xcb_get_property_reply_t> reply;
    VX_RETURN_IF_ERROR(
        take(c,
             xcb_get_property_reply(
                 c, xcb_get_property(c, 0, root, property, XCB_ATOM_CARDINAL, first, count), &error),
             error, u"xcb_get_property", reply));
    if (reply->format != 32)
        return VXError::eNoError;
    const auto* v = static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
    values.assign(v, v + xcb_get_property_value_length(reply.get()) / 4);
    return VXError::eNoError;
}

// The current desktop's work area, or an empty rectangle when the window manager publishes none.
VXResult workArea(xcb_connection_t* c, xcb_window_t root, VXRect& area) {
    area = VXRect();
    xcb_atom_t workAreaAtom = XCB_ATOM_NONE;
    xcb_atom_t desktopAtom = XCB_ATOM_NONE;
    VX_RETURN_IF_ERROR(atom(c, "_NET_WORKAREA", workAreaAtom));
    VX_RETURN_IF_ERROR(atom(c, "_NET_CURRENT_DESKTOP", desktopAtom));
    std::vector<uint32_t> values;
    VX_RETURN_IF_ERROR(cardinals(c, root, desktopAtom, 0, 1, values));
    const uint32_t desktop = values.empty() ? 0 : values[0];
    VX_RETURN_IF_ERROR(cardinals(c, root, workAreaAtom, desktop * 4, 4, values));
    if (values.size() == 4) {
        area =
            VXRect(static_cast<int32_t>(values[0]), static_cast<int32_t>(values[1]),
                   static_cast<int32_t>(values[0] + values[2]), static_cast<int32_t>(values[1] + values[3]));
    }
    return VXError::eNoError;
}

}  // namespace

VXResult MonitorList::list(std::vector<MonitorInfo>& monitors, VXRect& virtualScreen) {
    int screenNumber = 0;
    const std::unique_ptr<xcb_connection_t, Disconnect> connection(xcb_connect(nullptr, &screenNumber));
    xcb_connection_t* c = connection.get();
    if (const int error = xcb_connection_has_error(c)) {
        const char* display = std::getenv("DISPLAY");
        return VX_ERROR(VXError::eNotFound, u"Cannot connect to the X display \"%hs\" (xcb error %d)",
                        display != nullptr ? display : "", error);
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i)
        xcb_screen_next(&screens);
    if (screens.rem == 0)
        return VX_ERROR(VXError::eNotFound, u"The X display has no screen %d", screenNumber);
    const xcb_screen_t& screen = *screens.data;

    std::vector<MonitorInfo> found;
    if (hasMonitorList(c)) {
        xcb_generic_error_t* error = nullptr;
        Reply<xcb_randr_get_monitors_reply_t> reply;
        VX_RETURN_IF_ERROR(
            take(c, xcb_randr_get_monitors_reply(c, xcb_randr_get_monitors(c, screen.root, 1), &error), error,
                 u"xcb_randr_get_monitors", reply));
        for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem > 0;
             xcb_randr_monitor_info_next(&it)) {
            MonitorInfo m;
            m.bounds =
                VXRect(it.data->x, it.data->y, it.data->x + it.data->width, it.data->y + it.data->height);
            m.primary = it.data->primary != 0;
            VX_RETURN_IF_ERROR(atomName(c, it.data->name, m.deviceName));
            found.push_back(std::move(m));
        }
    }
    if (found.empty()) {
        MonitorInfo m;
        m.bounds = VXRect(0, 0, screen.width_in_pixels, screen.height_in_pixels);
        m.deviceName = VXString(u"screen");
        found.push_back(std::move(m));
    }
    // The primary one first, as on Windows; where none is marked, the server's first one is it.
    std::stable_partition(found.begin(), found.end(), [](const MonitorInfo& m) { return m.primary; });
    found.front().primary = true;

    VXRect area;
    VX_RETURN_IF_ERROR(workArea(c, screen.root, area));
    VXRect all = found.front().bounds;
    for (MonitorInfo& m : found) {
        const VXRect clipped = area.intersect(m.bounds);
        m.workArea = clipped.isEmpty() ? m.bounds : clipped;
        all = VXRect(std::min(all.getLeft(), m.bounds.getLeft()), std::min(all.getTop(), m.bounds.getTop()),
                     std::max(all.getRight(), m.bounds.getRight()),
                     std::max(all.getBottom(), m.bounds.getBottom()));
    }
    monitors = std::move(found);
    virtualScreen = all;
    return VXError::eNoError;
}

}  // namespace Vistrel
