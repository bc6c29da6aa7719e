#include "X11ChangeWatch.h"

#include <chrono>
#include <thread>

#include <xcb/xfixes.h>

#include "VXChecks.h"
#include "VXPlatform.h"
#include "X11Reply.h"

namespace {

constexpr auto kQuietPoll = std::chrono::milliseconds(5);

// The high bit of an event's type says it was sent by a client, not by the server.
constexpr uint8_t kEventTypeMask = 0x7F;

const X11TopWindow* find(const std::vector<X11TopWindow>& windows, xcb_window_t id) {
    for (const auto& window : windows) {
        if (window.id == id)
            return &window;
    }
    return nullptr;
}

bool touches(const std::vector<X11TopWindow>& windows, xcb_window_t id, const VXRect& area) {
    const X11TopWindow* window = find(windows, id);
    return window != nullptr && window->outer.intersect(area).isNotEmpty();
}

}  // namespace

VXResult X11ChangeWatch::start(X11Connection& connection) {
    xcb_connection_t* c = connection.get();
    X11RequestBatch batch(connection);
    // Several clients may ask for structure events on the root; only redirection is exclusive.
    const uint32_t mask =
        XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    batch.add(xcb_change_window_attributes_checked(c, connection.root(), XCB_CW_EVENT_MASK, &mask),
              u"ChangeWindowAttributes", false);
    batch.add(xcb_xfixes_select_selection_input_checked(
                  c, connection.root(), connection.compositorAtom(),
                  XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                      XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                      XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE),
              u"XFixesSelectSelectionInput", false);
    _rootDamage = xcb_generate_id(c);
    batch.add(
        xcb_damage_create_checked(c, _rootDamage, connection.root(), XCB_DAMAGE_REPORT_LEVEL_BOUNDING_BOX),
        u"DamageCreate", false);
    bool vanished = false;
    return batch.check(vanished, VX_SITE);
}

void X11ChangeWatch::release(X11Connection& connection) {
    xcb_connection_t* c = connection.get();
    for (const auto& [window, watched] : _watched)
        xcb_damage_destroy(c, watched.damage);
    _watched.clear();
    if (_rootDamage != 0)
        xcb_damage_destroy(c, _rootDamage);
    _rootDamage = 0;
}

void X11ChangeWatch::arm(X11Connection& connection, const std::vector<X11TopWindow>& windows,
                         X11RequestBatch& batch) {
    xcb_connection_t* c = connection.get();
    for (auto& [window, watched] : _watched)
        watched.seen = false;
    for (const auto& window : windows) {
        Watched& watched = _watched[window.id];
        watched.seen = true;
        if (watched.damage == 0) {
            watched.damage = xcb_generate_id(c);
            batch.add(
                xcb_damage_create_checked(c, watched.damage, window.id, XCB_DAMAGE_REPORT_LEVEL_BOUNDING_BOX),
                u"DamageCreate", true);
        } else {
            batch.add(xcb_damage_subtract_checked(c, watched.damage, XCB_NONE, XCB_NONE), u"DamageSubtract",
                      true);
        }
    }
    for (auto it = _watched.begin(); it != _watched.end();) {
        if (it->second.seen) {
            ++it;
            continue;
        }
        // Gone with its window when that was destroyed, which is no error worth a round trip.
        batch.add(xcb_damage_destroy_checked(c, it->second.damage), u"DamageDestroy", true);
        it = _watched.erase(it);
    }
    if (_rootDamage != 0)
        batch.add(xcb_damage_subtract_checked(c, _rootDamage, XCB_NONE, XCB_NONE), u"DamageSubtract", false);
}

VXResult X11ChangeWatch::waitForQuiet(X11Connection& connection, uint32_t quietMs, uint32_t maxMs,
                                      bool& quiet) {
    const uint8_t damageNotify = static_cast<uint8_t>(connection.damageEventBase() + XCB_DAMAGE_NOTIFY);
    const uint64_t start = VXPlatform::monotonicMicroseconds() / 1000;
    uint64_t lastDamage = start;
    quiet = false;
    for (uint64_t now = start; now - start < maxMs; now = VXPlatform::monotonicMicroseconds() / 1000) {
        if (now - lastDamage >= quietMs) {
            quiet = true;
            break;
        }
        xcb_flush(connection.get());
        bool damaged = false;
        while (X11Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection.get())})
            damaged = damaged || (event->response_type & kEventTypeMask) == damageNotify;
        VX_RETURN_IF_ERROR(connection.checkAlive(VX_SITE));
        if (damaged) {
            lastDamage = now;
            for (const auto& [window, watched] : _watched)
                xcb_damage_subtract(connection.get(), watched.damage, XCB_NONE, XCB_NONE);
        }
        std::this_thread::sleep_for(kQuietPoll);
    }
    return VXError::eNoError;
}

bool X11ChangeWatch::damageCounts_(const xcb_damage_notify_event_t& event, const VXRect& area,
                                   const std::vector<X11TopWindow>& windows, bool rootRead,
                                   xcb_window_t root) const {
    if (event.drawable == root) {
        if (!rootRead)
            return false;
        const VXRect damaged(event.area.x, event.area.y, event.area.x + event.area.width,
                             event.area.y + event.area.height);
        return damaged.intersect(area).isNotEmpty();
    }
    const X11TopWindow* window = find(windows, event.drawable);
    if (window == nullptr)
        return false;  // a window this composition does not read
    const int32_t x = window->outer.getLeft() + window->border + event.area.x;
    const int32_t y = window->outer.getTop() + window->border + event.area.y;
    return VXRect(x, y, x + event.area.width, y + event.area.height).intersect(area).isNotEmpty();
}

bool X11ChangeWatch::structureCounts_(const xcb_generic_event_t& event, const VXRect& area,
                                      const std::vector<X11TopWindow>& windows, xcb_window_t ignored) {
    switch (event.response_type & kEventTypeMask) {
        case XCB_CONFIGURE_NOTIFY: {
            const auto& configure = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
            if (configure.window == ignored)
                return false;
            const int32_t extent = 2 * configure.border_width;
            const VXRect now(configure.x, configure.y, configure.x + configure.width + extent,
                             configure.y + configure.height + extent);
            // Restacking changes what lies above the area even when nothing moves inside it.
            return now.intersect(area).isNotEmpty() || touches(windows, configure.window, area);
        }
        case XCB_MAP_NOTIFY:
            return reinterpret_cast<const xcb_map_notify_event_t&>(event).window != ignored;
        case XCB_UNMAP_NOTIFY:
            return touches(windows, reinterpret_cast<const xcb_unmap_notify_event_t&>(event).window, area);
        case XCB_DESTROY_NOTIFY:
            return touches(windows, reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window, area);
        case XCB_REPARENT_NOTIFY:
            return reinterpret_cast<const xcb_reparent_notify_event_t&>(event).window != ignored;
        case XCB_CIRCULATE_NOTIFY:
            return reinterpret_cast<const xcb_circulate_notify_event_t&>(event).window != ignored;
        case XCB_GRAVITY_NOTIFY:
            return touches(windows, reinterpret_cast<const xcb_gravity_notify_event_t&>(event).window, area);
        default:
            return false;
    }
}

void X11ChangeWatch::noteChanges_(const X11Connection& connection, const xcb_generic_event_t& event) {
    const uint8_t type = event.response_type & kEventTypeMask;
    switch (type) {
        case XCB_CREATE_NOTIFY:
        case XCB_CONFIGURE_NOTIFY:
        case XCB_MAP_NOTIFY:
        case XCB_UNMAP_NOTIFY:
        case XCB_DESTROY_NOTIFY:
        case XCB_REPARENT_NOTIFY:
        case XCB_CIRCULATE_NOTIFY:
        case XCB_GRAVITY_NOTIFY:
            _changes.stack = true;
            return;
        case XCB_PROPERTY_NOTIFY:
            if (connection.isBackgroundAtom(reinterpret_cast<const xcb_property_notify_event_t&>(event).atom))
                _changes.background = true;
            return;
        default:
            if (type == connection.xfixesEventBase() + XCB_XFIXES_SELECTION_NOTIFY)
                _changes.compositor = true;
            return;
    }
}

bool X11ChangeWatch::changedSince(X11Connection& connection, uint32_t sinceSequence, const VXRect& area,
                                  const std::vector<X11TopWindow>& read, const std::vector<X11TopWindow>& all,
                                  bool rootRead, xcb_window_t ignored, bool& changedBefore) {
    bool changed = false;
    const uint8_t damageNotify = static_cast<uint8_t>(connection.damageEventBase() + XCB_DAMAGE_NOTIFY);
    // Every event that has come is taken off the queue, so that none is left for a later capture.
    changedBefore = false;
    while (X11Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection.get())}) {
        // Errors of requests nobody checks, and events from before this capture began.
        if (event->response_type == 0)
            continue;
        noteChanges_(connection, *event);
        bool counts = false;
        if ((event->response_type & kEventTypeMask) == damageNotify) {
            counts = damageCounts_(reinterpret_cast<const xcb_damage_notify_event_t&>(*event), area, read,
                                   rootRead, connection.root());
        } else {
            counts = structureCounts_(*event, area, all, ignored);
        }
        if (event->full_sequence < sinceSequence)
            changedBefore = changedBefore || counts;
        else
            changed = changed || counts;
    }
    return changed;
}
